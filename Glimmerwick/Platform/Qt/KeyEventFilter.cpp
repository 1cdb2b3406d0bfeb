#include "Platform/Qt/KeyEventFilter.h"

#include "Platform/MainQueue.h"
#include "Platform/Qt/Text.h"
#include "Platform/Qt/XkbKeyCodes.h"

#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QPointer>
#include <QWindow>

#include <memory>

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

/// A key event that has been decided about and waits for its turn.
class DeferredKeyEvent : public QKeyEvent {
public:
    explicit DeferredKeyEvent(const QKeyEvent& event) : QKeyEvent(event) { }
};

} // namespace

KeyEventFilter::KeyEventFilter(MainQueue& mainQueue) : m_mainQueue(mainQueue)
{
    QCoreApplication::instance()->installEventFilter(this);
}

KeyEventFilter::~KeyEventFilter() = default;

bool KeyEventFilter::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        // Windows only: from there the same event goes on to the focused widget and up through its parents.
        return watched->isWindowType()
            && handleKey(static_cast<QWindow&>(*watched), static_cast<QKeyEvent&>(*event))
            != Outcome::deliver;
    case QEvent::InputMethod:
        if (watched == QGuiApplication::focusObject()) {
            handleCommit(static_cast<QInputMethodEvent&>(*event));
        }
        return false;
    default:
        return false;
    }
}

KeyEventFilter::Outcome KeyEventFilter::handleKey(QWindow& window, const QKeyEvent& event)
{
    if (dynamic_cast<const DeferredKeyEvent*>(&event)) {
        return Outcome::deliver;
    }
    const Outcome outcome = event.type() == QEvent::KeyPress ? handlePress(event) : handleRelease(event);
    if (outcome == Outcome::defer) {
        m_mainQueue.async([target = QPointer(&window), copy = std::make_shared<DeferredKeyEvent>(event)] {
            // What was reported before it may have hidden the window.
            if (target && target->isVisible()) {
                QCoreApplication::sendEvent(target, copy.get());
            }
        });
    }
    return outcome;
}

KeyEventFilter::Outcome KeyEventFilter::handlePress(const QKeyEvent& event)
{
    if (isModifierKey(event)) {
        return Outcome::deliver;
    }
    const auto code = xkb::virtualKeyCode(event.nativeScanCode(), event.nativeVirtualKey());
    const Outcome outcome = offer({EventType::keyDown, code, flags(event), characters(event.text())});
    if (outcome == Outcome::deliver) {
        m_heldKeys.erase(event.nativeScanCode());
    } else {
        m_heldKeys[event.nativeScanCode()] = outcome;
    }
    return outcome;
}

KeyEventFilter::Outcome KeyEventFilter::handleRelease(const QKeyEvent& event)
{
    const auto held = m_heldKeys.find(event.nativeScanCode());
    if (held == m_heldKeys.end()) {
        return Outcome::deliver;
    }
    const Outcome outcome = held->second;
    if (!event.isAutoRepeat()) {
        m_heldKeys.erase(held);
    }
    return outcome;
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
    if (wasSeen) {
        return Outcome::defer;
    }
    const bool isConsumed = m_localMonitors.anyOf(
        [&](const LocalMonitor& monitor) { return monitor(event) == MonitorDecision::consume; });
    return isConsumed ? Outcome::swallow : Outcome::deliver;
}

} // namespace glimmerwick
