#include "Platform/Qt/KeyEventFilter.h"

#include "Platform/Qt/Text.h"
#include "Platform/Qt/XkbKeyCodes.h"

#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>

namespace glimmerwick {

namespace {

constexpr quint32 nativeCapsLockBit = 1U << 1;

bool isModifierKey(const QKeyEvent& event)
{
    switch (event.key()) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_Mode_switch:
        return true;
    default:
        return false;
    }
}

EventFlags flags(const QKeyEvent& event)
{
    const Qt::KeyboardModifiers modifiers = event.modifiers();
    EventFlags result = 0;
    if (modifiers.testFlag(Qt::ShiftModifier)) {
        result |= eventFlag::shift;
    }
    if (modifiers.testFlag(Qt::ControlModifier)) {
        result |= eventFlag::command;
    }
    if (modifiers.testFlag(Qt::MetaModifier)) {
        result |= eventFlag::control;
    }
    if (modifiers.testFlag(Qt::AltModifier)) {
        result |= eventFlag::option;
    }
    if ((event.nativeModifiers() & nativeCapsLockBit) != 0) {
        result |= eventFlag::capsLock;
    }
    return result;
}

std::optional<std::string> characters(const QString& text)
{
    return text.isEmpty() ? std::nullopt : std::optional(toUtf8(text));
}

} // namespace

KeyEventFilter::KeyEventFilter()
{
    QCoreApplication::instance()->installEventFilter(this);
}

KeyEventFilter::~KeyEventFilter() = default;

bool KeyEventFilter::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        // Windows only: from there the same event goes on to the focused widget and up through its parents.
        return watched->isWindowType() && handlePress(static_cast<QKeyEvent&>(*event)) == Outcome::swallow;
    case QEvent::KeyRelease:
        return watched->isWindowType() && handleRelease(static_cast<QKeyEvent&>(*event)) == Outcome::swallow;
    case QEvent::InputMethod:
        if (watched == QGuiApplication::focusObject()) {
            handleCommit(static_cast<QInputMethodEvent&>(*event));
        }
        return false;
    default:
        return false;
    }
}

KeyEventFilter::Outcome KeyEventFilter::handlePress(const QKeyEvent& event)
{
    if (isModifierKey(event)) {
        return Outcome::deliver;
    }
    const auto code = xkb::virtualKeyCode(event.nativeScanCode(), event.nativeVirtualKey());
    const Outcome outcome = offer({EventType::keyDown, code, flags(event), characters(event.text())});
    if (outcome == Outcome::swallow) {
        m_swallowedKeys.insert(event.nativeScanCode());
    } else {
        m_swallowedKeys.erase(event.nativeScanCode());
    }
    return outcome;
}

KeyEventFilter::Outcome KeyEventFilter::handleRelease(const QKeyEvent& event)
{
    const auto swallowed = m_swallowedKeys.find(event.nativeScanCode());
    if (swallowed == m_swallowedKeys.end()) {
        return Outcome::deliver;
    }
    if (!event.isAutoRepeat()) {
        m_swallowedKeys.erase(swallowed);
    }
    return Outcome::swallow;
}

void KeyEventFilter::handleCommit(QInputMethodEvent& event)
{
    if (event.commitString().isEmpty()) {
        return;
    }
    if (offer({EventType::keyDown, keyCode::unknown, 0, characters(event.commitString())})
        == Outcome::swallow) {
        // The rest of the event still counts: it takes down the text under composition.
        event.setCommitString({});
    }
}

KeyEventFilter::Outcome KeyEventFilter::offer(const KeyEvent& event)
{
    bool wasSeen = false;
    const bool isSwallowed = m_taps.anyOf([&](const Tap& tap) {
        const std::optional<TapDecision> decision = tap(event);
        wasSeen = wasSeen || decision.has_value();
        return decision == TapDecision::swallow;
    });
    if (isSwallowed) {
        return Outcome::swallow;
    }
    const bool isConsumed = !wasSeen && m_localMonitors.anyOf([&](const LocalMonitor& monitor) {
        return monitor(event) == MonitorDecision::consume;
    });
    return isConsumed ? Outcome::swallow : Outcome::deliver;
}

} // namespace glimmerwick
