#pragma once

#include "Platform/Wayland/WaylandDisplay.h"
#include "Platform/Wayland/WaylandKeymap.h"
#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include <fake-input.h>
#include <linux/input-event-codes.h>
#include <wayland-client-protocol.h>
#include <wlr-virtual-pointer-unstable-v1.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

namespace glimmerwick::contract {

/// The keyboard and the pointer of somebody who sits at the desktop, which has none of its own. The display's
/// thread.
class SeatDevices {
public:
    enum class Motion : std::uint32_t { up = 0, down = 1 };

    /// Null when the compositor lends no devices.
    static std::unique_ptr<SeatDevices> make(WaylandDisplay& display);
    virtual ~SeatDevices() = default;

    /// By the symbol that the key has without modifiers on a US keyboard: "v", "Control_L". False when there
    /// is no such key.
    virtual bool moveKey(const std::string& symbol, Motion motion) = 0;
    /// In a space of this size, which is that of all outputs together.
    virtual void movePointer(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) = 0;
    /// The left one.
    virtual void moveButton(Motion motion) = 0;
    /// Down when positive.
    virtual void turnWheel(int notches) = 0;

protected:
    static constexpr int unitsPerNotch = 15;

    static std::uint32_t symbolOf(const std::string& name)
    {
        return xkb_keysym_from_name(name.c_str(), XKB_KEYSYM_NO_FLAGS);
    }
};

/// Devices of the program's own.
class VirtualSeatDevices : public SeatDevices {
public:
    /// Null when the compositor has none.
    static std::unique_ptr<SeatDevices> make(WaylandDisplay& display)
    {
        auto keyboard = WaylandVirtualKeyboard::make(display);
        auto* manager =
            display.bind<zwlr_virtual_pointer_manager_v1>(zwlr_virtual_pointer_manager_v1_interface, 2);
        if (!keyboard || !manager) {
            return nullptr;
        }
        return std::make_unique<VirtualSeatDevices>(display, std::move(keyboard), manager);
    }

    VirtualSeatDevices(WaylandDisplay& display, std::unique_ptr<WaylandVirtualKeyboard> keyboard,
                       zwlr_virtual_pointer_manager_v1* manager)
        : m_keyboard(std::move(keyboard)), m_manager(manager),
          m_pointer(zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager, display.seat()))
    {
    }
    ~VirtualSeatDevices() override
    {
        zwlr_virtual_pointer_v1_destroy(m_pointer);
        zwlr_virtual_pointer_manager_v1_destroy(m_manager);
    }

    bool moveKey(const std::string& symbol, Motion motion) override
    {
        const auto key = m_keyboard->keyTyping(symbolOf(symbol));
        if (key && motion == Motion::down) {
            m_keyboard->press(*key);
        } else if (key) {
            m_keyboard->release(*key);
        }
        return key.has_value();
    }

    void movePointer(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) override
    {
        zwlr_virtual_pointer_v1_motion_absolute(m_pointer, ++m_time, x, y, width, height);
        zwlr_virtual_pointer_v1_frame(m_pointer);
    }

    void moveButton(Motion motion) override
    {
        zwlr_virtual_pointer_v1_button(m_pointer, ++m_time, BTN_LEFT, static_cast<std::uint32_t>(motion));
        zwlr_virtual_pointer_v1_frame(m_pointer);
    }

    void turnWheel(int notches) override
    {
        const int direction = notches > 0 ? 1 : -1;
        for (int notch = 0; notch < std::abs(notches); ++notch) {
            zwlr_virtual_pointer_v1_axis_source(m_pointer, WL_POINTER_AXIS_SOURCE_WHEEL);
            zwlr_virtual_pointer_v1_axis_discrete(m_pointer, ++m_time, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                                  wl_fixed_from_int(direction * unitsPerNotch), direction);
            zwlr_virtual_pointer_v1_frame(m_pointer);
        }
    }

private:
    const std::unique_ptr<WaylandVirtualKeyboard> m_keyboard;
    zwlr_virtual_pointer_manager_v1* const m_manager;
    zwlr_virtual_pointer_v1* const m_pointer;
    std::uint32_t m_time = 0;
};

/// KWin's, which are as good as the user's own.
class FakeSeatDevices : public SeatDevices {
public:
    /// Null when the compositor has none.
    static std::unique_ptr<SeatDevices> make(WaylandDisplay& display)
    {
        auto* input = display.bind<org_kde_kwin_fake_input>(org_kde_kwin_fake_input_interface, 4);
        return input ? std::make_unique<FakeSeatDevices>(input) : nullptr;
    }

    explicit FakeSeatDevices(org_kde_kwin_fake_input* input) : m_input(input)
    {
        org_kde_kwin_fake_input_authenticate(m_input, "the hand", "plays the user");
    }
    ~FakeSeatDevices() override { org_kde_kwin_fake_input_destroy(m_input); }

    bool moveKey(const std::string& symbol, Motion motion) override
    {
        const auto key = m_keymap->keyTyping(symbolOf(symbol));
        if (key) {
            org_kde_kwin_fake_input_keyboard_key(m_input, *key - WaylandKeymap::xkbOffset,
                                                 static_cast<std::uint32_t>(motion));
        }
        return key.has_value();
    }

    void movePointer(std::uint32_t x, std::uint32_t y, std::uint32_t, std::uint32_t) override
    {
        org_kde_kwin_fake_input_pointer_motion_absolute(m_input, wl_fixed_from_int(static_cast<int>(x)),
                                                        wl_fixed_from_int(static_cast<int>(y)));
    }

    void moveButton(Motion motion) override
    {
        org_kde_kwin_fake_input_button(m_input, BTN_LEFT, static_cast<std::uint32_t>(motion));
    }

    void turnWheel(int notches) override
    {
        for (int notch = 0; notch < std::abs(notches); ++notch) {
            org_kde_kwin_fake_input_axis(m_input, WL_POINTER_AXIS_VERTICAL_SCROLL,
                                         wl_fixed_from_int(notches > 0 ? unitsPerNotch : -unitsPerNotch));
        }
    }

private:
    org_kde_kwin_fake_input* const m_input;
    const std::unique_ptr<WaylandKeymap> m_keymap = WaylandKeymap::us();
};

inline std::unique_ptr<SeatDevices> SeatDevices::make(WaylandDisplay& display)
{
    auto devices = VirtualSeatDevices::make(display);
    return devices ? std::move(devices) : FakeSeatDevices::make(display);
}

} // namespace glimmerwick::contract
