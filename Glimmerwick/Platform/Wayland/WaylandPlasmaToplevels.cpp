#include "Platform/Wayland/WaylandPlasmaToplevels.h"

#include <plasma-window-management.h>
#include <wayland-client-protocol.h>

#include <algorithm>

namespace glimmerwick {

namespace {

// From 13 on windows are announced by an identifier that is never given again; nothing later than 16 is used.
constexpr std::uint32_t lowestVersion = 13;
constexpr std::uint32_t highestVersion = 16;

constexpr std::uint32_t active = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;
constexpr std::uint32_t minimized = ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MINIMIZED;

} // namespace

class WaylandPlasmaToplevels::Toplevel {
public:
    Toplevel(WaylandPlasmaToplevels& owner, org_kde_plasma_window* window, std::uint64_t identifier)
        : m_owner(owner), m_window(window)
    {
        m_value.identifier = identifier;
        org_kde_plasma_window_add_listener(m_window, &listener, this);
    }
    ~Toplevel() { org_kde_plasma_window_destroy(m_window); }
    Toplevel(const Toplevel&) = delete;
    Toplevel& operator=(const Toplevel&) = delete;

    org_kde_plasma_window* window() const { return m_window; }
    std::uint64_t identifier() const { return m_value.identifier; }
    const WaylandToplevel& value() const { return m_value; }
    bool isDescribed() const { return m_isDescribed; }

private:
    static const org_kde_plasma_window_listener listener;

    static Toplevel& from(void* self) { return *static_cast<Toplevel*>(self); }

    WaylandPlasmaToplevels& m_owner;
    org_kde_plasma_window* const m_window;
    WaylandToplevel m_value;
    bool m_isDescribed = false;
};

const org_kde_plasma_window_listener WaylandPlasmaToplevels::Toplevel::listener = [] {
    using Window = org_kde_plasma_window;
    org_kde_plasma_window_listener made{};
    made.title_changed = [](void* self, Window*, const char* title) { from(self).m_value.title = title; };
    made.app_id_changed = [](void* self, Window*, const char* appId) { from(self).m_value.appId = appId; };
    made.state_changed = [](void* self, Window*, std::uint32_t states) {
        from(self).m_value.isActivated = (states & active) != 0;
        from(self).m_value.isMinimized = (states & minimized) != 0;
    };
    made.virtual_desktop_changed = [](void*, Window*, std::int32_t) {};
    made.themed_icon_name_changed = [](void*, Window*, const char*) {};
    made.unmapped = [](void* self, Window*) { from(self).m_owner.remove(from(self)); };
    made.initial_state = [](void* self, Window*) { from(self).m_isDescribed = true; };
    made.parent_window = [](void* self, Window*, Window* parent) {
        from(self).m_value.parent = from(self).m_owner.identifierOf(parent);
    };
    made.geometry = [](void*, Window*, std::int32_t, std::int32_t, std::uint32_t, std::uint32_t) {};
    made.icon_changed = [](void*, Window*) {};
    made.pid_changed = [](void*, Window*, std::uint32_t) {};
    made.virtual_desktop_entered = [](void*, Window*, const char*) {};
    made.virtual_desktop_left = [](void*, Window*, const char*) {};
    made.application_menu = [](void*, Window*, const char*, const char*) {};
    made.activity_entered = [](void*, Window*, const char*) {};
    made.activity_left = [](void*, Window*, const char*) {};
    made.resource_name_changed = [](void*, Window*, const char*) {};
    return made;
}();

const org_kde_plasma_window_management_listener WaylandPlasmaToplevels::managementListener = [] {
    using Management = org_kde_plasma_window_management;
    org_kde_plasma_window_management_listener made{};
    made.show_desktop_changed = [](void*, Management*, std::uint32_t) {};
    made.window = [](void*, Management*, std::uint32_t) {};
    made.stacking_order_changed = [](void*, Management*, wl_array*) {};
    made.stacking_order_uuid_changed = [](void*, Management*, const char*) {};
    made.window_with_uuid = [](void* self, Management*, std::uint32_t, const char* uuid) {
        static_cast<WaylandPlasmaToplevels*>(self)->add(uuid);
    };
    return made;
}();

std::unique_ptr<WaylandToplevels> WaylandPlasmaToplevels::make(WaylandDisplay& display)
{
    auto* management = display.bind<org_kde_plasma_window_management>(
        org_kde_plasma_window_management_interface, highestVersion);
    if (!management) {
        return nullptr;
    }
    if (org_kde_plasma_window_management_get_version(management) < lowestVersion) {
        org_kde_plasma_window_management_destroy(management);
        return nullptr;
    }
    std::unique_ptr<WaylandToplevels> toplevels(new WaylandPlasmaToplevels(display, management));
    // For the windows that are there already, and for what there is to say of them.
    display.roundTrip();
    display.roundTrip();
    return toplevels;
}

WaylandPlasmaToplevels::WaylandPlasmaToplevels(WaylandDisplay& display,
                                               org_kde_plasma_window_management* management)
    : WaylandToplevels(display), m_management(management)
{
    org_kde_plasma_window_management_add_listener(m_management, &managementListener, this);
}

WaylandPlasmaToplevels::~WaylandPlasmaToplevels()
{
    m_toplevels.clear();
    org_kde_plasma_window_management_destroy(m_management);
}

void WaylandPlasmaToplevels::add(const std::string& uuid)
{
    auto* window = org_kde_plasma_window_management_get_window_by_uuid(m_management, uuid.c_str());
    m_toplevels.push_back(std::make_unique<Toplevel>(*this, window, ++m_lastIdentifier));
}

void WaylandPlasmaToplevels::remove(const Toplevel& toplevel)
{
    m_toplevels.remove_if([&](const auto& candidate) { return candidate.get() == &toplevel; });
}

std::uint64_t WaylandPlasmaToplevels::identifierOf(org_kde_plasma_window* window) const
{
    const auto found = std::ranges::find(m_toplevels, window, &Toplevel::window);
    return window && found != m_toplevels.end() ? (*found)->identifier() : 0;
}

std::vector<WaylandToplevel> WaylandPlasmaToplevels::all() const
{
    std::vector<WaylandToplevel> values;
    for (const auto& toplevel : m_toplevels) {
        if (toplevel->isDescribed()) {
            values.push_back(toplevel->value());
        }
    }
    return values;
}

void WaylandPlasmaToplevels::requestActivation(const WaylandToplevel& toplevel)
{
    const auto found = std::ranges::find(m_toplevels, toplevel.identifier, &Toplevel::identifier);
    if (found != m_toplevels.end()) {
        org_kde_plasma_window_set_state((*found)->window(), minimized | active, active);
    }
}

} // namespace glimmerwick
