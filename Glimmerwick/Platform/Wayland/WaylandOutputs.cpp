#include "Platform/Wayland/WaylandOutputs.h"

#include <wayland-client-protocol.h>

namespace glimmerwick {

/// Keeps what was said until the screen says that it is complete.
class WaylandOutputs::Output {
public:
    explicit Output(wl_output* output) : m_output(output)
    {
        static constexpr wl_output_listener listener{
            [](void* self, wl_output*, std::int32_t x, std::int32_t y, std::int32_t, std::int32_t,
               std::int32_t, const char*, const char*, std::int32_t) {
                auto& said = static_cast<Output*>(self)->m_said;
                said.x = x;
                said.y = y;
            },
            [](void* self, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
               std::int32_t) {
                auto& said = static_cast<Output*>(self)->m_said;
                if ((flags & WL_OUTPUT_MODE_CURRENT) != 0) {
                    said.width = width;
                    said.height = height;
                }
            },
            [](void* self, wl_output*) {
                auto& owner = *static_cast<Output*>(self);
                owner.m_complete = owner.m_said;
            },
            [](void* self, wl_output*, std::int32_t scale) {
                static_cast<Output*>(self)->m_said.scale = scale;
            },
            [](void* self, wl_output*, const char* name) { static_cast<Output*>(self)->m_said.name = name; },
            [](void*, wl_output*, const char*) {},
        };
        wl_output_add_listener(m_output, &listener, this);
    }
    ~Output()
    {
        if (wl_output_get_version(m_output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
            wl_output_release(m_output);
        } else {
            wl_output_destroy(m_output);
        }
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    const WaylandOutput& value() const { return m_complete; }

private:
    wl_output* const m_output;
    WaylandOutput m_said;
    WaylandOutput m_complete;
};

WaylandOutputs::WaylandOutputs() = default;

WaylandOutputs::~WaylandOutputs() = default;

void WaylandOutputs::add(std::uint32_t globalName, wl_output* output)
{
    m_outputs.insert_or_assign(globalName, std::make_unique<Output>(output));
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

} // namespace glimmerwick
