#pragma once

#include <cstdint>
#include <memory>
#include <optional>

namespace glimmerwick {

class WaylandDisplay;

/// A keyboard of this program's own, with a map of its own: where the user's layout has a key, and what the
/// user holds, makes no difference. The display's thread.
///
/// Make it early and keep it. Programs learn that the seat has a keyboard, and which map it has, only when
/// they look, and some look too late for a key that follows at once.
class WaylandVirtualKeyboard {
public:
    /// Null when the compositor lends no keyboards, or there are no keyboard layouts to make a map from. One
    /// that refuses ends the connection.
    static std::unique_ptr<WaylandVirtualKeyboard> make(WaylandDisplay& display);
    ~WaylandVirtualKeyboard();
    WaylandVirtualKeyboard(const WaylandVirtualKeyboard&) = delete;
    WaylandVirtualKeyboard& operator=(const WaylandVirtualKeyboard&) = delete;

    /// The key that has this symbol without modifiers.
    std::optional<std::uint32_t> keyTyping(std::uint32_t keySymbol) const;

    /// By XKB's key codes. Modifiers follow from the keys that are down.
    void press(std::uint32_t key);
    void release(std::uint32_t key);

private:
    struct Map;
    struct Proxies;

    WaylandVirtualKeyboard(std::unique_ptr<Map> map, std::unique_ptr<Proxies> proxies);

    enum class KeyState : std::uint32_t { released = 0, pressed = 1 };
    void send(std::uint32_t key, KeyState state);

    std::unique_ptr<Map> m_map;
    std::unique_ptr<Proxies> m_proxies;
};

} // namespace glimmerwick
