#include "Platform/X11/X11AccessibilityTrust.h"

#include "Platform/X11/X11Connection.h"

#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <cstdio>

namespace glimmerwick {

X11AccessibilityTrust::X11AccessibilityTrust(X11Connection& display) : m_display(display) { }

bool X11AccessibilityTrust::isTrusted()
{
    return m_display.hasExtension(xcb_test_id) && m_display.hasExtension(xcb_input_id);
}

bool X11AccessibilityTrust::isTrustedWithPrompt()
{
    const bool canType = m_display.hasExtension(xcb_test_id);
    const bool seesClicks = m_display.hasExtension(xcb_input_id);
    // A server that has gone away lacks everything; that is told elsewhere.
    if (m_display.isBroken()) {
        return false;
    }
    if (!canType) {
        std::fprintf(stderr, "glimmerwick: the X server lacks the XTEST extension; emoji cannot be typed\n");
    }
    if (!seesClicks) {
        std::fprintf(stderr,
                     "glimmerwick: the X server lacks the XInputExtension; clicks outside the picker go "
                     "unnoticed\n");
    }
    return canType && seesClicks;
}

} // namespace glimmerwick
