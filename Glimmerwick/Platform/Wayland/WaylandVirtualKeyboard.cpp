#include "Platform/Wayland/WaylandVirtualKeyboard.h"

#include "Platform/Wayland/WaylandDisplay.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <sys/mman.h>
#include <unistd.h>
#include <virtual-keyboard-unstable-v1.h>
#include <xkbcommon/xkbcommon.h>

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::uint32_t managerVersion = 1;
struct StateDeleter {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};
struct TextDeleter {
    void operator()(char* text) const { std::free(text); }
};

/// A file in memory; negative when there is none.
int fileWith(std::string_view bytes)
{
    const int descriptor = memfd_create("glimmerwick-keymap", MFD_CLOEXEC);
    while (descriptor >= 0 && !bytes.empty()) {
        const ssize_t count = write(descriptor, bytes.data(), bytes.size());
        if (count <= 0) {
            close(descriptor);
            return -1;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return descriptor;
}

std::uint32_t millisecondsNow()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

} // namespace

struct WaylandVirtualKeyboard::Map {
    // Any layout with Latin letters would do.
    std::unique_ptr<WaylandKeymap> keymap;
    std::unique_ptr<xkb_state, StateDeleter> state;
};

struct WaylandVirtualKeyboard::Proxies {
    explicit Proxies(zwp_virtual_keyboard_manager_v1* ofManager, wl_seat* seat)
        : manager(ofManager), keyboard(zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(manager, seat))
    {
    }
    ~Proxies()
    {
        zwp_virtual_keyboard_v1_destroy(keyboard);
        zwp_virtual_keyboard_manager_v1_destroy(manager);
    }
    Proxies(const Proxies&) = delete;
    Proxies& operator=(const Proxies&) = delete;

    zwp_virtual_keyboard_manager_v1* const manager;
    zwp_virtual_keyboard_v1* const keyboard;
};

std::unique_ptr<WaylandVirtualKeyboard> WaylandVirtualKeyboard::make(WaylandDisplay& display)
{
    auto keymap = WaylandKeymap::us();
    if (!keymap || !display.seat() || !display.capabilities().virtualKeyboard) {
        return nullptr;
    }
    const std::unique_ptr<char, TextDeleter> text(
        xkb_keymap_get_as_string(keymap->get(), XKB_KEYMAP_FORMAT_TEXT_V1));
    // With the zero at its end.
    const std::string_view bytes(text.get(), std::string_view(text.get()).size() + 1);
    const int file = fileWith(bytes);
    if (file < 0) {
        return nullptr;
    }
    auto proxies = std::make_unique<Proxies>(display.bind<zwp_virtual_keyboard_manager_v1>(
                                                 zwp_virtual_keyboard_manager_v1_interface, managerVersion),
                                             display.seat());
    zwp_virtual_keyboard_v1_keymap(proxies->keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, file,
                                   static_cast<std::uint32_t>(bytes.size()));
    close(file);
    std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap->get()));
    auto map = std::make_unique<Map>(Map{std::move(keymap), std::move(state)});
    return std::unique_ptr<WaylandVirtualKeyboard>(
        new WaylandVirtualKeyboard(std::move(map), std::move(proxies)));
}

WaylandVirtualKeyboard::WaylandVirtualKeyboard(std::unique_ptr<Map> map, std::unique_ptr<Proxies> proxies)
    : m_map(std::move(map)), m_proxies(std::move(proxies))
{
}

WaylandVirtualKeyboard::~WaylandVirtualKeyboard() = default;

std::optional<std::uint32_t> WaylandVirtualKeyboard::keyTyping(std::uint32_t keySymbol) const
{
    return m_map->keymap->keyTyping(keySymbol);
}

void WaylandVirtualKeyboard::press(std::uint32_t key)
{
    send(key, KeyState::pressed);
}

void WaylandVirtualKeyboard::release(std::uint32_t key)
{
    send(key, KeyState::released);
}

void WaylandVirtualKeyboard::send(std::uint32_t key, KeyState keyState)
{
    xkb_state* state = m_map->state.get();
    zwp_virtual_keyboard_v1_key(m_proxies->keyboard, millisecondsNow(), key - WaylandKeymap::xkbOffset,
                                static_cast<std::uint32_t>(keyState));
    const auto changes =
        xkb_state_update_key(state, key, keyState == KeyState::pressed ? XKB_KEY_DOWN : XKB_KEY_UP);
    if (changes == 0) {
        return;
    }
    // The compositor does not work them out from the keys.
    zwp_virtual_keyboard_v1_modifiers(m_proxies->keyboard,
                                      xkb_state_serialize_mods(state, XKB_STATE_MODS_DEPRESSED),
                                      xkb_state_serialize_mods(state, XKB_STATE_MODS_LATCHED),
                                      xkb_state_serialize_mods(state, XKB_STATE_MODS_LOCKED),
                                      xkb_state_serialize_layout(state, XKB_STATE_LAYOUT_EFFECTIVE));
}

} // namespace glimmerwick
