#include "Platform/Wayland/WaylandToolkit.h"

#include "Platform/Wayland/LayerShellProtocol.h"
#include "Platform/Wayland/WaylandLayerSurface.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>

#include <wayland-client.h>

#include <algorithm>
#include <string_view>

namespace glimmerwick {

namespace {

// Keys on demand came with it; nothing later is used.
constexpr std::uint32_t shellVersion = 4;
// With it keyboards can be released; nothing later is used.
constexpr std::uint32_t seatVersion = 3;

QPlatformNativeInterface& nativeInterface()
{
    return *QGuiApplication::platformNativeInterface();
}

} // namespace

void WaylandToolkit::leaveBypassingWindowsWithoutRole()
{
    qputenv("QT_WAYLAND_USE_BYPASSWINDOWMANAGERHINT", "1");
}

bool WaylandToolkit::isAvailable()
{
    return connectedDisplay() != nullptr;
}

wl_display* WaylandToolkit::connectedDisplay()
{
    return qGuiApp && QGuiApplication::platformName().startsWith(QLatin1String("wayland"))
        ? static_cast<wl_display*>(nativeInterface().nativeResourceForIntegration("wl_display"))
        : nullptr;
}

WaylandToolkit::WaylandToolkit() : m_display(connectedDisplay()), m_queue(wl_display_create_queue(m_display))
{
    auto* const display = static_cast<wl_display*>(wl_proxy_create_wrapper(m_display));
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(display), m_queue);
    m_registry = wl_display_get_registry(display);
    wl_proxy_wrapper_destroy(display);
    static constexpr wl_registry_listener listener{
        [](void* self, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version) {
            static_cast<WaylandToolkit*>(self)->announce(name, interface, version);
        },
        [](void*, wl_registry*, std::uint32_t) {}};
    wl_registry_add_listener(m_registry, &listener, this);
    wl_display_roundtrip_queue(m_display, m_queue);
    m_keyboardFocus = std::make_unique<WaylandKeyboardFocus>(m_seat);
}

WaylandToolkit::~WaylandToolkit()
{
    m_keyboardFocus.reset();
    if (m_shell && zwlr_layer_shell_v1_get_version(m_shell) >= ZWLR_LAYER_SHELL_V1_DESTROY_SINCE_VERSION) {
        zwlr_layer_shell_v1_destroy(m_shell);
    } else if (m_shell) {
        wl_proxy_destroy(reinterpret_cast<wl_proxy*>(m_shell));
    }
    wl_registry_destroy(m_registry);
    wl_event_queue_destroy(m_queue);
}

void WaylandToolkit::announce(std::uint32_t name, const char* interface, std::uint32_t version)
{
    if (!m_shell && std::string_view(interface) == zwlr_layer_shell_v1_interface.name) {
        m_shell = static_cast<zwlr_layer_shell_v1*>(wl_registry_bind(
            m_registry, name, &zwlr_layer_shell_v1_interface, std::min(version, shellVersion)));
    } else if (!m_seat && std::string_view(interface) == wl_seat_interface.name) {
        m_seat = static_cast<wl_seat*>(
            wl_registry_bind(m_registry, name, &wl_seat_interface, std::min(version, seatVersion)));
        // What becomes of the keys is of interest in the order in which the toolkit learns it.
        wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(m_seat), nullptr);
    }
}

std::unique_ptr<WaylandLayerSurface> WaylandToolkit::makeLayerSurface(wl_surface* surface,
                                                                      const QScreen& screen)
{
    if (!m_shell) {
        return nullptr;
    }
    auto* const output = static_cast<wl_output*>(
        nativeInterface().nativeResourceForScreen("output", const_cast<QScreen*>(&screen)));
    return std::make_unique<WaylandLayerSurface>(m_shell, surface, output);
}

bool WaylandToolkit::waitForConfiguration(WaylandLayerSurface& layerSurface)
{
    while (!layerSurface.isConfigured() && !layerSurface.isClosed()) {
        if (wl_display_dispatch_queue(m_display, m_queue) < 0) {
            return false;
        }
    }
    wl_proxy_set_queue(reinterpret_cast<wl_proxy*>(layerSurface.get()), nullptr);
    // What the toolkit's thread has read in between.
    wl_display_dispatch_queue_pending(m_display, m_queue);
    return !layerSurface.isClosed();
}

wl_surface* WaylandToolkit::surfaceOf(const QWindow& window)
{
    return static_cast<wl_surface*>(
        nativeInterface().nativeResourceForWindow("surface", const_cast<QWindow*>(&window)));
}

} // namespace glimmerwick
