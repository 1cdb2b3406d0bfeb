#pragma once

#include "Platform/X11/X11Connection.h"

#include <QAbstractNativeEventFilter>

namespace glimmerwick {

class X11EventTap;
class X11HeldKeys;
class X11KeyboardGrab;

/// Looks at the key events that grabs bring to the toolkit's connection before the toolkit does, and sends
/// each where it belongs. Main thread.
class X11KeyRouter : public QAbstractNativeEventFilter {
public:
    X11KeyRouter(X11KeyboardGrab& keyboardGrab, X11EventTap& eventTap, X11HeldKeys& heldKeys);
    ~X11KeyRouter() override;

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    bool route(xcb_key_press_event_t& event);

    X11KeyboardGrab& m_keyboardGrab;
    X11EventTap& m_eventTap;
    X11HeldKeys& m_heldKeys;
};

} // namespace glimmerwick
