#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace glimmerwick::contract {

/// Long enough for the slowest machine: tests assert what happens, not how soon.
constexpr std::chrono::seconds patience{20};

/// Whether the condition came true in time; `turn` runs between two looks at it.
inline bool eventually(
    const std::function<bool()>& condition,
    const std::function<void()>& turn = [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); })
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        turn();
    }
    return true;
}

} // namespace glimmerwick::contract
