#pragma once

#include <chrono>

namespace glimmerwick {

/// Steady time, and the only way in which the logic may block its thread.
class Clock {
public:
    virtual ~Clock() = default;

    virtual std::chrono::steady_clock::time_point now() = 0;

    /// Blocks the calling thread. Only for the short waits that the typing sequence asks for.
    virtual void sleep(std::chrono::nanoseconds duration) = 0;
};

/// Wall time, for comparing with the modification times of files.
class FileClock {
public:
    virtual ~FileClock() = default;

    virtual std::chrono::system_clock::time_point now() = 0;
};

} // namespace glimmerwick
