#include "Platform/Wayland/WaylandLayerSurface.h"

#include "Platform/Wayland/LayerShellProtocol.h"

namespace glimmerwick {

namespace {

/// What compositors' rules know the picker by.
constexpr const char* nameForRules = "glimmerwick";

constexpr std::int32_t overDocks = -1;
constexpr std::int32_t besideDocks = 0;

constexpr std::uint32_t topLeftCorner = ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT;
constexpr std::uint32_t everyEdge =
    topLeftCorner | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT;

} // namespace

const zwlr_layer_surface_v1_listener WaylandLayerSurface::listener{
    [](void* data, zwlr_layer_surface_v1* role, std::uint32_t serial, std::uint32_t width,
       std::uint32_t height) {
        auto& self = *static_cast<WaylandLayerSurface*>(data);
        self.m_isConfigured = true;
        self.m_width = width;
        self.m_height = height;
        zwlr_layer_surface_v1_ack_configure(role, serial);
    },
    [](void* data, zwlr_layer_surface_v1*) {
        auto& self = *static_cast<WaylandLayerSurface*>(data);
        self.m_isClosed = true;
        // A copy: it may destroy the original.
        if (const auto handler = self.onClosed) {
            handler();
        }
    },
};

WaylandLayerSurface::WaylandLayerSurface(zwlr_layer_shell_v1* shell, wl_surface* surface, wl_output* output)
    : m_role(zwlr_layer_shell_v1_get_layer_surface(shell, surface, output, ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY,
                                                   nameForRules))
{
    zwlr_layer_surface_v1_add_listener(m_role, &listener, this);
}

WaylandLayerSurface::~WaylandLayerSurface()
{
    zwlr_layer_surface_v1_destroy(m_role);
}

void WaylandLayerSurface::cover(Extent extent)
{
    zwlr_layer_surface_v1_set_anchor(m_role, everyEdge);
    zwlr_layer_surface_v1_set_exclusive_zone(m_role, extent == Extent::output ? overDocks : besideDocks);
    zwlr_layer_surface_v1_set_size(m_role, 0, 0);
}

void WaylandLayerSurface::placeAt(const Box& box)
{
    zwlr_layer_surface_v1_set_anchor(m_role, topLeftCorner);
    zwlr_layer_surface_v1_set_exclusive_zone(m_role, overDocks);
    zwlr_layer_surface_v1_set_size(m_role, box.width, box.height);
    moveTo(box.left, box.top);
}

void WaylandLayerSurface::moveTo(std::int32_t left, std::int32_t top)
{
    zwlr_layer_surface_v1_set_margin(m_role, top, 0, 0, left);
}

void WaylandLayerSurface::takeKeys(Keys keys)
{
    if (keys != Keys::untilElsewhere) {
        zwlr_layer_surface_v1_set_keyboard_interactivity(
            m_role,
            keys == Keys::all ? ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_EXCLUSIVE
                              : ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
    } else if (zwlr_layer_surface_v1_get_version(m_role)
               >= ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_ON_DEMAND_SINCE_VERSION) {
        zwlr_layer_surface_v1_set_keyboard_interactivity(
            m_role, ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_ON_DEMAND);
    }
}

} // namespace glimmerwick
