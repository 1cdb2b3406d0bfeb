#include "Platform/Wayland/WaylandProbeSurface.h"

#include "Platform/Wayland/LayerShellProtocol.h"
#include "Platform/Wayland/WaylandDisplay.h"

#include <sys/mman.h>
#include <unistd.h>
#include <viewporter.h>
#include <wayland-client.h>

#include <cstddef>
#include <limits>

namespace glimmerwick {

namespace {

// Nothing later is used.
constexpr std::uint32_t compositorVersion = 1;
constexpr std::uint32_t shmVersion = 1;
constexpr std::uint32_t viewporterVersion = 1;
constexpr std::uint32_t shellVersion = 1;
constexpr std::int32_t bytesPerPixel = 4;
/// The protocol's numbers go no further.
constexpr std::size_t largestPool = std::numeric_limits<std::int32_t>::max();

} // namespace

WaylandProbeSurface::Globals::Globals(WaylandDisplay& display)
    : compositor(display.bind<wl_compositor>(wl_compositor_interface, compositorVersion)),
      shm(display.bind<wl_shm>(wl_shm_interface, shmVersion)),
      viewporter(display.bind<wp_viewporter>(wp_viewporter_interface, viewporterVersion)),
      layerShell(display.bind<zwlr_layer_shell_v1>(zwlr_layer_shell_v1_interface, shellVersion))
{
}

WaylandProbeSurface::Globals::~Globals()
{
    if (layerShell) {
        // In the version that is bound there is no request for it.
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(layerShell));
    }
    if (viewporter) {
        wp_viewporter_destroy(viewporter);
    }
    if (shm) {
        wl_shm_destroy(shm);
    }
    if (compositor) {
        wl_compositor_destroy(compositor);
    }
}

WaylandProbeSurface::WaylandProbeSurface(const Globals& globals, wl_output* output,
                                         WaylandLayerSurface::Extent extent)
    : m_globals(globals), m_surface(wl_compositor_create_surface(globals.compositor)),
      m_role(std::make_unique<WaylandLayerSurface>(globals.layerShell, m_surface, output))
{
    static constexpr wl_surface_listener listener{[](void* self, wl_surface*, wl_output* entered) {
                                                      static_cast<WaylandProbeSurface*>(self)->m_output =
                                                          entered;
                                                  },
                                                  [](void*, wl_surface*, wl_output*) {}};
    wl_surface_add_listener(m_surface, &listener, this);
    m_role->cover(extent);
    wl_surface_commit(m_surface);
}

WaylandProbeSurface::~WaylandProbeSurface()
{
    m_role.reset();
    if (m_viewport) {
        wp_viewport_destroy(m_viewport);
    }
    wl_surface_destroy(m_surface);
    if (m_buffer) {
        wl_buffer_destroy(m_buffer);
    }
}

void WaylandProbeSurface::show()
{
    const auto width = static_cast<std::int32_t>(m_role->width());
    const auto height = static_cast<std::int32_t>(m_role->height());
    // Compositors take a viewport without a size for an error that ends the connection.
    if (width <= 0 || height <= 0) {
        return;
    }
    m_buffer = m_globals.viewporter ? makeBuffer(1, 1) : makeBuffer(width, height);
    if (!m_buffer) {
        return;
    }
    if (m_globals.viewporter) {
        m_viewport = wp_viewporter_get_viewport(m_globals.viewporter, m_surface);
        wp_viewport_set_destination(m_viewport, width, height);
    }
    wl_surface_attach(m_surface, m_buffer, 0, 0);
    wl_surface_damage(m_surface, 0, 0, width, height);
    wl_surface_commit(m_surface);
}

// A new file is full of zeros, which is what nothing looks like.
wl_buffer* WaylandProbeSurface::makeBuffer(std::int32_t width, std::int32_t height)
{
    const std::size_t size =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * bytesPerPixel;
    if (size > largestPool) {
        return nullptr;
    }
    const int file = memfd_create("glimmerwick-probe", MFD_CLOEXEC);
    if (file < 0) {
        return nullptr;
    }
    wl_buffer* buffer = nullptr;
    if (ftruncate(file, static_cast<off_t>(size)) == 0) {
        wl_shm_pool* const pool = wl_shm_create_pool(m_globals.shm, file, static_cast<std::int32_t>(size));
        buffer =
            wl_shm_pool_create_buffer(pool, 0, width, height, width * bytesPerPixel, WL_SHM_FORMAT_ARGB8888);
        wl_shm_pool_destroy(pool);
    }
    close(file);
    return buffer;
}

} // namespace glimmerwick
