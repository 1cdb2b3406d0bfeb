#pragma once

#include "Platform/Wayland/WaylandDisplay.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// A window as the compositor describes it.
struct WaylandToplevel {
    /// This program's own number for it, never given again.
    std::uint64_t identifier = 0;
    /// For a window under XWayland its class.
    std::string appId;
    std::string title;
    bool isActivated = false;
    bool isMinimized = false;
    /// The window that this one is a dialog of; 0 for none, and while the compositor does not tell.
    std::uint64_t parent = 0;
};

/// Everybody's windows, by whichever of the protocols for that the compositor has. The display's thread.
class WaylandToplevels {
public:
    using Time = WaylandDisplay::Time;

    /// Null when the compositor does not tell this program of others' windows. Otherwise those that are there
    /// already are known.
    static std::unique_ptr<WaylandToplevels> make(WaylandDisplay& display);
    virtual ~WaylandToplevels() = default;
    WaylandToplevels(const WaylandToplevels&) = delete;
    WaylandToplevels& operator=(const WaylandToplevels&) = delete;

    /// Those that were there before this in the compositor's order, the others as they were made. Without
    /// those that have not been described yet.
    virtual std::vector<WaylandToplevel> all() const = 0;
    std::optional<WaylandToplevel> find(std::uint64_t identifier) const;
    std::optional<WaylandToplevel> activated() const;

    /// Brings the window to the front; false when it is gone, or not there until the time.
    bool activate(std::uint64_t identifier, Time until);

protected:
    explicit WaylandToplevels(WaylandDisplay& display) : m_display(display) { }

    /// Asks the compositor, and does not wait. The window is one of `all()`.
    virtual void requestActivation(const WaylandToplevel& toplevel) = 0;

    WaylandDisplay& m_display;
};

} // namespace glimmerwick
