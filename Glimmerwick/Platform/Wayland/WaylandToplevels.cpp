#include "Platform/Wayland/WaylandToplevels.h"

#include "Platform/Wayland/WaylandForeignToplevels.h"
#include "Platform/Wayland/WaylandPlasmaToplevels.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

template <typename Condition>
std::optional<WaylandToplevel> first(std::vector<WaylandToplevel> toplevels, const Condition& condition)
{
    const auto found = std::ranges::find_if(toplevels, condition);
    return found == toplevels.end() ? std::nullopt : std::optional(std::move(*found));
}

} // namespace

std::unique_ptr<WaylandToplevels> WaylandToplevels::make(WaylandDisplay& display)
{
    std::unique_ptr<WaylandToplevels> toplevels = WaylandForeignToplevels::make(display);
    return toplevels ? std::move(toplevels) : WaylandPlasmaToplevels::make(display);
}

std::optional<WaylandToplevel> WaylandToplevels::find(std::uint64_t identifier) const
{
    return first(all(), [&](const WaylandToplevel& toplevel) { return toplevel.identifier == identifier; });
}

std::optional<WaylandToplevel> WaylandToplevels::activated() const
{
    return first(all(), [](const WaylandToplevel& toplevel) { return toplevel.isActivated; });
}

bool WaylandToplevels::activate(std::uint64_t identifier, Time until)
{
    // It may have been closed or minimised since anybody looked.
    m_display.roundTrip();
    const auto toplevel = find(identifier);
    if (!toplevel) {
        return false;
    }
    requestActivation(*toplevel);
    // What is known now may be from before another window came up.
    m_display.roundTrip();
    std::optional<WaylandToplevel> now;
    m_display.turnUntil(
        [&] {
            now = find(identifier);
            return !now || now->isActivated;
        },
        until);
    return now && now->isActivated;
}

} // namespace glimmerwick
