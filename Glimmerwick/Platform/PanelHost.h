#pragma once

#include <cstdint>

namespace glimmerwick {

/// The window system's own identifier of a window.
enum class NativeWindow : std::uint64_t {};

/// What the window system does for a panel that floats over the application in use without activating it.
/// Main thread.
class PanelHost {
public:
    virtual ~PanelHost() = default;

    /// The panel's window exists and is visible; key taps deliver to it from now on.
    virtual void panelDidShow(NativeWindow panel) = 0;

    /// Gives the panel the keyboard focus outright, unless keys reach it already. For the way without a tap.
    virtual void makePanelKey(NativeWindow panel) = 0;

    /// The panel is about to be ordered out: keys go back to the application in use, except those still held.
    virtual void panelWillHide(NativeWindow panel) = 0;

    /// Whether a compositor blends translucent windows; without one the panel needs an opaque shape.
    virtual bool isCompositing() = 0;
};

} // namespace glimmerwick
