#pragma once

#include "Platform/Registration.h"

#include <cstdint>
#include <functional>
#include <optional>

namespace glimmerwick {

/// The window system's own identifier of a window.
enum class NativeWindow : std::uint64_t {};

/// In pixels, from the top left corner of all screens together.
struct ScreenRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    friend bool operator==(const ScreenRect&, const ScreenRect&) = default;
};

/// In points, from the top left corner of all screens together.
struct ScreenPoint {
    double x = 0;
    double y = 0;

    friend bool operator==(const ScreenPoint&, const ScreenPoint&) = default;
};

/// A rectangle with rounded corners, in pixels of the screen.
struct PanelOutline {
    int width = 0;
    int height = 0;
    double cornerRadius = 0;
};

/// What shows through the translucent parts of a panel.
enum class Backdrop {
    /// Nothing does: they must be painted over.
    opaque,
    translucent,
    /// What stands behind, out of focus.
    blurred,
};

/// What the window system does for a panel that floats over the application in use without activating it.
/// Main thread.
class PanelHost {
public:
    virtual ~PanelHost() = default;

    /// Whether the panel is to be a window like any other, which takes the focus from the application in use:
    /// there, no other window gets keys.
    virtual bool needsOrdinaryPanel() const = 0;

    /// Where the pointer is, for the panel to open there; nothing where the toolkit knows it by itself. May
    /// wait for the window system for a moment.
    virtual std::optional<ScreenPoint> pointerPosition() = 0;

    /// The panel's window exists and is visible; key taps deliver to it from now on.
    virtual void panelDidShow(NativeWindow panel) = 0;

    /// Gives the panel the keyboard focus outright, unless keys reach it already. For the way without a tap.
    virtual void makePanelKey(NativeWindow panel) = 0;

    /// The panel is about to be ordered out: keys go back to the application in use, except those still held.
    virtual void panelWillHide(NativeWindow panel) = 0;

    /// Gives the panel's window, whose native window exists, this outline by whatever means there are at the
    /// moment, and answers what shows through. To be called again when the backdrop changes.
    virtual Backdrop shapePanel(NativeWindow panel, PanelOutline outline) = 0;

    /// The part of a screen that no dock or bar covers.
    virtual ScreenRect visibleFrame(ScreenRect screen) = 0;

    /// Runs the handler after the backdrop may have changed, as when a compositor starts or ends.
    virtual Registration onBackdropChanged(std::function<void()> handler) = 0;

    /// Runs the handler when the panel that is shown gets no keys any more, because the user has turned to
    /// another program and the window system cannot tell of it in another way.
    virtual Registration onKeysLost(std::function<void()> handler) = 0;
};

} // namespace glimmerwick
