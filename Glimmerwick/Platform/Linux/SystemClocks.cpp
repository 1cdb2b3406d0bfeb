#include "Platform/Linux/SystemClocks.h"

#include <thread>

namespace glimmerwick {

std::chrono::steady_clock::time_point SteadyClock::now()
{
    return std::chrono::steady_clock::now();
}

void SteadyClock::sleep(std::chrono::nanoseconds duration)
{
    std::this_thread::sleep_for(duration);
}

std::chrono::system_clock::time_point WallClock::now()
{
    return std::chrono::system_clock::now();
}

} // namespace glimmerwick
