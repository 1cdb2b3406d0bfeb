#pragma once

#include "Platform/X11/X11Connection.h"

#include <optional>

namespace glimmerwick {

/// Tells where a key that is pressed now would go, seen from one application window. Main thread.
class X11KeyReceiver {
public:
    enum class Kind {
        /// The window itself, something in it, or the frame around it.
        theWindow,
        /// A dialog over the window, or a menu of its application.
        itsAttendant,
        another,
        /// Neither the server nor the window manager says.
        unknown,
    };

    explicit X11KeyReceiver(X11Connection& connection);

    Kind seenFrom(xcb_window_t window);

    /// Whether the one belongs to the other as a dialog does, directly or through further dialogs.
    bool isDialogOf(xcb_window_t dialog, xcb_window_t window);

private:
    Kind byActiveWindow(xcb_window_t window);
    bool isDialogOf(xcb_window_t dialog, xcb_window_t window, int longestChain);
    bool isWithin(xcb_window_t inner, xcb_window_t outer);
    bool isManaged(xcb_window_t window);
    bool isPopup(xcb_window_t window);
    bool hasDialogMark(xcb_window_t window);
    bool isSameApplication(xcb_window_t one, xcb_window_t another);
    std::optional<xcb_window_t> applicationWindow(xcb_window_t inner);
    std::optional<xcb_window_t> transientFor(xcb_window_t window);
    std::optional<std::uint32_t> processIdentifier(xcb_window_t window);

    X11Connection& m_connection;
};

} // namespace glimmerwick
