#include "Platform/Wayland/WaylandPointerProbe.h"

#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandOutputs.h"
#include "Platform/Wayland/WaylandProbeSurface.h"

#include <wayland-client.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using Extent = WaylandLayerSurface::Extent;
using Time = WaylandDisplay::Time;

// A pointer that is there took 9 ms at most, on two busy processors.
constexpr auto probePatience = 60ms;
// With it pointers can be released; frames, which came later, are of no interest.
constexpr std::uint32_t seatVersion = 3;

Time inAMoment()
{
    return std::chrono::steady_clock::now() + probePatience;
}

} // namespace

struct WaylandPointerProbe::Finding {
    ScreenPoint place;
    std::int32_t outputX = 0;
    std::int32_t outputY = 0;
    std::optional<FreeArea> freeArea;
};

class WaylandPointerProbe::Worker {
public:
    explicit Worker(WaylandDisplay& display)
        : m_display(display), m_globals(display),
          m_seat(display.bind<wl_seat>(wl_seat_interface, seatVersion))
    {
        if (m_seat) {
            wl_seat_add_listener(m_seat, &seatListener, this);
            // Pointers come and go; whether there is one now is said right away.
            display.roundTrip();
        }
    }
    ~Worker()
    {
        usePointer(nullptr);
        if (m_seat) {
            wl_seat_destroy(m_seat);
        }
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    std::optional<Finding> probe()
    {
        if (m_display.isLost() || !m_globals.areThere()) {
            return std::nullopt;
        }
        auto finding = findPointer();
        if (!finding) {
            finding = findOutputInUse();
        }
        wl_display_flush(m_display.get());
        return finding;
    }

    bool isPointerHeld()
    {
        if (m_display.isLost() || !m_globals.areThere() || !m_pointer) {
            return false;
        }
        const bool isFree = Surfaces(*this).entered().has_value();
        wl_display_flush(m_display.get());
        return !isFree;
    }

private:
    static const wl_seat_listener seatListener;
    static const wl_pointer_listener pointerListener;

    void usePointer(wl_pointer* pointer)
    {
        if (wl_pointer* const former = std::exchange(m_pointer, pointer)) {
            wl_pointer_release(former);
        }
        if (m_pointer) {
            wl_pointer_add_listener(m_pointer, &pointerListener, this);
        }
    }

    /// A surface on each output.
    class Surfaces {
    public:
        explicit Surfaces(Worker& worker) : m_worker(worker)
        {
            for (wl_output* const output : worker.m_display.outputs().proxies()) {
                m_surfaces.push_back(
                    std::make_unique<WaylandProbeSurface>(worker.m_globals, output, Extent::output));
            }
        }
        ~Surfaces() { m_worker.m_entered = nullptr; }
        Surfaces(const Surfaces&) = delete;
        Surfaces& operator=(const Surfaces&) = delete;

        /// The index of the one that the pointer comes on, which is waited for.
        std::optional<std::size_t> entered()
        {
            auto found = m_surfaces.end();
            m_worker.m_display.turnUntil(
                [&] {
                    std::ranges::for_each(m_surfaces, showWhenReady);
                    found = std::ranges::find_if(m_surfaces,
                                                 [&](const auto& each) { return m_worker.isOn(*each); });
                    return found != m_surfaces.end();
                },
                inAMoment());
            return found == m_surfaces.end()
                ? std::nullopt
                : std::optional(static_cast<std::size_t>(found - m_surfaces.begin()));
        }

        const WaylandProbeSurface& operator[](std::size_t index) const { return *m_surfaces[index]; }

    private:
        static void showWhenReady(const std::unique_ptr<WaylandProbeSurface>& surface)
        {
            if (surface->role().isConfigured() && !surface->isShown()) {
                surface->show();
            }
        }

        Worker& m_worker;
        std::vector<std::unique_ptr<WaylandProbeSurface>> m_surfaces;
    };

    std::optional<Finding> findPointer()
    {
        if (!m_pointer) {
            return std::nullopt;
        }
        const auto outputs = m_display.outputs().all();
        const auto proxies = m_display.outputs().proxies();
        Surfaces surfaces(*this);
        const auto index = surfaces.entered();
        // An output may have gone meanwhile.
        if (!index || *index >= outputs.size() || proxies != m_display.outputs().proxies()) {
            return std::nullopt;
        }
        const WaylandOutput& output = outputs[*index];
        const ScreenPoint place = m_place;
        return Finding{{output.x + place.x, output.y + place.y},
                       output.x,
                       output.y,
                       findFreeArea(surfaces[*index], proxies[*index], place)};
    }

    /// Sizes are told, but where the free area lies shows only in the pointer's place on it.
    std::optional<FreeArea> findFreeArea(const WaylandProbeSurface& whole, wl_output* output,
                                         ScreenPoint place)
    {
        const auto width = static_cast<std::int32_t>(whole.role().width());
        const auto height = static_cast<std::int32_t>(whole.role().height());
        WaylandProbeSurface inner(m_globals, output, Extent::freeArea);
        const Time until = inAMoment();
        if (!m_display.turnUntil([&] { return inner.role().isConfigured(); }, until)) {
            return std::nullopt;
        }
        FreeArea area{0, 0, static_cast<std::int32_t>(inner.role().width()),
                      static_cast<std::int32_t>(inner.role().height()), width};
        if (area.width == width && area.height == height) {
            return area;
        }
        // Bars may cover an output, and more than that.
        if (area.width <= 0 || area.height <= 0) {
            return std::nullopt;
        }
        inner.show();
        if (m_display.turnUntil([&] { return isOn(inner); }, until)) {
            area.left = static_cast<std::int32_t>(place.x - m_place.x);
            area.top = static_cast<std::int32_t>(place.y - m_place.y);
        } else {
            // The pointer is on the dock or bar itself: that is on the side where the pointer is.
            area.left = place.x < width / 2.0 ? width - area.width : 0;
            area.top = place.y < height / 2.0 ? height - area.height : 0;
        }
        return area;
    }

    std::optional<Finding> findOutputInUse()
    {
        WaylandProbeSurface surface(m_globals, nullptr, Extent::output);
        m_display.turnUntil(
            [&] {
                if (surface.role().isConfigured() && !surface.isShown()) {
                    surface.show();
                }
                return surface.output() != nullptr;
            },
            inAMoment());
        const auto outputs = m_display.outputs().all();
        const auto proxies = m_display.outputs().proxies();
        if (outputs.empty()) {
            return std::nullopt;
        }
        const auto found = std::ranges::find(proxies, surface.output());
        const WaylandOutput& output = found == proxies.end()
            ? outputs.front()
            : outputs[static_cast<std::size_t>(found - proxies.begin())];
        return Finding{{output.x + output.width / 2.0, output.y + output.height / 2.0},
                       output.x,
                       output.y,
                       std::nullopt};
    }

    bool isOn(const WaylandProbeSurface& surface) const { return m_entered == surface.surface(); }

    WaylandDisplay& m_display;
    const WaylandProbeSurface::Globals m_globals;
    wl_seat* const m_seat;
    wl_pointer* m_pointer = nullptr;
    /// What the pointer is on, if that is one of this program's own, and where on it.
    wl_surface* m_entered = nullptr;
    ScreenPoint m_place;
};

const wl_seat_listener WaylandPointerProbe::Worker::seatListener{
    [](void* data, wl_seat* seat, std::uint32_t capabilities) {
        auto& self = *static_cast<Worker*>(data);
        const bool hasPointer = (capabilities & WL_SEAT_CAPABILITY_POINTER) != 0;
        if (hasPointer != (self.m_pointer != nullptr)) {
            self.usePointer(hasPointer ? wl_seat_get_pointer(seat) : nullptr);
        }
    },
    [](void*, wl_seat*, const char*) {},
};

// What came later than the version that is bound stays null.
const wl_pointer_listener WaylandPointerProbe::Worker::pointerListener = [] {
    wl_pointer_listener listener{};
    listener.enter = [](void* data, wl_pointer*, std::uint32_t, wl_surface* surface, wl_fixed_t x,
                        wl_fixed_t y) {
        auto& self = *static_cast<Worker*>(data);
        self.m_entered = surface;
        self.m_place = {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    };
    listener.leave = [](void* data, wl_pointer*, std::uint32_t, wl_surface*) {
        static_cast<Worker*>(data)->m_entered = nullptr;
    };
    listener.motion = [](void* data, wl_pointer*, std::uint32_t, wl_fixed_t x, wl_fixed_t y) {
        static_cast<Worker*>(data)->m_place = {wl_fixed_to_double(x), wl_fixed_to_double(y)};
    };
    listener.button = [](void*, wl_pointer*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t) {};
    listener.axis = [](void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {};
    return listener;
}();

WaylandPointerProbe::WaylandPointerProbe(WaylandConnection& connection)
    : m_connection(connection),
      m_worker(connection.perform([](WaylandDisplay& display) { return std::make_unique<Worker>(display); }))
{
}

WaylandPointerProbe::~WaylandPointerProbe()
{
    m_connection.perform([this](WaylandDisplay&) { m_worker.reset(); });
}

std::optional<ScreenPoint> WaylandPointerProbe::probe()
{
    auto finding = m_connection.perform([this](WaylandDisplay&) { return m_worker->probe(); });
    m_last = finding ? std::make_unique<Finding>(*finding) : nullptr;
    return finding ? std::optional(finding->place) : std::nullopt;
}

bool WaylandPointerProbe::isPointerHeld()
{
    return m_connection.perform([this](WaylandDisplay&) { return m_worker->isPointerHeld(); });
}

std::optional<WaylandPointerProbe::FreeArea> WaylandPointerProbe::freeArea(int outputX, int outputY) const
{
    return m_last && m_last->outputX == outputX && m_last->outputY == outputY ? m_last->freeArea
                                                                              : std::nullopt;
}

} // namespace glimmerwick
