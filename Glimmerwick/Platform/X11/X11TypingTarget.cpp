#include "Platform/X11/X11TypingTarget.h"

namespace glimmerwick {

bool X11TypingTarget::activate(const X11Windows::Identity& window, std::chrono::milliseconds patience)
{
    m_window = window;
    return m_windows.isStillThere(window) && m_windows.activate(window.window, patience);
}

std::optional<X11TypingTarget::Obstacle> X11TypingTarget::obstacle()
{
    if (!m_window) {
        return std::nullopt;
    }
    if (!m_windows.isStillThere(*m_window)) {
        return Obstacle::windowIsGone;
    }
    return m_windows.keyReceiver(m_window->window) == X11KeyReceiver::Kind::another
        ? std::optional(Obstacle::anotherWindowHasTheKeys)
        : std::nullopt;
}

} // namespace glimmerwick
