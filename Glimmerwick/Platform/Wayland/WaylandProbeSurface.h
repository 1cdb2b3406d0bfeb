#pragma once

#include "Platform/Wayland/WaylandLayerSurface.h"

#include <memory>

struct wl_buffer;
struct wl_compositor;
struct wl_shm;
struct wp_viewport;
struct wp_viewporter;

namespace glimmerwick {

class WaylandDisplay;

/// Something on an output that nobody sees, but that the pointer can be on. The display's thread.
class WaylandProbeSurface {
public:
    /// What it is made with. Bound once, and released before the display ends.
    struct Globals {
        explicit Globals(WaylandDisplay& display);
        ~Globals();
        Globals(const Globals&) = delete;
        Globals& operator=(const Globals&) = delete;

        /// Whether the compositor has what it takes.
        bool areThere() const { return compositor && shm && layerShell; }

        wl_compositor* compositor = nullptr;
        wl_shm* shm = nullptr;
        /// Null where the compositor does not scale; the surface costs more memory then.
        wp_viewporter* viewporter = nullptr;
        zwlr_layer_shell_v1* layerShell = nullptr;
    };

    /// The compositor chooses the output when it is null.
    WaylandProbeSurface(const Globals& globals, wl_output* output, WaylandLayerSurface::Extent extent);
    ~WaylandProbeSurface();
    WaylandProbeSurface(const WaylandProbeSurface&) = delete;
    WaylandProbeSurface& operator=(const WaylandProbeSurface&) = delete;

    /// Its size, in points, is known from the configuration on, and from then on it can be shown.
    const WaylandLayerSurface& role() const { return *m_role; }
    /// Stays hidden when its size is nothing, and when memory for it cannot be had.
    void show();
    bool isShown() const { return m_buffer != nullptr; }

    wl_surface* surface() const { return m_surface; }
    /// Where the compositor shows it; null before it has said so.
    wl_output* output() const { return m_output; }

private:
    /// Null when memory cannot be had.
    wl_buffer* makeBuffer(std::int32_t width, std::int32_t height);

    const Globals& m_globals;
    wl_surface* const m_surface;
    std::unique_ptr<WaylandLayerSurface> m_role;
    wp_viewport* m_viewport = nullptr;
    wl_buffer* m_buffer = nullptr;
    wl_output* m_output = nullptr;
};

} // namespace glimmerwick
