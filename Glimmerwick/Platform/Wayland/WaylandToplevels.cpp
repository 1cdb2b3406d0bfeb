#include "Platform/Wayland/WaylandToplevels.h"

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
class WaylandToplevels::Toplevel {
public:
    Toplevel(WaylandToplevels& owner, zwlr_foreign_toplevel_handle_v1* handle, std::uint64_t identifier)
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

    WaylandToplevels& m_owner;
    zwlr_foreign_toplevel_handle_v1* const m_handle;
    WaylandToplevel m_said;
    std::optional<WaylandToplevel> m_complete;
};

const zwlr_foreign_toplevel_handle_v1_listener WaylandToplevels::Toplevel::listener{
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

const zwlr_foreign_toplevel_manager_v1_listener WaylandToplevels::managerListener{
    [](void* self, zwlr_foreign_toplevel_manager_v1*, zwlr_foreign_toplevel_handle_v1* handle) {
        static_cast<WaylandToplevels*>(self)->add(handle);
    },
    [](void*, zwlr_foreign_toplevel_manager_v1*) {},
};

std::unique_ptr<WaylandToplevels> WaylandToplevels::make(WaylandDisplay& display)
{
    auto* manager = display.bind<zwlr_foreign_toplevel_manager_v1>(zwlr_foreign_toplevel_manager_v1_interface,
                                                                   managerVersion);
    if (!manager) {
        return nullptr;
    }
    std::unique_ptr<WaylandToplevels> toplevels(new WaylandToplevels(display, manager));
    // For the windows that are there already.
    display.roundTrip();
    return toplevels;
}

WaylandToplevels::WaylandToplevels(WaylandDisplay& display, zwlr_foreign_toplevel_manager_v1* manager)
    : m_display(display), m_manager(manager)
{
    zwlr_foreign_toplevel_manager_v1_add_listener(m_manager, &managerListener, this);
}

WaylandToplevels::~WaylandToplevels()
{
    m_toplevels.clear();
    zwlr_foreign_toplevel_manager_v1_stop(m_manager);
    zwlr_foreign_toplevel_manager_v1_destroy(m_manager);
}

void WaylandToplevels::add(zwlr_foreign_toplevel_handle_v1* handle)
{
    m_toplevels.push_back(std::make_unique<Toplevel>(*this, handle, ++m_lastIdentifier));
}

void WaylandToplevels::remove(const Toplevel& toplevel)
{
    m_toplevels.remove_if([&](const auto& candidate) { return candidate.get() == &toplevel; });
}

std::uint64_t WaylandToplevels::identifierOf(zwlr_foreign_toplevel_handle_v1* handle) const
{
    const auto found = std::ranges::find(m_toplevels, handle, &Toplevel::handle);
    return handle && found != m_toplevels.end() ? (*found)->identifier() : 0;
}

std::vector<WaylandToplevel> WaylandToplevels::all() const
{
    std::vector<WaylandToplevel> values;
    for (const auto& toplevel : m_toplevels) {
        if (toplevel->value()) {
            values.push_back(*toplevel->value());
        }
    }
    return values;
}

std::optional<WaylandToplevel> WaylandToplevels::find(std::uint64_t identifier) const
{
    const auto found = std::ranges::find(m_toplevels, identifier, &Toplevel::identifier);
    return found == m_toplevels.end() ? std::nullopt : (*found)->value();
}

std::optional<WaylandToplevel> WaylandToplevels::activated() const
{
    const auto found = std::ranges::find_if(m_toplevels, [](const auto& toplevel) {
        return toplevel->value() && toplevel->value()->isActivated;
    });
    return found == m_toplevels.end() ? std::nullopt : (*found)->value();
}

bool WaylandToplevels::activate(std::uint64_t identifier, Time until)
{
    // It may have been closed or minimised since anybody looked.
    m_display.roundTrip();
    const auto found = std::ranges::find(m_toplevels, identifier, &Toplevel::identifier);
    if (found == m_toplevels.end()) {
        return false;
    }
    const Toplevel& toplevel = **found;
    if (toplevel.value() && toplevel.value()->isMinimized) {
        zwlr_foreign_toplevel_handle_v1_unset_minimized(toplevel.handle());
    }
    zwlr_foreign_toplevel_handle_v1_activate(toplevel.handle(), m_display.seat());
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
