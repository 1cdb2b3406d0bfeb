#pragma once

#include "Platform/Registration.h"
#include "Platform/Wayland/WaylandCapabilities.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

struct wl_display;
struct wl_interface;
struct wl_registry;
struct wl_registry_listener;
struct wl_seat;

namespace glimmerwick {

class WaylandOutputs;

/// A connection to the compositor and the loop in which its events are handled. One thread: after its making,
/// the one that turns it.
///
/// A connection that is lost, because the compositor has ended or takes a request amiss, stays usable:
/// nothing arrives any more, and nothing that is sent gets anywhere.
class WaylandDisplay {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr int noDescriptor = -1;

    enum class Readiness { readable, writable };

    /// By name or path, as WAYLAND_DISPLAY has it; what the environment says when the name is empty. Blocks
    /// until the compositor has announced itself, for 5 s at most. Throws std::runtime_error when it cannot
    /// be reached.
    explicit WaylandDisplay(const std::string& name);
    ~WaylandDisplay();
    WaylandDisplay(const WaylandDisplay&) = delete;
    WaylandDisplay& operator=(const WaylandDisplay&) = delete;

    /// Called once, from within a turn.
    std::function<void(const std::string& reason)> onLost;

    wl_display* get() const { return m_display.get(); }
    bool isLost() const { return m_isLost; }

    /// As announced so far.
    WaylandCapabilities capabilities() const;

    /// The screens, with what is needed to put something on them.
    const WaylandOutputs& outputs() const { return *m_outputs; }

    /// The first seat; null when there is none.
    wl_seat* seat() const { return m_seat; }

    /// Binds a global at the lower of both versions; null when the compositor has none.
    template <typename Proxy> Proxy* bind(const wl_interface& interface, std::uint32_t highestVersion)
    {
        return static_cast<Proxy*>(bindFirst(interface, highestVersion));
    }

    /// Sends what has been requested and handles what arrives until the time, until the descriptor can be
    /// read, or there was something to handle.
    void turn(Time until, int wakeDescriptor = noDescriptor);

    /// Turns until the condition holds; false at the time, and when the connection is lost.
    bool turnUntil(const std::function<bool()>& condition, Time until);

    /// Until the compositor has handled every request so far, and its events are handled here. False when it
    /// does not answer in 1 s.
    bool roundTrip();

    /// Calls the handler whenever the descriptor is ready, from within a turn.
    Registration watch(int descriptor, Readiness readiness, std::function<void()> handler);

    /// Calls the handler once, at the time, from within a turn.
    Registration at(Time time, std::function<void()> handler);

private:
    struct DisplayDeleter {
        void operator()(wl_display* display) const;
    };
    struct Announced {
        WaylandGlobal global;
        std::uint32_t name = 0;
    };
    struct Watch {
        int descriptor = noDescriptor;
        Readiness readiness = Readiness::readable;
        std::function<void()> handler;
        bool isRemoved = false;
    };
    struct Timer {
        Time time;
        std::function<void()> handler;
    };
    using Watches = std::list<std::shared_ptr<Watch>>;
    using Timers = std::list<std::shared_ptr<Timer>>;

    static const wl_registry_listener registryListener;

    void* bindFirst(const wl_interface& interface, std::uint32_t highestVersion);
    void* bindNamed(const Announced& announced, const wl_interface& interface, std::uint32_t highestVersion);
    void announce(std::uint32_t name, const char* interface, std::uint32_t version);
    void withdraw(std::uint32_t name);
    bool waitForAnswer(Time until);
    void releaseProxies();

    bool dispatchPending();
    void poll(Time until, int wakeDescriptor);
    void readEvents(bool isReadable);
    bool runTimers();
    void loseIfBroken();

    std::unique_ptr<wl_display, DisplayDeleter> m_display;
    bool m_isLost = false;
    wl_registry* m_registry = nullptr;
    wl_seat* m_seat = nullptr;
    std::uint32_t m_seatName = 0;
    /// In the compositor's order.
    std::list<Announced> m_announced;
    std::unique_ptr<WaylandOutputs> m_outputs;
    std::shared_ptr<Watches> m_watches = std::make_shared<Watches>();
    std::shared_ptr<Timers> m_timers = std::make_shared<Timers>();
};

} // namespace glimmerwick
