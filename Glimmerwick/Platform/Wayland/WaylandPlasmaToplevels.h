#pragma once

#include "Platform/Wayland/WaylandToplevels.h"

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

struct org_kde_plasma_window;
struct org_kde_plasma_window_management;
struct org_kde_plasma_window_management_listener;

namespace glimmerwick {

/// By KWin's protocol, which it offers to a program alone whose desktop file asks for
/// org_kde_plasma_window_management and has the program's path in its Exec line. What is put above windows
/// by the layer shell is none. The display's thread.
class WaylandPlasmaToplevels : public WaylandToplevels {
public:
    /// Null when the compositor does not have the protocol, or one older than Plasma 5.23's.
    static std::unique_ptr<WaylandToplevels> make(WaylandDisplay& display);
    ~WaylandPlasmaToplevels() override;

    std::vector<WaylandToplevel> all() const override;

protected:
    void requestActivation(const WaylandToplevel& toplevel) override;

private:
    class Toplevel;

    static const org_kde_plasma_window_management_listener managementListener;

    WaylandPlasmaToplevels(WaylandDisplay& display, org_kde_plasma_window_management* management);

    void add(const std::string& uuid);
    void remove(const Toplevel& toplevel);
    std::uint64_t identifierOf(org_kde_plasma_window* window) const;

    org_kde_plasma_window_management* const m_management;
    std::list<std::unique_ptr<Toplevel>> m_toplevels;
    std::uint64_t m_lastIdentifier = 0;
};

} // namespace glimmerwick
