#pragma once

#include <cstdint>
#include <vector>

namespace glimmerwick {

/// Keys named by what they type alone: X11 key symbols, such as XKB_KEY_v and XKB_KEY_Control_L.
using KeySymbols = std::vector<std::uint32_t>;

/// A keyboard of the program's own that presses keys on the user's behalf. They go to whatever window has the
/// keys. Main thread.
class InjectedKeyboard {
public:
    virtual ~InjectedKeyboard() = default;

    /// Whether what is pressed now arrives. It can change both ways: the user may allow it and take that
    /// back, and the connection may be lost.
    virtual bool isReady() = 0;

    /// Whether there is a key for the symbol.
    virtual bool canType(std::uint32_t symbol) = 0;

    /// One after the other, and held; waits, for a bounded time, until the window system has them. False when
    /// it has not. Every key must be one that can be typed.
    virtual bool press(const KeySymbols& symbols) = 0;

    /// What was pressed is let go in the opposite order, and waited for in the same way.
    virtual void release(const KeySymbols& symbols) = 0;
};

} // namespace glimmerwick
