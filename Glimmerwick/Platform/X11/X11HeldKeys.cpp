#include "Platform/X11/X11HeldKeys.h"

#include "Platform/Clock.h"
#include "Platform/MainQueue.h"

#include <algorithm>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// Shorter than the time between two repeats.
constexpr auto checkInterval = 20ms;
// A key that never comes up is stuck; the application must get it back some time.
constexpr auto longestHold = 30s;

} // namespace

X11HeldKeys::X11HeldKeys(X11Connection& toolkit, X11Connection& display, X11Keyboard& keyboard,
                         MainQueue& mainQueue, Clock& clock)
    : m_toolkit(toolkit), m_display(display), m_keyboard(keyboard), m_mainQueue(mainQueue), m_clock(clock)
{
}

X11HeldKeys::~X11HeldKeys()
{
    letGo();
}

void X11HeldKeys::keepBack(std::optional<xcb_window_t> window)
{
    auto pressed = m_keyboard.pressedKeys();
    for (std::size_t key = 0; key < pressed.size(); ++key) {
        if (m_keyboard.isModifier(static_cast<xcb_keycode_t>(key))) {
            pressed.reset(key);
        }
    }
    if (pressed.none()) {
        return;
    }
    letGo();
    m_keys = pressed;
    m_giveUp = m_clock.now() + longestHold;
    cover(window);
    m_timer = m_mainQueue.every(checkInterval, [this] { update(); });
}

// Not on the root: a window manager's own shortcuts there (Alt+Space, say) would refuse a grab of the key
// with any modifier, and the application would be told that it lost the focus at every repeat.
void X11HeldKeys::cover(std::optional<xcb_window_t> window)
{
    if (!window || *window == m_display.root() || std::ranges::find(m_windows, *window) != m_windows.end()) {
        return;
    }
    m_windows.push_back(*window);
    for (std::size_t key = 0; key < m_keys.size(); ++key) {
        if (m_keys.test(key)) {
            grab(static_cast<xcb_keycode_t>(key), *window);
        }
    }
}

void X11HeldKeys::grab(xcb_keycode_t key, xcb_window_t window)
{
    const auto request = [&](std::uint16_t modifiers) {
        return xcb_grab_key_checked(m_toolkit, 0, window, modifiers, key, XCB_GRAB_MODE_ASYNC,
                                    XCB_GRAB_MODE_ASYNC);
    };
    if (m_toolkit.succeeds(request(XCB_MOD_MASK_ANY))) {
        return;
    }
    for (const std::uint16_t locks : m_keyboard.lockCombinations()) {
        m_toolkit.succeeds(request(locks));
    }
}

bool X11HeldKeys::absorb(const xcb_key_press_event_t& event)
{
    if (!m_keys.test(event.detail) || std::ranges::find(m_windows, event.event) == m_windows.end()) {
        return false;
    }
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    xcb_flush(m_toolkit);
    return true;
}

void X11HeldKeys::update()
{
    if (m_keys.none()) {
        return;
    }
    const auto stillDown = m_keys & m_keyboard.pressedKeys();
    if (stillDown.none() || m_clock.now() >= m_giveUp) {
        letGo();
        return;
    }
    giveBack(m_keys & ~stillDown);
    cover(m_display.focusWindow());
}

void X11HeldKeys::giveBack(const X11Keyboard::KeyState& keys)
{
    for (const xcb_window_t window : m_windows) {
        for (std::size_t key = 0; key < keys.size(); ++key) {
            if (keys.test(key)) {
                xcb_ungrab_key(m_toolkit, static_cast<xcb_keycode_t>(key), window, XCB_MOD_MASK_ANY);
            }
        }
    }
    if (!m_windows.empty()) {
        xcb_flush(m_toolkit);
    }
    m_keys &= ~keys;
}

void X11HeldKeys::letGo()
{
    giveBack(m_keys);
    m_windows.clear();
    m_timer.reset();
}

} // namespace glimmerwick
