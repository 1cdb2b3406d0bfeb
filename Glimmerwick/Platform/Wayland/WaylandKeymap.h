#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct xkb_keymap;

namespace glimmerwick {

/// Which key has which symbol. XKB's key codes, the kernel's plus `xkbOffset`. Any thread, one at a time.
class WaylandKeymap {
public:
    static constexpr std::uint32_t xkbOffset = 8;

    /// The US layout alone, whatever the user's is; null when no keyboard layouts are installed.
    static std::unique_ptr<WaylandKeymap> us();
    /// As a wl_keyboard announces it; null when it cannot be read. The descriptor stays the caller's.
    static std::unique_ptr<WaylandKeymap> read(std::uint32_t format, int descriptor, std::uint32_t size);
    ~WaylandKeymap();
    WaylandKeymap(const WaylandKeymap&) = delete;
    WaylandKeymap& operator=(const WaylandKeymap&) = delete;

    /// The key that has this symbol without modifiers while the layout is the one in use; 0 is the first.
    std::optional<std::uint32_t> keyTyping(std::uint32_t keySymbol, std::uint32_t layout = 0) const;

    /// The keys that have any of these symbols without modifiers, whatever the layout.
    std::vector<std::uint32_t> keysWith(const std::function<bool(std::uint32_t keySymbol)>& accepts) const;

    xkb_keymap* get() const { return m_keymap.get(); }

private:
    struct Deleter {
        void operator()(xkb_keymap* keymap) const;
    };
    using Handle = std::unique_ptr<xkb_keymap, Deleter>;

    explicit WaylandKeymap(Handle keymap);

    const Handle m_keymap;
};

} // namespace glimmerwick
