#include "Platform/Wayland/WaylandForeignToplevels.h"

#include <wayland-client-protocol.h>
#include <wlr-foreign-toplevel-management-unstable-v1.h>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

// From version 3 on dialogs name their parent.
constexpr std::uint32_t managerVersion = 3;

bool contains(const wl_array* states, std::uint32_t state)
{
    const auto* begin = static_cast<const std::uint32_t*>(states->data);
    const auto* end = begin + states->size / sizeof(std::uint32_t);
    return std::find(begin, end, state) != end;
}

} // namespace

/// Keeps what was said of a window until the compositor says that it is complete.
class WaylandForeignToplevels::Toplevel {
public:
    Toplevel(WaylandForeignToplevels& owner, zwlr_foreign_toplevel_handle_v1* handle,
             std::uint64_t identifier)
        : m_owner(owner), m_handle(handle)
    {
        m_said.identifier = identifier;
        zwlr_foreign_toplevel_handle_v1_add_listener(m_handle, &listener, this);
    }
    ~Toplevel() { zwlr_foreign_toplevel_handle_v1_destroy(m_handle); }
    Toplevel(const Toplevel&) = delete;
    Toplevel& operator=(const Toplevel&) = delete;

    zwlr_foreign_toplevel_handle_v1* handle() const { return m_handle; }
    std::uint64_t identifier() const { return m_said.identifier; }
    /// Nothing before it has been described for the first time.
    const std::optional<WaylandToplevel>& value() const { return m_complete; }

private:
    static const zwlr_foreign_toplevel_handle_v1_listener listener;

    static Toplevel& from(void* self) { return *static_cast<Toplevel*>(self); }

    WaylandForeignToplevels& m_owner;
    zwlr_foreign_toplevel_handle_v1* const m_handle;
    WaylandToplevel m_said;
    std::optional<WaylandToplevel> m_complete;
};

const zwlr_foreign_toplevel_handle_v1_listener WaylandForeignToplevels::Toplevel::listener{
    [](void* self, zwlr_foreign_toplevel_handle_v1*, const char* title) { from(self).m_said.title = title; },
    [](void* self, zwlr_foreign_toplevel_handle_v1*, const char* appId) { from(self).m_said.appId = appId; },
    [](void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {},
    [](void*, zwlr_foreign_toplevel_handle_v1*, wl_output*) {},
    [](void* self, zwlr_foreign_toplevel_handle_v1*, wl_array* states) {
        WaylandToplevel& said = from(self).m_said;
        said.isActivated = contains(states, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED);
        said.isMinimized = contains(states, ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED);
    },
    [](void* self, zwlr_foreign_toplevel_handle_v1*) { from(self).m_complete = from(self).m_said; },
    [](void* self, zwlr_foreign_toplevel_handle_v1*) { from(self).m_owner.remove(from(self)); },
    [](void* self, zwlr_foreign_toplevel_handle_v1*, zwlr_foreign_toplevel_handle_v1* parent) {
        from(self).m_said.parent = from(self).m_owner.identifierOf(parent);
    },
};

const zwlr_foreign_toplevel_manager_v1_listener WaylandForeignToplevels::managerListener{
    [](void* self, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle) {
        static_cast<WaylandForeignToplevels*>(self)->add(handle);
    },
    [](void*, zwlr_foreign_toplevel_manager_v1*) {},
};

std::unique_ptr<WaylandToplevels> WaylandForeignToplevels::make(WaylandDisplay& display)
{
    auto* manager = display.bind<zwlr_foreign_toplevel_manager_v1>(zwlr_foreign_toplevel_manager_v1_interface,
                                                                   managerVersion);
    if (!manager) {
        return nullptr;
    }
    std::unique_ptr<WaylandToplevels> toplevels(new WaylandForeignToplevels(display, manager));
    // For the windows that are there already.
    display.roundTrip();
    return toplevels;
}

WaylandForeignToplevels::WaylandForeignToplevels(WaylandDisplay& display,
                                                 zwlr_foreign_toplevel_manager_v1* manager)
    : WaylandToplevels(display), m_manager(manager)
{
    zwlr_foreign_toplevel_manager_v1_add_listener(m_manager, &managerListener, this);
}

WaylandForeignToplevels::~WaylandForeignToplevels()
{
    m_toplevels.clear();
    zwlr_foreign_toplevel_manager_v1_stop(m_manager);
    zwlr_foreign_toplevel_manager_v1_destroy(m_manager);
}

void WaylandForeignToplevels::add(zwlr_foreign_toplevel_handle_v1* handle)
{
    m_toplevels.push_back(std::make_unique<Toplevel>(*this, handle, ++m_lastIdentifier));
}

void WaylandForeignToplevels::remove(const Toplevel& toplevel)
{
    m_toplevels.remove_if([&](const auto& candidate) { return candidate.get() == &toplevel; });
}

std::uint64_t WaylandForeignToplevels::identifierOf(zwlr_foreign_toplevel_handle_v1* handle) const
{
    const auto found = std::ranges::find(m_toplevels, handle, &Toplevel::handle);
    return handle && found != m_toplevels.end() ? (*found)->identifier() : 0;
}

std::vector<WaylandToplevel> WaylandForeignToplevels::all() const
{
    std::vector<WaylandToplevel> values;
    for (const auto& toplevel : m_toplevels) {
        if (toplevel->value()) {
            values.push_back(*toplevel->value());
        }
    }
    return values;
}

void WaylandForeignToplevels::requestActivation(const WaylandToplevel& toplevel)
{
    const auto found = std::ranges::find(m_toplevels, toplevel.identifier, &Toplevel::identifier);
    if (found == m_toplevels.end()) {
        return;
    }
    if (toplevel.isMinimized) {
        zwlr_foreign_toplevel_handle_v1_unset_minimized((*found)->handle());
    }
    zwlr_foreign_toplevel_handle_v1_activate((*found)->handle(), m_display.seat());
}

} // namespace glimmerwick
