#include "Platform/DBus/KWinKeyboardLayout.h"

#include "Platform/DBus/SessionBus.h"

#include <QDBusMessage>
#include <QDBusReply>

namespace glimmerwick {

namespace {

// KWin answers in a few; nobody else is asked.
constexpr int patienceInMilliseconds = 300;
constexpr std::uint32_t firstLayout = 0;

} // namespace

KWinKeyboardLayout::KWinKeyboardLayout(const SessionBus& bus) : m_bus(bus) { }

std::uint32_t KWinKeyboardLayout::inUse() const
{
    const auto question = QDBusMessage::createMethodCall("org.kde.keyboard", "/Layouts",
                                                         "org.kde.KeyboardLayouts", "getLayout");
    const QDBusReply<uint> answer = m_bus.connection().call(question, QDBus::Block, patienceInMilliseconds);
    return answer.isValid() ? answer.value() : firstLayout;
}

} // namespace glimmerwick
