#include "Platform/Wayland/WaylandFakeInput.h"

#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandKeymap.h"

#include <fake-input.h>
#include <unistd.h>
#include <wayland-client-protocol.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <chrono>
#include <map>
#include <optional>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// The first with keys.
constexpr std::uint32_t fakeInputVersion = 4;
constexpr std::uint32_t seatVersion = 5;
constexpr auto keymapPatience = 1s;

bool isModifier(std::uint32_t symbol)
{
    switch (symbol) {
    case XKB_KEY_Shift_L:
    case XKB_KEY_Shift_R:
    case XKB_KEY_Control_L:
    case XKB_KEY_Control_R:
    case XKB_KEY_Alt_L:
    case XKB_KEY_Alt_R:
    case XKB_KEY_Meta_L:
    case XKB_KEY_Meta_R:
    case XKB_KEY_Super_L:
    case XKB_KEY_Super_R:
    case XKB_KEY_Hyper_L:
    case XKB_KEY_Hyper_R:
    case XKB_KEY_ISO_Level3_Shift:
    case XKB_KEY_ISO_Level5_Shift:
    case XKB_KEY_Mode_switch:
        return true;
    default:
        return false;
    }
}

} // namespace

/// The connection's thread.
class WaylandFakeInput::Worker {
public:
    /// Null when the compositor has none, or one without keys.
    static std::unique_ptr<Worker> make(WaylandDisplay& display)
    {
        if (!display.seat()) {
            return nullptr;
        }
        auto* input =
            display.bind<org_kde_kwin_fake_input>(org_kde_kwin_fake_input_interface, fakeInputVersion);
        if (!input) {
            return nullptr;
        }
        if (org_kde_kwin_fake_input_get_version(input) < fakeInputVersion) {
            org_kde_kwin_fake_input_destroy(input);
            return nullptr;
        }
        org_kde_kwin_fake_input_authenticate(input, "Glimmerwick",
                                             "Pastes the emoji that the user has chosen");
        auto worker = std::make_unique<Worker>(display, input);
        // With the fake keyboard the seat has one, so it has a map as well.
        display.turnUntil([&] { return worker->m_map != nullptr; },
                          std::chrono::steady_clock::now() + keymapPatience);
        return worker;
    }

    Worker(WaylandDisplay& display, org_kde_kwin_fake_input* input)
        : m_display(display), m_input(input), m_us(WaylandKeymap::us()),
          m_seat(display.bind<wl_seat>(wl_seat_interface, seatVersion))
    {
        wl_seat_add_listener(m_seat, &seatListener, this);
    }
    ~Worker()
    {
        useKeyboard(nullptr);
        wl_seat_release(m_seat);
        org_kde_kwin_fake_input_destroy(m_input);
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    std::optional<std::uint32_t> keyTyping(std::uint32_t symbol, std::uint32_t layout) const
    {
        const auto key = m_map ? m_map->keyTyping(symbol, layout) : std::nullopt;
        return !key && m_us ? m_us->keyTyping(symbol) : key;
    }

    bool press(const KeySymbols& symbols, std::uint32_t layout)
    {
        releaseModifiers();
        for (const std::uint32_t symbol : symbols) {
            if (const auto key = keyTyping(symbol, layout)) {
                send(*key, WL_KEYBOARD_KEY_STATE_PRESSED);
                m_pressed[symbol] = *key;
            }
        }
        return m_display.roundTrip();
    }

    void release(const KeySymbols& symbols)
    {
        for (auto symbol = symbols.rbegin(); symbol != symbols.rend(); ++symbol) {
            // The layout may be another by now, but the key is the one that went down.
            if (auto pressed = m_pressed.extract(*symbol)) {
                send(pressed.mapped(), WL_KEYBOARD_KEY_STATE_RELEASED);
            }
        }
        m_display.roundTrip();
    }

private:
    static const wl_seat_listener seatListener;
    static const wl_keyboard_listener keyboardListener;

    void useKeyboard(wl_keyboard* keyboard)
    {
        if (wl_keyboard* const former = std::exchange(m_keyboard, keyboard)) {
            wl_keyboard_release(former);
        }
        if (m_keyboard) {
            wl_keyboard_add_listener(m_keyboard, &keyboardListener, this);
        }
    }

    void useMap(std::unique_ptr<WaylandKeymap> map)
    {
        if (map) {
            m_map = std::move(map);
            m_modifierKeys = m_map->keysWith(isModifier);
        }
    }

    // Nobody is told which are held but the window that has the keys. To let go of one that is up does
    // nothing.
    void releaseModifiers()
    {
        for (const std::uint32_t key : m_modifierKeys) {
            send(key, WL_KEYBOARD_KEY_STATE_RELEASED);
        }
    }

    void send(std::uint32_t key, std::uint32_t state)
    {
        org_kde_kwin_fake_input_keyboard_key(m_input, key - WaylandKeymap::xkbOffset, state);
    }

    WaylandDisplay& m_display;
    org_kde_kwin_fake_input* const m_input;
    const std::unique_ptr<WaylandKeymap> m_us;
    wl_seat* const m_seat;
    wl_keyboard* m_keyboard = nullptr;
    /// The user's; null until the compositor has told.
    std::unique_ptr<WaylandKeymap> m_map;
    std::vector<std::uint32_t> m_modifierKeys;
    std::map<std::uint32_t, std::uint32_t> m_pressed;
};

const wl_seat_listener WaylandFakeInput::Worker::seatListener{
    [](void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& self = *static_cast<Worker*>(data);
        const bool hasKeyboard = (capabilities & WL_SEAT_CAPABILITY_KEYBOARD) != 0;
        if (hasKeyboard != (self.m_keyboard != nullptr)) {
            self.useKeyboard(hasKeyboard ? wl_seat_get_keyboard(seat) : nullptr);
        }
    },
    [](void*, wl_seat*, const char*) {},
};

const wl_keyboard_listener WaylandFakeInput::Worker::keyboardListener{
    [](void* data, wl_keyboard*, std::uint32_t format, int descriptor, std::uint32_t size) {
        static_cast<Worker*>(data)->useMap(WaylandKeymap::read(format, descriptor, size));
        close(descriptor);
    },
    [](void*, wl_keyboard*, std::uint32_t, wl_surface*, wl_array*) {},
    [](void*, wl_keyboard*, std::uint32_t, wl_surface*) {},
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    [](void*, wl_keyboard*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {},
    [](void*, wl_keyboard*, std::int32_t, std::int32_t) {},
};

WaylandFakeInput::WaylandFakeInput(WaylandConnection& connection, LayoutInUse layoutInUse)
    : m_connection(connection), m_layoutInUse(std::move(layoutInUse)),
      m_worker(connection.perform([](WaylandDisplay& display) { return Worker::make(display); }))
{
}

WaylandFakeInput::~WaylandFakeInput()
{
    m_connection.perform([this](WaylandDisplay&) { m_worker.reset(); });
}

bool WaylandFakeInput::isReady()
{
    return m_worker && !m_connection.isLost();
}

bool WaylandFakeInput::canType(std::uint32_t symbol)
{
    if (!m_worker) {
        return false;
    }
    const std::uint32_t layout = m_layoutInUse();
    return m_connection.perform(
        [&](WaylandDisplay&) { return m_worker->keyTyping(symbol, layout).has_value(); });
}

bool WaylandFakeInput::press(const KeySymbols& symbols)
{
    if (!m_worker) {
        return false;
    }
    const std::uint32_t layout = m_layoutInUse();
    return m_connection.perform([&](WaylandDisplay&) { return m_worker->press(symbols, layout); });
}

void WaylandFakeInput::release(const KeySymbols& symbols)
{
    if (m_worker) {
        m_connection.perform([&](WaylandDisplay&) { m_worker->release(symbols); });
    }
}

} // namespace glimmerwick
