#include "Platform/Wayland/WaylandConnection.h"

#include "Platform/Linux/WakeDescriptor.h"

#include <pthread.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace glimmerwick {

namespace {

// Whoever reads from here may go away before everything is written, which is no reason to end.
void ignoreBrokenPipes()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

} // namespace

/// The connection's thread: lives in the display's `turn`, and does in between what it is given.
class WaylandConnection::Worker {
public:
    explicit Worker(Options options) : m_display(options.displayName)
    {
        m_display.onLost = [this, onLost = std::move(options.onLost)](const std::string& reason) {
            if (!isCompositorGone()) {
                std::fprintf(stderr, "glimmerwick: the connection to the Wayland compositor is lost: %s\n",
                             reason.c_str());
            }
            if (onLost) {
                onLost(reason);
            }
        };
        m_thread = std::jthread([this](const std::stop_token& stop) { run(stop); });
    }
    ~Worker()
    {
        m_thread.request_stop();
        m_wake.wake();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    void submit(std::function<void(WaylandDisplay&)> work)
    {
        {
            const std::lock_guard lock(m_mutex);
            m_work.push_back(std::move(work));
        }
        m_wake.wake();
    }

private:
    void run(const std::stop_token& stop)
    {
        ignoreBrokenPipes();
        for (;;) {
            m_wake.settle();
            // After settling, which may have taken the very wake-up that tells of the stop.
            if (stop.stop_requested()) {
                return;
            }
            for (const auto& work : takeWork()) {
                work(m_display);
            }
            m_display.turn(WaylandDisplay::Time::max(), m_wake.get());
        }
    }

    // The toolkit's display, on the compositor or on its XWayland, is lost with it, which is told once.
    bool isCompositorGone() const
    {
        const int error = wl_display_get_error(m_display.get());
        return error == EPIPE || error == ECONNRESET;
    }

    std::vector<std::function<void(WaylandDisplay&)>> takeWork()
    {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_work, {});
    }

    WaylandDisplay m_display;
    WakeDescriptor m_wake;
    std::mutex m_mutex;
    std::vector<std::function<void(WaylandDisplay&)>> m_work;
    std::jthread m_thread;
};

WaylandConnection::WaylandConnection(Options options) : m_worker(std::make_unique<Worker>(std::move(options)))
{
}

WaylandConnection::~WaylandConnection() = default;

void WaylandConnection::submit(std::function<void(WaylandDisplay&)> work)
{
    m_worker->submit(std::move(work));
}

WaylandCapabilities WaylandConnection::capabilities()
{
    return perform([](WaylandDisplay& display) { return display.capabilities(); });
}

bool WaylandConnection::isLost()
{
    return perform([](WaylandDisplay& display) { return display.isLost(); });
}

} // namespace glimmerwick
