#pragma once

#include "Platform/Clock.h"

namespace glimmerwick {

class SteadyClock : public Clock {
public:
    std::chrono::steady_clock::time_point now() override;
    void sleep(std::chrono::nanoseconds duration) override;
};

class WallClock : public FileClock {
public:
    std::chrono::system_clock::time_point now() override;
};

} // namespace glimmerwick
