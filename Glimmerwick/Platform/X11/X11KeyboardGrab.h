#pragma once

#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/X11/X11EventWatcher.h"
#include "Platform/X11/X11Keyboard.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace glimmerwick {

class Clock;
class MainQueue;
class X11HeldKeys;

/// Brings the keyboard to the panel while the application in use keeps the input focus.
///
/// The keyboard is grabbed on the very window that has the focus, which spares that window every focus event;
/// the grabbed events are then redirected to the panel, and the toolkit is told that the panel is active. A
/// refused grab is tried again for a second; after that the panel takes the focus itself. When the focus
/// moves while the panel is shown, the grab follows it.
///
/// No key may get lost or into the wrong hands while this program is busy. So the server keeps back what is
/// typed until the key before it has had its effect: keys behind the shortcut wait for the panel, and keys
/// behind the one that closes it go to the application. Main thread.
class X11KeyboardGrab {
public:
    X11KeyboardGrab(X11Connection& toolkit, X11Connection& display, X11Keyboard& keyboard,
                    X11EventWatcher& watcher, X11HeldKeys& heldKeys, MainQueue& mainQueue, Clock& clock);
    ~X11KeyboardGrab();

    /// The panel is on the screen; the keyboard comes as soon as it is wanted as well.
    void panelDidShow(xcb_window_t panel);
    void panelWillHide();

    /// Whether a tap asks for the keyboard.
    void setWanted(bool wanted);

    /// Gives the panel the input focus outright, unless the keyboard comes to it already.
    void makePanelKey(xcb_window_t panel);

    /// Whether key presses reach the panel, or are about to.
    bool isEngaged() const { return m_state != State::idle; }

    /// Ends whatever holds the keyboard for this program, also the grab that a shortcut's key press brings
    /// with it. When it returns, keys go to the application in use, until `resume`.
    void suspend() { letGo(); }
    /// Takes the keyboard back for a panel that is shown and wants it.
    void resume() { engage(); }

    /// A key has been passed on, and the server keeps back all further ones. They go on once what it leads to
    /// has been done. Harmless when nothing is kept back.
    void thawLater();

    enum class Route {
        /// Not for the panel.
        elsewhere,
        /// Now addressed to the panel.
        toPanel,
        /// The window manager's; nobody here may see it.
        withheld,
    };
    Route route(xcb_key_press_event_t& event);

private:
    enum class State {
        idle,
        /// Another client holds the keyboard; tries go on.
        waiting,
        grabbed,
        /// The window manager has it for as long as the user switches windows.
        lent,
        /// The panel has the input focus.
        focused,
    };

    void engage();
    void letGo();
    bool tryToGrab();
    void thaw();
    void retry();
    void follow(X11EventWatcher::FocusLoss loss);
    void focusPanel();
    void panelLostFocus();
    bool isGrabbedFor(const xcb_key_press_event_t& event) const;
    void restoreFocus();
    bool isWindowSwitch(const xcb_key_press_event_t& event) const;
    void lendToWindowManager(xcb_keycode_t key);
    bool isSwitchingWindows() const;
    void tellToolkit(std::optional<xcb_window_t> activeWindow);

    X11Connection& m_toolkit;
    X11Connection& m_display;
    X11Keyboard& m_keyboard;
    X11EventWatcher& m_watcher;
    X11HeldKeys& m_heldKeys;
    MainQueue& m_mainQueue;
    Clock& m_clock;

    State m_state = State::idle;
    std::optional<xcb_window_t> m_panel;
    bool m_isWanted = false;
    xcb_window_t m_grabbedWindow = XCB_WINDOW_NONE;
    std::optional<xcb_window_t> m_previousFocus;
    std::chrono::steady_clock::time_point m_giveUp;
    Registration m_retry;
    Registration m_activeWindowObserver;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
