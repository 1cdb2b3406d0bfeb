#pragma once

#include "Platform/Registration.h"
#include "Platform/X11/X11Keyboard.h"

#include <chrono>
#include <optional>
#include <vector>

namespace glimmerwick {

class Clock;
class MainQueue;

/// Keeps keys that are still down when the picker lets go of the keyboard from repeating into the application
/// that gets it back: each is grabbed for itself until it is up. Main thread.
class X11HeldKeys {
public:
    X11HeldKeys(X11Connection& toolkit, X11Connection& display, X11Keyboard& keyboard, MainQueue& mainQueue,
                Clock& clock);
    ~X11HeldKeys();

    /// Call it while the keyboard is still grabbed, with the window that is to have the focus then; it may be
    /// let go at once afterwards. Modifier keys excepted.
    void keepBack(std::optional<xcb_window_t> window);

    /// Gives back at once what is up by now.
    void update();

    /// Whether the key press is one that is kept back; the grab which brought it here is then ended, so that
    /// other keys go their way.
    bool absorb(const xcb_key_press_event_t& event);

private:
    void cover(std::optional<xcb_window_t> window);
    void grab(xcb_keycode_t key, xcb_window_t window);
    void giveBack(const X11Keyboard::KeyState& keys);
    void letGo();

    X11Connection& m_toolkit;
    X11Connection& m_display;
    X11Keyboard& m_keyboard;
    MainQueue& m_mainQueue;
    Clock& m_clock;
    X11Keyboard::KeyState m_keys;
    std::vector<xcb_window_t> m_windows;
    std::chrono::steady_clock::time_point m_giveUp;
    Registration m_timer;
};

} // namespace glimmerwick
