#pragma once

#include "Contract/Eventually.h"
#include "Platform/Wayland/WaylandConnection.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xdg-shell.h>
#include <xkbcommon/xkbcommon.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// Another program with a window, which notes what keys it gets.
class TestWindow {
public:
    explicit TestWindow(const std::string& appId)
    {
        m_connection.perform([&](WaylandDisplay& display) { open(display, appId); });
        EXPECT_TRUE(eventually(
            [this] { return m_connection.perform([this](WaylandDisplay&) { return m_isMapped; }); }));
    }
    ~TestWindow()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            close();
            display.roundTrip();
        });
    }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    bool hasKeys()
    {
        return m_connection.perform([this](WaylandDisplay& display) {
            display.roundTrip();
            return m_hasKeys;
        });
    }

    /// The keys that went down while the window had them, each with the modifiers that were on by then:
    /// "Control+v".
    std::vector<std::string> pressedKeys()
    {
        return m_connection.perform([this](WaylandDisplay& display) {
            display.roundTrip();
            return m_pressed;
        });
    }

    /// How often a mouse button went down on it.
    int clicks()
    {
        return m_connection.perform([this](WaylandDisplay& display) {
            display.roundTrip();
            return m_clicks;
        });
    }

    /// Whether no key is down and no modifier is on.
    bool isIdle()
    {
        return m_connection.perform([this](WaylandDisplay& display) {
            display.roundTrip();
            return m_keysDown.empty() && m_modifiers == 0;
        });
    }

    void minimize()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            xdg_toplevel_set_minimized(m_toplevel);
            display.roundTrip();
        });
    }

private:
    static constexpr int width = 200;
    static constexpr int height = 100;
    static constexpr int stride = width * 4;
    static constexpr std::uint32_t xkbOffset = 8;

    static TestWindow& from(void* self) { return *static_cast<TestWindow*>(self); }

    void open(WaylandDisplay& display, const std::string& appId)
    {
        m_compositor = display.bind<wl_compositor>(wl_compositor_interface, 4);
        m_shm = display.bind<wl_shm>(wl_shm_interface, 1);
        m_shell = display.bind<xdg_wm_base>(xdg_wm_base_interface, 1);
        listenToKeyboard(display);
        listenToPointer(display);
        static constexpr xdg_wm_base_listener shellListener{
            [](void*, xdg_wm_base* shell, std::uint32_t serial) { xdg_wm_base_pong(shell, serial); }};
        xdg_wm_base_add_listener(m_shell, &shellListener, this);
        m_surface = wl_compositor_create_surface(m_compositor);
        m_shellSurface = xdg_wm_base_get_xdg_surface(m_shell, m_surface);
        static constexpr xdg_surface_listener surfaceListener{
            [](void* self, xdg_surface* surface, std::uint32_t serial) {
                xdg_surface_ack_configure(surface, serial);
                from(self).draw();
            }};
        xdg_surface_add_listener(m_shellSurface, &surfaceListener, this);
        m_toplevel = xdg_surface_get_toplevel(m_shellSurface);
        static constexpr xdg_toplevel_listener toplevelListener{
            [](void*, xdg_toplevel*, std::int32_t, std::int32_t, wl_array*) {}, [](void*, xdg_toplevel*) {},
            [](void*, xdg_toplevel*, std::int32_t, std::int32_t) {}, [](void*, xdg_toplevel*, wl_array*) {}};
        xdg_toplevel_add_listener(m_toplevel, &toplevelListener, this);
        xdg_toplevel_set_app_id(m_toplevel, appId.c_str());
        xdg_toplevel_set_title(m_toplevel, "test window");
        wl_surface_commit(m_surface);
    }

    void draw()
    {
        if (m_isMapped) {
            return;
        }
        const int file = memfd_create("window", MFD_CLOEXEC);
        ASSERT_EQ(ftruncate(file, stride * height), 0);
        wl_shm_pool* pool = wl_shm_create_pool(m_shm, file, stride * height);
        m_buffer = wl_shm_pool_create_buffer(pool, 0, width, height, stride, WL_SHM_FORMAT_XRGB8888);
        wl_shm_pool_destroy(pool);
        ::close(file);
        wl_surface_attach(m_surface, m_buffer, 0, 0);
        wl_surface_commit(m_surface);
        m_isMapped = true;
    }

    void listenToKeyboard(WaylandDisplay& display)
    {
        m_keyboard = wl_seat_get_keyboard(display.seat());
        static constexpr wl_keyboard_listener listener{
            [](void* self, wl_keyboard*, std::uint32_t format, int file, std::uint32_t size) {
                from(self).useKeymap(format, file, size);
            },
            [](void* self, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {
                from(self).m_hasKeys = true;
            },
            [](void* self, wl_keyboard*, std::uint32_t, wl_surface*) { from(self).m_hasKeys = false; },
            [](void* self, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t key,
               std::uint32_t state) { from(self).noteKey(key + xkbOffset, state); },
            [](void* self, wl_keyboard*, std::uint32_t, std::uint32_t depressed, std::uint32_t latched,
               std::uint32_t locked, std::uint32_t group) {
                from(self).m_modifiers = depressed | latched | locked;
                if (from(self).m_state) {
                    xkb_state_update_mask(from(self).m_state, depressed, latched, locked, 0, 0, group);
                }
            },
            [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
        };
        wl_keyboard_add_listener(m_keyboard, &listener, this);
    }

    void listenToPointer(WaylandDisplay& display)
    {
        m_pointer = wl_seat_get_pointer(display.seat());
        static constexpr wl_pointer_listener listener = [] {
            wl_pointer_listener made{};
            made.enter = [](void*, wl_pointer*, std::uint32_t, wl_surface*, wl_fixed_t, wl_fixed_t) {};
            made.leave = [](void*, wl_pointer*, std::uint32_t, wl_surface*) {};
            made.motion = [](void*, wl_pointer*, std::uint32_t, wl_fixed_t, wl_fixed_t) {};
            made.button = [](void* self, wl_pointer*, std::uint32_t, std::uint32_t, std::uint32_t,
                             std::uint32_t state) {
                from(self).m_clicks += state == WL_POINTER_BUTTON_STATE_PRESSED ? 1 : 0;
            };
            made.axis = [](void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {};
            made.frame = [](void*, wl_pointer*) {};
            made.axis_source = [](void*, wl_pointer*, std::uint32_t) {};
            made.axis_stop = [](void*, wl_pointer*, std::uint32_t, std::uint32_t) {};
            made.axis_discrete = [](void*, wl_pointer*, std::uint32_t, std::int32_t) {};
            return made;
        }();
        wl_pointer_add_listener(m_pointer, &listener, this);
    }

    void useKeymap(std::uint32_t format, int file, std::uint32_t size)
    {
        xkb_state_unref(std::exchange(m_state, nullptr));
        xkb_keymap_unref(std::exchange(m_keymap, nullptr));
        // A seat has no map while nobody has used one of its keyboards since the one used last is gone.
        if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1) {
            void* text = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
            m_keymap = xkb_keymap_new_from_string(m_context, static_cast<const char*>(text),
                                                  XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
            munmap(text, size);
            m_state = xkb_state_new(m_keymap);
        }
        ::close(file);
    }

    void noteKey(xkb_keycode_t key, std::uint32_t state)
    {
        if (state != WL_KEYBOARD_KEY_STATE_PRESSED) {
            m_keysDown.erase(key);
            return;
        }
        m_keysDown.insert(key);
        std::string chord;
        for (const char* modifier : {XKB_MOD_NAME_CTRL, XKB_MOD_NAME_SHIFT, XKB_MOD_NAME_ALT,
                                     XKB_MOD_NAME_LOGO, XKB_MOD_NAME_CAPS}) {
            if (xkb_state_mod_name_is_active(m_state, modifier, XKB_STATE_MODS_EFFECTIVE) == 1) {
                chord += std::string(modifier) + '+';
            }
        }
        const xkb_keysym_t* symbols = nullptr;
        xkb_keymap_key_get_syms_by_level(m_keymap, key, 0, 0, &symbols);
        char name[64];
        xkb_keysym_get_name(*symbols, name, sizeof name);
        m_pressed.push_back(chord + name);
    }

    void close()
    {
        wl_keyboard_release(m_keyboard);
        wl_pointer_release(m_pointer);
        xdg_toplevel_destroy(m_toplevel);
        xdg_surface_destroy(m_shellSurface);
        wl_surface_destroy(m_surface);
        if (m_buffer) {
            wl_buffer_destroy(m_buffer);
        }
        xdg_wm_base_destroy(m_shell);
        wl_shm_destroy(m_shm);
        wl_compositor_destroy(m_compositor);
        xkb_state_unref(m_state);
        xkb_keymap_unref(m_keymap);
        xkb_context_unref(m_context);
    }

    WaylandConnection m_connection{{}};
    wl_compositor* m_compositor = nullptr;
    wl_shm* m_shm = nullptr;
    wl_buffer* m_buffer = nullptr;
    wl_surface* m_surface = nullptr;
    wl_keyboard* m_keyboard = nullptr;
    wl_pointer* m_pointer = nullptr;
    xdg_wm_base* m_shell = nullptr;
    xdg_surface* m_shellSurface = nullptr;
    xdg_toplevel* m_toplevel = nullptr;
    xkb_context* const m_context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    xkb_keymap* m_keymap = nullptr;
    xkb_state* m_state = nullptr;
    bool m_isMapped = false;
    bool m_hasKeys = false;
    std::set<xkb_keycode_t> m_keysDown;
    int m_clicks = 0;
    std::uint32_t m_modifiers = 0;
    std::vector<std::string> m_pressed;
};

} // namespace glimmerwick::contract
