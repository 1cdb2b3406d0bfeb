#include "Platform/Wayland/WaylandWindows.h"

#include "Platform/Wayland/WaylandConnection.h"

#include <utility>

namespace glimmerwick {

WaylandWindows::WaylandWindows(WaylandConnection& connection)
    : m_connection(connection),
      m_toplevels(connection.perform([](WaylandDisplay& display) { return WaylandToplevels::make(display); }))
{
}

WaylandWindows::~WaylandWindows()
{
    m_connection.perform([this](WaylandDisplay&) { m_toplevels.reset(); });
}

std::vector<WaylandToplevel> WaylandWindows::all()
{
    return m_connection.perform([this](WaylandDisplay& display) {
        display.roundTrip();
        return m_toplevels ? m_toplevels->all() : std::vector<WaylandToplevel>();
    });
}

std::optional<WaylandToplevel> WaylandWindows::frontmost()
{
    return m_connection.perform([this](WaylandDisplay& display) {
        display.roundTrip();
        return m_toplevels ? m_toplevels->activated() : std::nullopt;
    });
}

bool WaylandWindows::activate(std::uint64_t identifier, std::chrono::milliseconds patience)
{
    m_meant = identifier;
    return m_connection.perform([&](WaylandDisplay& display) {
        return !display.isLost() && m_toplevels
            && m_toplevels->activate(identifier, std::chrono::steady_clock::now() + patience);
    });
}

std::optional<WaylandWindows::Obstacle> WaylandWindows::obstacle()
{
    return m_connection.perform([this](WaylandDisplay& display) -> std::optional<Obstacle> {
        if (!m_toplevels || !m_meant) {
            return std::nullopt;
        }
        display.roundTrip();
        if (!m_toplevels->find(*m_meant)) {
            return Obstacle::windowIsGone;
        }
        const auto front = m_toplevels->activated();
        return front && belongs(*front, *m_meant) ? std::nullopt
                                                  : std::optional(Obstacle::anotherWindowHasTheKeys);
    });
}

bool WaylandWindows::belongs(WaylandToplevel toplevel, std::uint64_t identifier) const
{
    // No chain of parents is longer than there are windows, unless it goes in a circle.
    for (std::size_t remaining = m_toplevels->all().size(); remaining > 0; --remaining) {
        if (toplevel.identifier == identifier) {
            return true;
        }
        auto parent = m_toplevels->find(toplevel.parent);
        if (!parent) {
            return false;
        }
        toplevel = *std::move(parent);
    }
    return false;
}

} // namespace glimmerwick
