#include "Platform/DBus/NotificationMirror.h"

#include "Models/Emoji.h"
#include "Platform/DBus/ClipboardManagerAdaptor.h"
#include "Platform/DBus/InstanceObject.h"
#include "Platform/DBus/TypeManagerAdaptor.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Qt/Text.h"

#include <utility>

namespace glimmerwick {

namespace {

template <typename Announce> NotificationCenter::Handler withEmoji(Announce announce)
{
    return [announce = std::move(announce)](const Notification& notification) {
        if (const Emoji* emoji = notification.value<Emoji>("emoji")) {
            announce(notification, toQString(emoji->char_), toQString(emoji->codepoint),
                     toQString(emoji->name));
        }
    };
}

} // namespace

NotificationMirror::NotificationMirror(NotificationCenter& notificationCenter, InstanceObject& instance,
                                       const Names& names,
                                       std::function<std::string(const Notification&)> typingError)
{
    const auto observe = [&](const std::string& name, auto announce) {
        m_observers.push_back(notificationCenter.addObserver(name, withEmoji(std::move(announce))));
    };
    observe(names.willTypeEmoji, [&instance](const Notification&, const auto&... emoji) {
        emit instance.typeManager().willTypeEmoji(emoji...);
    });
    observe(names.didTypeEmoji, [&instance](const Notification&, const auto&... emoji) {
        emit instance.typeManager().didTypeEmoji(emoji...);
    });
    observe(names.typingFailed,
            [&instance, typingError = std::move(typingError)](const Notification& notification,
                                                              const auto&... emoji) {
                emit instance.typeManager().typingFailed(emoji..., toQString(typingError(notification)));
            });
    observe(names.emojiCopied, [&instance](const Notification&, const auto&... emoji) {
        emit instance.clipboardManager().emojiCopied(emoji...);
    });
}

} // namespace glimmerwick
