#include "Platform/X11/X11PanelHost.h"

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11KeyboardGrab.h"

namespace glimmerwick {

X11PanelHost::X11PanelHost(X11Connection& display, X11KeyboardGrab& keyboardGrab)
    : m_display(display), m_keyboardGrab(keyboardGrab)
{
}

void X11PanelHost::panelDidShow(NativeWindow panel)
{
    m_keyboardGrab.panelDidShow(static_cast<xcb_window_t>(panel));
}

void X11PanelHost::makePanelKey(NativeWindow panel)
{
    m_keyboardGrab.makePanelKey(static_cast<xcb_window_t>(panel));
}

void X11PanelHost::panelWillHide(NativeWindow)
{
    m_keyboardGrab.panelWillHide();
}

bool X11PanelHost::isCompositing()
{
    const xcb_atom_t selection = m_display.atom("_NET_WM_CM_S" + std::to_string(m_display.screenNumber()));
    const auto reply =
        m_display.answer(xcb_get_selection_owner_reply, xcb_get_selection_owner(m_display, selection));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

} // namespace glimmerwick
