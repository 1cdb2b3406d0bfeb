#pragma once

#include <cstdint>
#include <optional>

/// Between the logic's virtual key codes and those of XKB, which X11 and Wayland share: key codes (the
/// kernel's plus 8) for positions, key symbols for what a key means.
namespace glimmerwick::xkb {

/// Return, Tab, Backspace, Escape, Space, keypad Enter and the arrows are known by their symbol, wherever the
/// user's layout has put them; every other key by its position. `keyCode::unknown` for the rest.
std::uint16_t virtualKeyCode(std::uint32_t xkbKeyCode, std::uint32_t keySymbol);

/// The symbol by which the key is known; nothing for a key that is known by its position.
std::optional<std::uint32_t> keySymbol(std::uint16_t virtualKeyCode);

/// What the key types without modifiers on a US keyboard; nothing for keys that type neither a character nor
/// one of the symbols above.
std::optional<std::uint32_t> usKeySymbol(std::uint16_t virtualKeyCode);

/// The key at the position; nothing for a key that is known by its symbol, and for unknown ones.
std::optional<std::uint32_t> xkbKeyCode(std::uint16_t virtualKeyCode);

} // namespace glimmerwick::xkb
