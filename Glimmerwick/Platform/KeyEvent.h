#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace glimmerwick {

/// Modifier bits. On Linux Command is Ctrl, Control is Super, Option is Alt. Others may be set and mean
/// nothing here.
namespace eventFlag {
inline constexpr std::uint64_t capsLock = 0x10000;
inline constexpr std::uint64_t shift = 0x20000;
inline constexpr std::uint64_t control = 0x40000;
inline constexpr std::uint64_t option = 0x80000;
inline constexpr std::uint64_t command = 0x100000;
} // namespace eventFlag

using EventFlags = std::uint64_t;

/// Virtual key codes of the ANSI layout, by position; a platform's adapter maps its own codes to these.
namespace keyCode {
inline constexpr std::uint16_t v = 9;
inline constexpr std::uint16_t return_ = 36;
inline constexpr std::uint16_t tab = 48;
inline constexpr std::uint16_t space = 49;
inline constexpr std::uint16_t delete_ = 51;
inline constexpr std::uint16_t escape = 53;
inline constexpr std::uint16_t keypadEnter = 76;
inline constexpr std::uint16_t leftArrow = 123;
inline constexpr std::uint16_t rightArrow = 124;
inline constexpr std::uint16_t downArrow = 125;
inline constexpr std::uint16_t upArrow = 126;
/// A key the table does not know; equal to none of the above.
inline constexpr std::uint16_t unknown = 0xFFFF;
} // namespace keyCode

enum class EventType : std::uint32_t {
    keyDown = 10,
    keyUp = 11,
    tapDisabledByTimeout = 0xFFFFFFFE,
    tapDisabledByUserInput = 0xFFFFFFFF,
};

/// One keyboard event as a tap or a monitor sees it.
struct KeyEvent {
    EventType type = EventType::keyDown;
    /// 0 to 65535.
    std::int64_t keyCode = 0;
    EventFlags flags = 0;
    /// The text that the key press produces, after dead keys and input methods; absent when there is none.
    std::optional<std::string> characters;
};

} // namespace glimmerwick
