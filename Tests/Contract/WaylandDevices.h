#pragma once

#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include <linux/input-event-codes.h>
#include <wayland-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1.h>
#include <xkbcommon/xkbcommon.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>

namespace glimmerwick::contract {

/// The user's hands: a pointer and a keyboard of a program of its own.
class UserDevices {
public:
    /// The pointer moves in a space of this size, which is that of all outputs together.
    UserDevices(std::uint32_t width, std::uint32_t height) : m_width(width), m_height(height)
    {
        m_connection.perform([this](WaylandDisplay& display) {
            m_keyboard = WaylandVirtualKeyboard::make(display);
            m_manager =
                display.bind<zwlr_virtual_pointer_manager_v1>(zwlr_virtual_pointer_manager_v1_interface, 2);
            m_pointer = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(m_manager, display.seat());
            display.roundTrip();
        });
    }
    ~UserDevices()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            m_keyboard.reset();
            zwlr_virtual_pointer_v1_destroy(m_pointer);
            zwlr_virtual_pointer_manager_v1_destroy(m_manager);
            display.roundTrip();
        });
    }
    UserDevices(const UserDevices&) = delete;
    UserDevices& operator=(const UserDevices&) = delete;

    void movePointer(std::uint32_t x, std::uint32_t y)
    {
        m_connection.perform([&](WaylandDisplay& display) {
            zwlr_virtual_pointer_v1_motion_absolute(m_pointer, ++m_time, x, y, m_width, m_height);
            zwlr_virtual_pointer_v1_frame(m_pointer);
            display.roundTrip();
        });
    }

    void pressButton() { moveButton(WL_POINTER_BUTTON_STATE_PRESSED); }
    void releaseButton() { moveButton(WL_POINTER_BUTTON_STATE_RELEASED); }
    void click()
    {
        pressButton();
        releaseButton();
    }

    /// By the symbol that the key has without modifiers: "v", "Escape".
    void typeKey(const std::string& symbol)
    {
        m_connection.perform([&](WaylandDisplay& display) {
            const auto key = m_keyboard->keyTyping(xkb_keysym_from_name(symbol.c_str(), XKB_KEYSYM_NO_FLAGS));
            ASSERT_TRUE(key.has_value()) << symbol;
            m_keyboard->press(*key);
            m_keyboard->release(*key);
            display.roundTrip();
        });
    }

private:
    void moveButton(std::uint32_t state)
    {
        m_connection.perform([&](WaylandDisplay& display) {
            zwlr_virtual_pointer_v1_button(m_pointer, ++m_time, BTN_LEFT, state);
            zwlr_virtual_pointer_v1_frame(m_pointer);
            display.roundTrip();
        });
    }

    const std::uint32_t m_width;
    const std::uint32_t m_height;
    std::uint32_t m_time = 0;
    WaylandConnection m_connection{{}};
    std::unique_ptr<WaylandVirtualKeyboard> m_keyboard;
    zwlr_virtual_pointer_manager_v1* m_manager = nullptr;
    zwlr_virtual_pointer_v1* m_pointer = nullptr;
};

} // namespace glimmerwick::contract
