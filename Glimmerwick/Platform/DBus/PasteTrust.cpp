#include "Platform/DBus/PasteTrust.h"

#include "Platform/DBus/PortalKeyboard.h"
#include "Platform/Qt/Text.h"
#include "Platform/Shell.h"

#include <QCoreApplication>

#include <utility>

namespace glimmerwick {

namespace {

std::string translated(const char* source)
{
    return toUtf8(QCoreApplication::translate("PasteTrust", source));
}

} // namespace

PasteTrust::PasteTrust(InjectedKeyboard* keyboard, UserNotice& userNotice)
    : m_keyboard(keyboard), m_portalKeyboard(nullptr), m_userNotice(userNotice)
{
}

PasteTrust::PasteTrust(PortalKeyboard& keyboard, UserNotice& userNotice, std::function<void()> ask)
    : m_keyboard(&keyboard), m_portalKeyboard(&keyboard), m_ask(std::move(ask)), m_userNotice(userNotice)
{
}

bool PasteTrust::isTrusted()
{
    return m_keyboard && m_keyboard->isReady();
}

bool PasteTrust::isTrustedWithPrompt()
{
    if (isTrusted()) {
        return true;
    }
    if (canBeGranted()) {
        m_ask();
    } else {
        explain();
    }
    return isTrusted();
}

bool PasteTrust::canBeGranted()
{
    return isTrusted()
        || (m_portalKeyboard && m_portalKeyboard->state() != PortalKeyboard::State::noPortal
            && !m_portalKeyboard->isRefusedByPortal());
}

void PasteTrust::explain()
{
    if (std::exchange(m_isExplained, true)) {
        return;
    }
    m_userNotice.post({translated(QT_TRANSLATE_NOOP("PasteTrust", "Emoji are copied here, not typed")),
                       translated(QT_TRANSLATE_NOOP(
                           "PasteTrust",
                           "This desktop lets no program type for you. The emoji that you pick goes to the "
                           "clipboard; press Ctrl+V to insert it."))});
}

} // namespace glimmerwick
