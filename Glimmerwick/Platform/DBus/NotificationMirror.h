#pragma once

#include "Platform/Registration.h"

#include <functional>
#include <string>
#include <vector>

namespace glimmerwick {

class InstanceObject;
class NotificationCenter;
struct Notification;

/// Repeats on the session bus what is posted for listeners outside the program. Only user information
/// "emoji" of type Emoji is needed; a notification without it is passed over. Main thread.
class NotificationMirror {
public:
    /// The names under which the notifications are posted.
    struct Names {
        std::string willTypeEmoji;
        std::string didTypeEmoji;
        std::string typingFailed;
        std::string emojiCopied;
    };

    /// `typingError` puts into words why typing failed. The object must outlive the mirror.
    NotificationMirror(NotificationCenter& notificationCenter, InstanceObject& instance, const Names& names,
                       std::function<std::string(const Notification&)> typingError);

private:
    std::vector<Registration> m_observers;
};

} // namespace glimmerwick
