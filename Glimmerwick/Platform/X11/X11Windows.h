#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11KeyReceiver.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// The windows of all applications, as the window manager and their owners describe them. Main thread.
class X11Windows {
public:
    /// Window class, in the two parts of WM_CLASS.
    struct ClassNames {
        std::string instance;
        std::string class_;
    };

    /// What tells a window from a later one with the same number: the server hands out a closed program's
    /// numbers again at once.
    struct Identity {
        xcb_window_t window = XCB_WINDOW_NONE;
        std::int32_t processIdentifier = -1;
        std::string windowClass;
    };

    explicit X11Windows(X11Connection& connection);

    /// The application window that the user works in: what the window manager calls active, else the one that
    /// has the input focus.
    std::optional<xcb_window_t> frontmostWindow();
    /// The window that receives keys; without one, the frontmost.
    std::optional<xcb_window_t> focusedWindow();
    /// In the window manager's order; empty when it keeps no list.
    std::vector<xcb_window_t> applicationWindows();

    ClassNames classNames(xcb_window_t window);
    /// The class of the window or of the nearest window around it that has one.
    std::string windowClass(xcb_window_t window);
    std::string gtkApplicationIdentifier(xcb_window_t window);
    /// -1 when the owner does not tell.
    std::int32_t processIdentifier(xcb_window_t window);
    std::uint32_t clientOf(xcb_window_t window) const { return m_connection.clientOf(window); }

    Identity identityOf(xcb_window_t window);
    bool isStillThere(const Identity& identity);

    X11KeyReceiver::Kind keyReceiver(xcb_window_t window) { return m_receiver.seenFrom(window); }

    /// Asks the window manager to activate the window and waits until it has, with the focus on the window.
    /// False when that took too long, the window is gone, or a dialog of it is in front instead.
    bool activate(xcb_window_t window, std::chrono::milliseconds patience);

private:
    class RootObservation;

    bool isManaged(xcb_window_t window);
    bool isActive(xcb_window_t window);
    bool hasFocus(xcb_window_t window);
    bool isWindowManagerHere();
    void requestActivation(xcb_window_t window);
    bool isOnAnotherDesktop(xcb_window_t window);
    void goToDesktopOf(xcb_window_t window);
    void sendToWindowManager(xcb_window_t window, const char* type, const std::array<std::uint32_t, 3>& data);
    void showIfIconified(xcb_window_t window);

    X11Connection& m_connection;
    X11KeyReceiver m_receiver{m_connection};
};

} // namespace glimmerwick
