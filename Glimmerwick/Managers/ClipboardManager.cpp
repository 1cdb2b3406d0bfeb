#include "Managers/ClipboardManager.h"

#include "Platform/Log.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Pasteboard.h"
#include "Platform/Platform.h"

#include <memory>

namespace glimmerwick {

namespace {

// What a clipboard history finds under the marker type; never the emoji.
constexpr std::string_view concealedMarker = "glimmerwick";

} // namespace

const std::string ClipboardManager::emojiCopiedNotification = "ClipboardManager.emojiCopied";

ClipboardManager& ClipboardManager::shared()
{
    return InstalledPlatform::sharedInstance<ClipboardManager>([](const Platform& platform) {
        return std::make_unique<ClipboardManager>(platform.pasteboard, platform.notificationCenter,
                                                  platform.log);
    });
}

ClipboardManager::ClipboardManager(Pasteboard& pasteboard, NotificationCenter& notificationCenter, Log& log)
    : m_pasteboard(pasteboard), m_notificationCenter(notificationCenter), m_log(log),
      m_concealedType(pasteboardType::concealed)
{
}

bool ClipboardManager::copyToClipboard(const std::string& text, const std::optional<Emoji>& emoji)
{
    m_pasteboard.clearContents();
    const bool written = m_pasteboard.setString(text, pasteboardType::string);
    m_pasteboard.setData(concealedMarker, m_concealedType);
    if (!written) {
        m_log.print("ClipboardManager: Failed to copy to clipboard");
        return false;
    }
    if (!emoji) {
        m_log.print("ClipboardManager: Copied '" + text + "' to clipboard");
        return true;
    }
    m_log.print("ClipboardManager: Copied emoji '" + emoji->name + "' (" + emoji->char_ + ") to clipboard");
    m_notificationCenter.post({emojiCopiedNotification, this, {{{"emoji", *emoji}}}});
    return true;
}

} // namespace glimmerwick
