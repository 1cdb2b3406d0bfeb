#include "Platform/Wayland/WaylandDisplay.h"

#include "Platform/Wayland/WaylandOutputs.h"

#include <poll.h>
#include <wayland-client.h>
#include <xdg-output-unstable-v1.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr auto announcementPatience = 5s;
constexpr auto answerPatience = 1s;
// Version 2 names the seat and from 5 on it can be released; nothing later is used.
constexpr std::uint32_t seatVersion = 5;
constexpr int forEver = -1;

int millisecondsUntil(WaylandDisplay::Time time)
{
    if (time == WaylandDisplay::Time::max()) {
        return forEver;
    }
    const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(time - SteadyClock::now());
    return static_cast<int>(std::clamp<std::int64_t>(remaining.count(), 0, 60'000));
}

std::string reasonOfLoss(wl_display* display)
{
    const int error = wl_display_get_error(display);
    if (error != EPROTO) {
        return std::strerror(error);
    }
    const wl_interface* interface = nullptr;
    const std::uint32_t code = wl_display_get_protocol_error(display, &interface, nullptr);
    return "the compositor took a request amiss (" + std::string(interface ? interface->name : "unknown")
        + ", error " + std::to_string(code) + ')';
}

void release(wl_seat* seat)
{
    if (wl_seat_get_version(seat) >= WL_SEAT_RELEASE_SINCE_VERSION) {
        wl_seat_release(seat);
    } else {
        wl_seat_destroy(seat);
    }
}

/// Says when the compositor has got so far.
class SyncCallback {
public:
    explicit SyncCallback(wl_display* display) : m_callback(wl_display_sync(display))
    {
        static constexpr wl_callback_listener listener{
            [](void* isDone, wl_callback*, std::uint32_t) { *static_cast<bool*>(isDone) = true; }};
        if (m_callback) {
            wl_callback_add_listener(m_callback, &listener, &m_isDone);
        }
    }
    ~SyncCallback()
    {
        if (m_callback) {
            wl_callback_destroy(m_callback);
        }
    }
    SyncCallback(const SyncCallback&) = delete;
    SyncCallback& operator=(const SyncCallback&) = delete;

    bool isDone() const { return m_isDone; }

private:
    bool m_isDone = false;
    wl_callback* const m_callback;
};

} // namespace

const wl_registry_listener WaylandDisplay::registryListener{
    [](void* self, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version) {
        static_cast<WaylandDisplay*>(self)->announce(name, interface, version);
    },
    [](void* self, wl_registry*, std::uint32_t name) { static_cast<WaylandDisplay*>(self)->withdraw(name); },
};

void WaylandDisplay::DisplayDeleter::operator()(wl_display* display) const
{
    wl_display_disconnect(display);
}

WaylandDisplay::WaylandDisplay(const std::string& name)
    : m_display(wl_display_connect(name.empty() ? nullptr : name.c_str())),
      m_outputs(std::make_unique<WaylandOutputs>())
{
    if (!m_display) {
        throw std::runtime_error("cannot reach a Wayland compositor: " + std::string(std::strerror(errno)));
    }
    m_registry = wl_display_get_registry(get());
    wl_registry_add_listener(m_registry, &registryListener, this);
    const Time until = SteadyClock::now() + announcementPatience;
    // The second time for what is bound in the first.
    if (!waitForAnswer(until) || !waitForAnswer(until)) {
        releaseProxies();
        throw std::runtime_error("the Wayland compositor does not answer");
    }
}

WaylandDisplay::~WaylandDisplay()
{
    releaseProxies();
}

void WaylandDisplay::releaseProxies()
{
    m_outputs.reset();
    if (m_seat) {
        release(m_seat);
    }
    wl_registry_destroy(m_registry);
    wl_display_flush(get());
}

WaylandCapabilities WaylandDisplay::capabilities() const
{
    std::vector<WaylandGlobal> globals;
    for (const Announced& announced : m_announced) {
        globals.push_back(announced.global);
    }
    WaylandCapabilities capabilities = WaylandCapabilities::of(globals);
    capabilities.outputs = m_outputs->all();
    return capabilities;
}

void WaylandDisplay::announce(std::uint32_t name, const char* interface, std::uint32_t version)
{
    const Announced& announced = m_announced.emplace_back(Announced{{interface, version}, name});
    if (announced.global.interface == wl_seat_interface.name && !m_seat) {
        m_seat = static_cast<wl_seat*>(bindNamed(announced, wl_seat_interface, seatVersion));
        m_seatName = name;
    } else if (announced.global.interface == wl_output_interface.name) {
        m_outputs->add(
            name,
            static_cast<wl_output*>(bindNamed(announced, wl_output_interface, WaylandOutputs::version)));
    } else if (announced.global.interface == zxdg_output_manager_v1_interface.name) {
        m_outputs->setManager(static_cast<zxdg_output_manager_v1*>(
            bindNamed(announced, zxdg_output_manager_v1_interface, WaylandOutputs::managerVersion)));
    }
}

// The seat's proxy stays: others hold it, and its requests do nothing any more.
void WaylandDisplay::withdraw(std::uint32_t name)
{
    m_announced.remove_if([name](const Announced& announced) { return announced.name == name; });
    m_outputs->remove(name);
}

void* WaylandDisplay::bindFirst(const wl_interface& interface, std::uint32_t highestVersion)
{
    const auto found = std::ranges::find_if(m_announced, [&](const Announced& announced) {
        return announced.global.interface == interface.name;
    });
    return found == m_announced.end() ? nullptr : bindNamed(*found, interface, highestVersion);
}

void* WaylandDisplay::bindNamed(const Announced& announced, const wl_interface& interface,
                                std::uint32_t highestVersion)
{
    return wl_registry_bind(m_registry, announced.name, &interface,
                            std::min(announced.global.version, highestVersion));
}

void WaylandDisplay::turn(Time until, int wakeDescriptor)
{
    // What is handled already may be what the caller waits for.
    if (dispatchPending() || runTimers()) {
        wl_display_flush(get());
        return;
    }
    for (const auto& timer : *m_timers) {
        until = std::min(until, timer->time);
    }
    poll(until, wakeDescriptor);
    dispatchPending();
    runTimers();
}

bool WaylandDisplay::dispatchPending()
{
    const bool hasHandled = !m_isLost && wl_display_dispatch_pending(get()) > 0;
    loseIfBroken();
    return hasHandled;
}

void WaylandDisplay::poll(Time until, int wakeDescriptor)
{
    const bool isPrepared = !m_isLost && wl_display_prepare_read(get()) == 0;
    if (!m_isLost && !isPrepared) {
        return;
    }
    short displayEvents = POLLIN;
    if (isPrepared && wl_display_flush(get()) < 0 && errno == EAGAIN) {
        displayEvents |= POLLOUT;
    }
    const Watches watches = *m_watches;
    // The descriptor of a lost connection would be readable for ever.
    std::vector<pollfd> descriptors{{isPrepared ? wl_display_get_fd(get()) : noDescriptor, displayEvents, 0},
                                    {wakeDescriptor, POLLIN, 0}};
    for (const auto& watch : watches) {
        const short events = watch->readiness == Readiness::readable ? POLLIN : POLLOUT;
        descriptors.push_back({watch->descriptor, events, 0});
    }
    ::poll(descriptors.data(), descriptors.size(), millisecondsUntil(until));
    if (isPrepared) {
        readEvents((descriptors[0].revents & ~POLLOUT) != 0);
    }
    auto descriptor = descriptors.begin() + 2;
    for (const auto& watch : watches) {
        // A handler may remove other watches, and close what they watch.
        if ((descriptor++)->revents != 0 && !watch->isRemoved) {
            watch->handler();
        }
    }
}

void WaylandDisplay::readEvents(bool isReadable)
{
    if (isReadable) {
        wl_display_read_events(get());
    } else {
        wl_display_cancel_read(get());
    }
}

bool WaylandDisplay::runTimers()
{
    const Time now = SteadyClock::now();
    const Timers timers = *m_timers;
    bool hasRun = false;
    for (const auto& timer : timers) {
        if (timer->time > now || std::ranges::find(*m_timers, timer) == m_timers->end()) {
            continue;
        }
        m_timers->remove(timer);
        timer->handler();
        hasRun = true;
    }
    return hasRun;
}

void WaylandDisplay::loseIfBroken()
{
    if (m_isLost || wl_display_get_error(get()) == 0) {
        return;
    }
    m_isLost = true;
    m_announced.clear();
    m_outputs = std::make_unique<WaylandOutputs>();
    if (onLost) {
        onLost(reasonOfLoss(get()));
    }
}

bool WaylandDisplay::turnUntil(const std::function<bool()>& condition, Time until)
{
    while (!condition()) {
        if (m_isLost || SteadyClock::now() >= until) {
            return false;
        }
        turn(until);
    }
    return true;
}

bool WaylandDisplay::roundTrip()
{
    return waitForAnswer(SteadyClock::now() + answerPatience);
}

bool WaylandDisplay::waitForAnswer(Time until)
{
    const SyncCallback callback(get());
    return turnUntil([&] { return callback.isDone(); }, until);
}

Registration WaylandDisplay::watch(int descriptor, Readiness readiness, std::function<void()> handler)
{
    const auto watch = std::make_shared<Watch>(Watch{descriptor, readiness, std::move(handler)});
    m_watches->push_back(watch);
    return Registration([watches = std::weak_ptr(m_watches), watch] {
        watch->isRemoved = true;
        if (const auto list = watches.lock()) {
            list->remove(watch);
        }
    });
}

Registration WaylandDisplay::at(Time time, std::function<void()> handler)
{
    const auto timer = std::make_shared<Timer>(Timer{time, std::move(handler)});
    m_timers->push_back(timer);
    return Registration([timers = std::weak_ptr(m_timers), timer] {
        if (const auto list = timers.lock()) {
            list->remove(timer);
        }
    });
}

} // namespace glimmerwick
