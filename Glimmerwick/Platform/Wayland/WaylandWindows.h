#pragma once

#include "Platform/Wayland/WaylandToplevels.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick {

class WaylandConnection;

/// Other programs' windows, the one that keys are meant for, and whether they would get there. Where the
/// compositor tells of no windows there are none, and nothing is known to be in the way of keys. Main thread.
class WaylandWindows {
public:
    enum class Obstacle { windowIsGone, anotherWindowHasTheKeys };

    explicit WaylandWindows(WaylandConnection& connection);
    ~WaylandWindows();
    WaylandWindows(const WaylandWindows&) = delete;
    WaylandWindows& operator=(const WaylandWindows&) = delete;

    std::vector<WaylandToplevel> all();
    /// The window that is in front now.
    std::optional<WaylandToplevel> frontmost();

    /// Makes it the window that keys are meant for and brings it to the front, which is waited for. False
    /// when it is not in front in that time, or gone; it is meant nonetheless.
    bool activate(std::uint64_t identifier, std::chrono::milliseconds patience);

    /// Why keys must not be pressed now. Nothing is in the way before the first activation, and while the
    /// window or a dialog of it is in front.
    std::optional<Obstacle> obstacle();

private:
    bool belongs(WaylandToplevel toplevel, std::uint64_t identifier) const;

    WaylandConnection& m_connection;
    /// The connection's thread; null when the compositor tells of no windows.
    std::unique_ptr<WaylandToplevels> m_toplevels;
    std::optional<std::uint64_t> m_meant;
};

} // namespace glimmerwick
