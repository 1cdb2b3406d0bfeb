#pragma once

#include "Platform/Wayland/WaylandDisplay.h"

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_foreign_toplevel_manager_v1_listener;

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

/// Everybody's windows. The display's thread.
class WaylandToplevels {
public:
    using Time = WaylandDisplay::Time;

    /// Null when the compositor does not tell of other programs' windows.
    static std::unique_ptr<WaylandToplevels> make(WaylandDisplay& display);
    ~WaylandToplevels();
    WaylandToplevels(const WaylandToplevels&) = delete;
    WaylandToplevels& operator=(const WaylandToplevels&) = delete;

    /// Those that were there before this in the compositor's order, the others as they were made.
    std::vector<WaylandToplevel> all() const;
    std::optional<WaylandToplevel> find(std::uint64_t identifier) const;
    std::optional<WaylandToplevel> activated() const;

    /// Brings the window to the front; false when it is gone, or not there until the time.
    bool activate(std::uint64_t identifier, Time until);

private:
    class Toplevel;

    static const zwlr_foreign_toplevel_manager_v1_listener managerListener;

    WaylandToplevels(WaylandDisplay& display, zwlr_foreign_toplevel_manager_v1* manager);

    void add(zwlr_foreign_toplevel_handle_v1* handle);
    void remove(const Toplevel& toplevel);
    std::uint64_t identifierOf(zwlr_foreign_toplevel_handle_v1* handle) const;

    WaylandDisplay& m_display;
    zwlr_foreign_toplevel_manager_v1* const m_manager;
    std::list<std::unique_ptr<Toplevel>> m_toplevels;
    std::uint64_t m_lastIdentifier = 0;
};

} // namespace glimmerwick
