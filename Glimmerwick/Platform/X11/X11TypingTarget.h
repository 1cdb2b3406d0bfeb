#pragma once

#include "Platform/X11/X11Windows.h"

#include <chrono>
#include <optional>

namespace glimmerwick {

/// The window that keys are meant for, and whether they would get there. Main thread.
class X11TypingTarget {
public:
    explicit X11TypingTarget(X11Windows& windows) : m_windows(windows) { }

    /// Makes it the window that keys are meant for and brings it to the front, see X11Windows::activate.
    /// False when it is not in front, or gone; it is meant nonetheless.
    bool activate(const X11Windows::Identity& window, std::chrono::milliseconds patience);

    enum class Obstacle { windowIsGone, anotherWindowHasTheKeys };

    /// Why keys must not be pressed now. Nothing is in the way before the first activation, while the window
    /// or a dialog of it has the focus, and while nobody says where the focus is.
    std::optional<Obstacle> obstacle();

private:
    X11Windows& m_windows;
    std::optional<X11Windows::Identity> m_window;
};

} // namespace glimmerwick
