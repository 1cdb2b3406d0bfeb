#pragma once

#include "Platform/Wayland/WaylandToplevels.h"

#include <cstdint>
#include <list>
#include <memory>
#include <vector>

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;
struct zwlr_foreign_toplevel_manager_v1_listener;

namespace glimmerwick {

/// By the protocol of the wlroots family. The display's thread.
class WaylandForeignToplevels : public WaylandToplevels {
public:
    /// Null when the compositor does not have the protocol.
    static std::unique_ptr<WaylandToplevels> make(WaylandDisplay& display);
    ~WaylandForeignToplevels() override;

    std::vector<WaylandToplevel> all() const override;

protected:
    void requestActivation(const WaylandToplevel& toplevel) override;

private:
    class Toplevel;

    static const zwlr_foreign_toplevel_manager_v1_listener managerListener;

    WaylandForeignToplevels(WaylandDisplay& display, zwlr_foreign_toplevel_manager_v1* manager);

    void add(zwlr_foreign_toplevel_handle_v1* handle);
    void remove(const Toplevel& toplevel);
    std::uint64_t identifierOf(zwlr_foreign_toplevel_handle_v1* handle) const;

    zwlr_foreign_toplevel_manager_v1* const m_manager;
    std::list<std::unique_ptr<Toplevel>> m_toplevels;
    std::uint64_t m_lastIdentifier = 0;
};

} // namespace glimmerwick
