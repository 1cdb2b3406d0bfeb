#include "Platform/Wayland/WaylandOutputs.h"

#include <wayland-client-protocol.h>
#include <xdg-output-unstable-v1.h>

namespace glimmerwick {

/// Keeps what was said until the compositor says that it is complete.
class WaylandOutputs::Output {
public:
    explicit Output(wl_output* output) : m_output(output)
    {
        wl_output_add_listener(m_output, &listener, this);
    }
    ~Output()
    {
        if (m_layout) {
            zxdg_output_v1_destroy(m_layout);
        }
        if (wl_output_get_version(m_output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
            wl_output_release(m_output);
        } else {
            wl_output_destroy(m_output);
        }
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void askForLayout(zxdg_output_manager_v1* manager)
    {
        if (!m_layout) {
            m_layout = zxdg_output_manager_v1_get_xdg_output(manager, m_output);
            zxdg_output_v1_add_listener(m_layout, &layoutListener, this);
        }
    }

    const WaylandOutput& value() const { return m_complete; }
    wl_output* proxy() const { return m_output; }

private:
    static const wl_output_listener listener;
    static const zxdg_output_v1_listener layoutListener;

    static Output& from(void* self) { return *static_cast<Output*>(self); }
    void complete() { m_complete = m_said; }

    wl_output* const m_output;
    zxdg_output_v1* m_layout = nullptr;
    WaylandOutput m_said;
    WaylandOutput m_complete;
};

const wl_output_listener WaylandOutputs::Output::listener{
    [](void*, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t, const char*,
       const char*, std::int32_t) {},
    [](void*, wl_output*, std::uint32_t, std::int32_t, std::int32_t, std::int32_t) {},
    [](void* self, wl_output*) { from(self).complete(); },
    [](void* self, wl_output*, std::int32_t scale) { from(self).m_said.scale = scale; },
    [](void* self, wl_output*, const char* name) { from(self).m_said.name = name; },
    [](void*, wl_output*, const char*) {},
};

const zxdg_output_v1_listener WaylandOutputs::Output::layoutListener{
    [](void* self, zxdg_output_v1*, std::int32_t x, std::int32_t y) {
        from(self).m_said.x = x;
        from(self).m_said.y = y;
    },
    [](void* self, zxdg_output_v1*, std::int32_t width, std::int32_t height) {
        from(self).m_said.width = width;
        from(self).m_said.height = height;
    },
    // Newer compositors say so by the output's own event.
    [](void* self, zxdg_output_v1*) { from(self).complete(); },
    [](void* self, zxdg_output_v1*, const char* name) { from(self).m_said.name = name; },
    [](void*, zxdg_output_v1*, const char*) {},
};

WaylandOutputs::WaylandOutputs() = default;

WaylandOutputs::~WaylandOutputs()
{
    m_outputs.clear();
    if (m_manager) {
        zxdg_output_manager_v1_destroy(m_manager);
    }
}

void WaylandOutputs::setManager(zxdg_output_manager_v1* manager)
{
    if (m_manager) {
        zxdg_output_manager_v1_destroy(m_manager);
    }
    m_manager = manager;
    for (const auto& [name, output] : m_outputs) {
        output->askForLayout(m_manager);
    }
}

void WaylandOutputs::add(std::uint32_t globalName, wl_output* output)
{
    const auto added = m_outputs.insert_or_assign(globalName, std::make_unique<Output>(output)).first;
    if (m_manager) {
        added->second->askForLayout(m_manager);
    }
}

void WaylandOutputs::remove(std::uint32_t globalName)
{
    m_outputs.erase(globalName);
}

std::vector<WaylandOutput> WaylandOutputs::all() const
{
    std::vector<WaylandOutput> values;
    for (const auto& [name, output] : m_outputs) {
        values.push_back(output->value());
    }
    return values;
}

std::vector<wl_output*> WaylandOutputs::proxies() const
{
    std::vector<wl_output*> proxies;
    for (const auto& [name, output] : m_outputs) {
        proxies.push_back(output->proxy());
    }
    return proxies;
}

} // namespace glimmerwick
