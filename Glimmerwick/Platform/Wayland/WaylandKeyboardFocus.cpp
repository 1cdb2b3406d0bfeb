#include "Platform/Wayland/WaylandKeyboardFocus.h"

#include <unistd.h>
#include <wayland-client-protocol.h>

#include <cstdint>
#include <utility>

namespace glimmerwick {

const wl_seat_listener WaylandKeyboardFocus::seatListener{
    [](void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& self = *static_cast<WaylandKeyboardFocus*>(data);
        const bool hasKeyboard = (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
        if (hasKeyboard != (self.m_keyboard != nullptr)) {
            self.useKeyboard(hasKeyboard ? wl_seat_get_keyboard(seat) : nullptr);
        }
    },
    [](void*, wl_seat*, const char*) {},
};

const wl_keyboard_listener WaylandKeyboardFocus::listener{
    [](void*, wl_keyboard*, std::uint32_t, int keymap, std::uint32_t) { close(keymap); },
    [](void* data, wl_keyboard*, std::uint32_t, wl_surface* surface, wl_array*) {
        static_cast<WaylandKeyboardFocus*>(data)->m_surface = surface;
    },
    [](void* data, wl_keyboard*, std::uint32_t, wl_surface* surface) {
        auto& self = *static_cast<WaylandKeyboardFocus*>(data);
        self.m_surface = nullptr;
        self.m_handlers.callAll(surface);
    },
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
};

WaylandKeyboardFocus::WaylandKeyboardFocus(wl_seat* seat) : m_seat(seat)
{
    if (m_seat) {
        wl_seat_add_listener(m_seat, &seatListener, this);
    }
}

WaylandKeyboardFocus::~WaylandKeyboardFocus()
{
    useKeyboard(nullptr);
    if (m_seat) {
        wl_seat_destroy(m_seat);
    }
}

void WaylandKeyboardFocus::useKeyboard(wl_keyboard* keyboard)
{
    m_surface = nullptr;
    if (wl_keyboard* const former = std::exchange(m_keyboard, keyboard)) {
        wl_keyboard_release(former);
    }
    if (m_keyboard) {
        wl_keyboard_add_listener(m_keyboard, &listener, this);
    }
}

} // namespace glimmerwick
