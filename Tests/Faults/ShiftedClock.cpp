// Shows a program that this is loaded into another time of day. GLIMMERWICK_CLOCK names a file with the
// seconds to add, which may be written at any time; without it nothing changes. Clocks that only count stay
// as they are.

#include <atomic>
#include <cstdlib>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name, cert-dcl50-cpp)

namespace {

using Seconds = std::atomic<long>;
static_assert(Seconds::is_always_lock_free);

/// The file, mapped, so that a change is seen with the next look at the clock.
const Seconds* mapShift()
{
    const char* const name = std::getenv("GLIMMERWICK_CLOCK");
    const int file = name ? ::open(name, O_RDONLY | O_CLOEXEC) : -1;
    if (file < 0) {
        return nullptr;
    }
    void* const memory = ::mmap(nullptr, sizeof(Seconds), PROT_READ, MAP_SHARED, file, 0);
    ::close(file);
    return memory == MAP_FAILED ? nullptr : static_cast<const Seconds*>(memory);
}

long shift()
{
    static const Seconds* const seconds = mapShift();
    return seconds ? seconds->load() : 0;
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static auto* const real =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(::dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        time->tv_sec += shift();
    }
    return result;
}

int gettimeofday(timeval* time, void*) noexcept
{
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    time->tv_sec = now.tv_sec;
    time->tv_usec = now.tv_nsec / 1000;
    return result;
}

time_t time(time_t* result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"

// NOLINTEND(readability-inconsistent-declaration-parameter-name, cert-dcl50-cpp)
