#pragma once

#include "Models/Emoji.h"
#include "Models/Manifest.h"

#include <string>
#include <vector>

namespace glimmerwick {

class EmojiDataManager;
class Log;
class NotificationCenter;
class UserDefaults;

/// Remembers the emoji picked most recently, newest first, across runs. The list holds codepoint strings, so
/// it survives catalogue updates. Main thread.
class RecentEmojisManager {
public:
    /// Posted by `addRecent`; user info "codepoints" is the new list (std::vector<std::string>).
    static const std::string recentsChangedNotification;

    static RecentEmojisManager& shared();

    /// Loads the stored list.
    RecentEmojisManager(UserDefaults& defaults, NotificationCenter& notificationCenter, Log& log,
                        const EmojiDataManager& emojiDataManager);

    /// Reads the stored list; anything but a list of strings is an empty one.
    std::vector<std::string> loadRecents() const;

    /// Records a pick: moves the codepoint to the front, keeps at most 30, saves at once and announces the
    /// list.
    void addRecent(const std::string& codepoint);

    /// The list resolved against the manifest currently published; empty, with a log line, while there is
    /// none.
    std::vector<Emoji> recentEmojis();

    /// The list resolved against a manifest. Codepoints it does not know are dropped from the stored list
    /// too.
    std::vector<Emoji> recentEmojis(const Manifest& manifest);

    const std::vector<std::string>& recentCodepoints() const { return m_recentCodepoints; }

private:
    void save();

    UserDefaults& m_defaults;
    NotificationCenter& m_notificationCenter;
    Log& m_log;
    const EmojiDataManager& m_emojiDataManager;
    std::vector<std::string> m_recentCodepoints;
};

} // namespace glimmerwick
