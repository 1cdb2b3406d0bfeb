// A library to preload into a program whose main thread runs GLib's event loop, as the toolkit's do. It
// records each stretch of work between two looks at the loop's events, during which nothing else that the
// user does is noticed.
//
// STRETCHES_FILE names the file that a line of JSON is appended to for each stretch of 0.2 milliseconds or
// more:
//   start, end   nanoseconds of the monotonic clock
//   cpu          nanoseconds that the processor worked on it
//   queued       nanoseconds of it spent waiting for a processor that was busy with other programs
//   waited       nanoseconds of it spent waiting for other processes, such as for the display's answers
//   slept        nanoseconds of it that the program asked to sleep
//   stacks       where the thread was, from STRETCHES_SAMPLES_AFTER microseconds on (8000 by default), every
//                millisecond or as often as that: frames from the inmost outwards, as a module's path and a
//                place in it

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t shortestRecorded = 200'000;
constexpr long longestBetweenSamples = 1'000'000;
constexpr std::size_t samplesPerStretch = 200;
constexpr int framesPerSample = 48;

std::int64_t now(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
}

struct Sample {
    std::array<void*, framesPerSample> frames;
    int count = 0;
};

/// What a signal handler writes, of the one thread that it interrupts.
std::array<Sample, samplesPerStretch> samples;
volatile std::sig_atomic_t sampleCount = 0;

void takeSample(int)
{
    const int kept = errno;
    const auto index = static_cast<std::size_t>(sampleCount);
    if (index < samples.size()) {
        samples[index].count = backtrace(samples[index].frames.data(), framesPerSample);
        sampleCount = sampleCount + 1;
    }
    errno = kept;
}

/// Of the main thread, from the loading of the library on.
class Recorder {
public:
    Recorder()
    {
        const char* const path = std::getenv("STRETCHES_FILE");
        m_file = path ? open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600) : -1;
        // Programs that this one starts are not meant.
        unsetenv("LD_PRELOAD");
        m_schedule = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
        void* first = nullptr;
        // Loads what it needs, which a handler could not.
        backtrace(&first, 1);
        makeTimer();
        begin();
    }

    void begin()
    {
        m_start = now(CLOCK_MONOTONIC);
        m_processorStart = now(CLOCK_THREAD_CPUTIME_ID);
        m_queuedBefore = queued();
        m_waited = 0;
        m_slept = 0;
        sampleCount = 0;
        setTimer(m_delay);
    }

    void end()
    {
        setTimer(0);
        const std::int64_t end = now(CLOCK_MONOTONIC);
        if (end - m_start >= shortestRecorded && m_file >= 0) {
            write(end);
        }
    }

    void addWait(std::int64_t nanoseconds) { m_waited += nanoseconds; }
    void addSleep(std::int64_t nanoseconds) { m_slept += nanoseconds; }

private:
    void makeTimer()
    {
        const char* const delay = std::getenv("STRETCHES_SAMPLES_AFTER");
        m_delay = delay ? 1000 * std::atol(delay) : 8'000'000;
        const int signal = SIGRTMIN + 5;
        struct sigaction action { };
        action.sa_handler = takeSample;
        action.sa_flags = SA_RESTART;
        sigaction(signal, &action, nullptr);
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD_ID;
        event.sigev_signo = signal;
        event._sigev_un._tid = gettid();
        m_hasTimer = timer_create(CLOCK_MONOTONIC, &event, &m_timer) == 0;
    }

    void setTimer(long delay)
    {
        if (m_hasTimer) {
            const itimerspec times{{0, std::min(m_delay, longestBetweenSamples)},
                                   {delay / nanosecondsPerSecond, delay % nanosecondsPerSecond}};
            timer_settime(m_timer, 0, &times, nullptr);
        }
    }

    /// How long the thread has been ready to run and has not run, ever; 0 where the kernel does not tell.
    std::int64_t queued() const
    {
        std::array<char, 96> text{};
        if (pread(m_schedule, text.data(), text.size() - 1, 0) <= 0) {
            return 0;
        }
        char* rest = nullptr;
        std::strtoll(text.data(), &rest, 10);
        return std::strtoll(rest, nullptr, 10);
    }

    void write(std::int64_t end) const
    {
        const std::int64_t processorTime = now(CLOCK_THREAD_CPUTIME_ID) - m_processorStart;
        std::string line = R"({"start":)" + std::to_string(m_start) + R"(,"end":)" + std::to_string(end)
            + R"(,"cpu":)" + std::to_string(processorTime) + R"(,"queued":)"
            + std::to_string(queued() - m_queuedBefore) + R"(,"waited":)" + std::to_string(m_waited)
            + R"(,"slept":)" + std::to_string(m_slept) + R"(,"stacks":[)";
        for (std::size_t index = 0; index < static_cast<std::size_t>(sampleCount); ++index) {
            line += index == 0 ? "[" : ",[";
            appendFrames(line, samples[index]);
            line += "]";
        }
        line += "]}\n";
        [[maybe_unused]] const ssize_t written = ::write(m_file, line.data(), line.size());
    }

    /// The innermost two are the handler and what called it.
    static void appendFrames(std::string& line, const Sample& sample)
    {
        constexpr int own = 2;
        for (int frame = own; frame < sample.count; ++frame) {
            Dl_info info{};
            const char* const address =
                static_cast<const char*>(sample.frames[static_cast<std::size_t>(frame)]);
            if (dladdr(address, &info) == 0 || !info.dli_fname) {
                continue;
            }
            line += line.back() == '[' ? "\"" : ",\"";
            line += info.dli_fname;
            line += "+" + std::to_string(address - static_cast<const char*>(info.dli_fbase)) + "\"";
        }
    }

    int m_file = -1;
    int m_schedule = -1;
    bool m_hasTimer = false;
    long m_delay = 0;
    timer_t m_timer{};
    std::int64_t m_start = 0;
    std::int64_t m_processorStart = 0;
    std::int64_t m_queuedBefore = 0;
    std::int64_t m_waited = 0;
    std::int64_t m_slept = 0;
};

Recorder& recorder()
{
    // Never destroyed: the loop may be looked at until the very end.
    static Recorder* const instance = new Recorder;
    return *instance;
}

[[gnu::constructor]] void start()
{
    recorder();
}

bool isEventLoop(const void* caller)
{
    static const void* known = nullptr;
    if (caller == known) {
        return true;
    }
    Dl_info info{};
    if (dladdr(caller, &info) == 0 || !info.dli_fname || !std::strstr(info.dli_fname, "libglib-2.0")) {
        return false;
    }
    known = caller;
    return true;
}

/// Sleeps by `wait`, and notes whose sleep it is.
template <typename Wait> int observed(const void* caller, Wait wait)
{
    if (gettid() != getpid()) {
        return wait();
    }
    if (isEventLoop(caller)) {
        recorder().end();
        const int result = wait();
        const int error = errno;
        recorder().begin();
        errno = error;
        return result;
    }
    const std::int64_t before = now(CLOCK_MONOTONIC);
    const int result = wait();
    const int error = errno;
    recorder().addWait(now(CLOCK_MONOTONIC) - before);
    errno = error;
    return result;
}

template <typename Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

[[gnu::visibility("default")]] int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    static auto* const wait = next<int(pollfd*, nfds_t, int)>("poll");
    return observed(__builtin_return_address(0), [&] { return wait(descriptors, count, timeout); });
}

[[gnu::visibility("default")]] int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout,
                                         const sigset_t* signals)
{
    static auto* const wait = next<int(pollfd*, nfds_t, const timespec*, const sigset_t*)>("ppoll");
    return observed(__builtin_return_address(0), [&] { return wait(descriptors, count, timeout, signals); });
}

/// What sleeps of the standard library are, again after each signal. That a busy machine wakes the thread
/// later than it asked for does not count.
[[gnu::visibility("default")]] int nanosleep(const timespec* time, timespec* rest)
{
    static auto* const wait = next<int(const timespec*, timespec*)>("nanosleep");
    const std::int64_t asked = time->tv_sec * nanosecondsPerSecond + time->tv_nsec;
    const std::int64_t before = now(CLOCK_MONOTONIC);
    const int result = wait(time, rest);
    const int error = errno;
    if (gettid() == getpid()) {
        recorder().addSleep(std::min(asked, now(CLOCK_MONOTONIC) - before));
    }
    errno = error;
    return result;
}
}
