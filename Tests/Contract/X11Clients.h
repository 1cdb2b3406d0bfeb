#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11Keyboard.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The user and other programs, as clients of the display that the tests run in.
namespace glimmerwick::contract {

/// Presses keys and buttons as the user's devices do.
class Devices {
public:
    Devices() = default;
    Devices(const Devices&) = delete;
    Devices& operator=(const Devices&) = delete;
    /// A test that stops half-way leaves no key pressed for the next one.
    ~Devices()
    {
        while (!m_pressed.empty()) {
            release(m_pressed.front());
        }
    }

    void press(xcb_keysym_t symbol)
    {
        m_pressed.push_back(symbol);
        fake(XCB_KEY_PRESS, key(symbol));
    }
    void release(xcb_keysym_t symbol)
    {
        std::erase(m_pressed, symbol);
        fake(XCB_KEY_RELEASE, key(symbol));
    }

    /// A key by its code, for those that bear no symbol of their own.
    void pressKey(xcb_keycode_t key) { fake(XCB_KEY_PRESS, key); }
    void releaseKey(xcb_keycode_t key) { fake(XCB_KEY_RELEASE, key); }

    void type(const std::vector<xcb_keysym_t>& chord)
    {
        for (const xcb_keysym_t symbol : chord) {
            press(symbol);
        }
        std::for_each(chord.rbegin(), chord.rend(), [this](xcb_keysym_t symbol) { release(symbol); });
    }

    void click(std::int16_t x, std::int16_t y, std::uint8_t button)
    {
        xcb_test_fake_input(m_connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, m_connection.root(), x, y,
                            0);
        fake(XCB_BUTTON_PRESS, button);
        fake(XCB_BUTTON_RELEASE, button);
    }

    xcb_keycode_t key(xcb_keysym_t symbol) const { return m_keyboard.keysWithSymbol(symbol).at(0); }

private:
    void fake(std::uint8_t type, std::uint8_t detail)
    {
        xcb_test_fake_input(m_connection, type, detail, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        m_connection.roundTrip();
    }

    X11Connection m_connection;
    X11Keyboard m_keyboard{m_connection};
    std::vector<xcb_keysym_t> m_pressed;
};

/// Another program's window, with the input focus, that notes what it gets.
class FocusedProgram {
public:
    FocusedProgram() : m_window(xcb_generate_id(m_connection))
    {
        const std::array<std::uint32_t, 2> values{
            1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, m_connection.root(), 0, 0, 100, 100,
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
        xcb_map_window(m_connection, m_window);
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, m_window, XCB_CURRENT_TIME);
        m_connection.roundTrip();
        received();
    }

    /// What has come since the last question: symbols of pressed keys, and changes of the focus.
    std::vector<std::string> received()
    {
        std::vector<std::string> result;
        m_connection.roundTrip();
        while (const XcbEvent event = m_connection.pollEvent()) {
            switch (eventType(*event)) {
            case XCB_KEY_PRESS:
                result.push_back(
                    "key " + std::to_string(reinterpret_cast<const xcb_key_press_event_t&>(*event).detail));
                break;
            case XCB_FOCUS_IN:
                result.emplace_back("focus in");
                break;
            case XCB_FOCUS_OUT:
                result.emplace_back("focus out");
                break;
            default:
                break;
            }
        }
        return result;
    }

    struct KeyPress {
        xcb_keycode_t key;
        std::uint16_t modifiers;
    };

    /// The last key press that has come since the last question, and the modifiers that came with it.
    std::optional<KeyPress> lastKeyPress()
    {
        std::optional<KeyPress> last;
        m_connection.roundTrip();
        while (const XcbEvent event = m_connection.pollEvent()) {
            if (eventType(*event) == XCB_KEY_PRESS) {
                const auto& press = reinterpret_cast<const xcb_key_press_event_t&>(*event);
                last = KeyPress{press.detail, press.state};
            }
        }
        return last;
    }

    void setClass(const std::string& name)
    {
        const std::string names = name + '\0' + name + '\0';
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING,
                            8, static_cast<std::uint32_t>(names.size()), names.data());
        m_connection.roundTrip();
    }

    bool hasFocus() { return m_connection.focusWindow() == m_window; }
    xcb_window_t window() const { return m_window; }

private:
    X11Connection m_connection;
    const xcb_window_t m_window;
};

} // namespace glimmerwick::contract
