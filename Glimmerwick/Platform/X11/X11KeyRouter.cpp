#include "Platform/X11/X11KeyRouter.h"

#include "Platform/X11/X11EventTap.h"
#include "Platform/X11/X11HeldKeys.h"
#include "Platform/X11/X11KeyboardGrab.h"

#include <QCoreApplication>

namespace glimmerwick {

X11KeyRouter::X11KeyRouter(X11KeyboardGrab& keyboardGrab, X11EventTap& eventTap, X11HeldKeys& heldKeys)
    : m_keyboardGrab(keyboardGrab), m_eventTap(eventTap), m_heldKeys(heldKeys)
{
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11KeyRouter::~X11KeyRouter() = default;

bool X11KeyRouter::nativeEventFilter(const QByteArray& type, void* message, qintptr*)
{
    if (type != "xcb_generic_event_t") {
        return false;
    }
    auto& event = *static_cast<xcb_generic_event_t*>(message);
    // The plain types only: what another client merely sent is no key that anybody pressed.
    const bool isKey = event.response_type == XCB_KEY_PRESS || event.response_type == XCB_KEY_RELEASE;
    return isKey && route(reinterpret_cast<xcb_key_press_event_t&>(event));
}

bool X11KeyRouter::route(xcb_key_press_event_t& event)
{
    switch (m_keyboardGrab.route(event)) {
    case X11KeyboardGrab::Route::toPanel:
        return false;
    case X11KeyboardGrab::Route::withheld:
        return true;
    case X11KeyboardGrab::Route::elsewhere:
        break;
    }
    // Whichever grab has brought the key here, and whether or not it is still wanted.
    m_keyboardGrab.thawLater();
    return event.response_type == XCB_KEY_PRESS
        && (m_eventTap.handlePassiveGrab(event) || m_heldKeys.absorb(event));
}

} // namespace glimmerwick
