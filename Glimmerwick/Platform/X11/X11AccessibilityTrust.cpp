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
    if (!m_display.hasExtension(xcb_test_id)) {
        std::fprintf(stderr, "glimmerwick: the X server lacks the XTEST extension; emoji cannot be typed\n");
    }
    if (!m_display.hasExtension(xcb_input_id)) {
        std::fprintf(stderr,
                     "glimmerwick: the X server lacks the XInputExtension; clicks outside the picker go "
                     "unnoticed\n");
    }
    return isTrusted();
}

} // namespace glimmerwick
