#pragma once

#include "Contract/WaylandSeatDevices.h"
#include "Platform/Wayland/WaylandConnection.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>

namespace glimmerwick::contract {

/// The user's hands: a pointer and a keyboard of a program of its own.
class UserDevices {
public:
    /// The pointer moves in a space of this size, which is that of all outputs together.
    UserDevices(std::uint32_t width, std::uint32_t height) : m_width(width), m_height(height)
    {
        perform([this](WaylandDisplay& display) {
            m_devices = SeatDevices::make(display);
            ASSERT_TRUE(m_devices) << "the compositor lends no devices";
        });
    }
    ~UserDevices()
    {
        perform([this](WaylandDisplay&) { m_devices.reset(); });
    }
    UserDevices(const UserDevices&) = delete;
    UserDevices& operator=(const UserDevices&) = delete;

    void movePointer(std::uint32_t x, std::uint32_t y)
    {
        perform([&](WaylandDisplay&) { m_devices->movePointer(x, y, m_width, m_height); });
    }

    void pressButton()
    {
        perform([&](WaylandDisplay&) { m_devices->moveButton(SeatDevices::Motion::down); });
    }
    void releaseButton()
    {
        perform([&](WaylandDisplay&) { m_devices->moveButton(SeatDevices::Motion::up); });
    }
    void click()
    {
        pressButton();
        releaseButton();
    }

    /// By the symbol that the key has without modifiers on a US keyboard: "v", "Escape".
    void pressKey(const std::string& symbol) { moveKey(symbol, {SeatDevices::Motion::down}); }
    void releaseKey(const std::string& symbol) { moveKey(symbol, {SeatDevices::Motion::up}); }
    void typeKey(const std::string& symbol)
    {
        moveKey(symbol, {SeatDevices::Motion::down, SeatDevices::Motion::up});
    }

private:
    void moveKey(const std::string& symbol, std::initializer_list<SeatDevices::Motion> motions)
    {
        perform([&](WaylandDisplay&) {
            for (const auto motion : motions) {
                EXPECT_TRUE(m_devices->moveKey(symbol, motion)) << symbol;
            }
        });
    }

    template <typename Work> void perform(Work work)
    {
        m_connection.perform([&](WaylandDisplay& display) {
            work(display);
            display.roundTrip();
        });
    }

    const std::uint32_t m_width;
    const std::uint32_t m_height;
    WaylandConnection m_connection{{}};
    std::unique_ptr<SeatDevices> m_devices;
};

} // namespace glimmerwick::contract
