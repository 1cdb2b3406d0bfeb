#pragma once

#include "Models/Emoji.h"

#include <optional>
#include <string>

namespace glimmerwick {

class Log;
class NotificationCenter;
class Pasteboard;

/// Puts an emoji on the clipboard when the user copies it, marked so that clipboard histories do not record
/// it. Main thread.
class ClipboardManager {
public:
    /// User info "emoji" (Emoji).
    static const std::string emojiCopiedNotification;

    static ClipboardManager& shared();

    ClipboardManager(Pasteboard& pasteboard, NotificationCenter& notificationCenter, Log& log);

    /// Replaces the clipboard's contents; true when the text was written.
    bool copyToClipboard(const std::string& text, const std::optional<Emoji>& emoji);

private:
    Pasteboard& m_pasteboard;
    NotificationCenter& m_notificationCenter;
    Log& m_log;
    const std::string m_concealedType;
};

} // namespace glimmerwick
