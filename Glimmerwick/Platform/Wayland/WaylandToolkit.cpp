#include "Platform/Wayland/WaylandToolkit.h"

#include "Platform/Wayland/LayerShellProtocol.h"
#include "Platform/Wayland/WaylandLayerSurface.h"

#include <QGuiApplication>
#include <QScreen>
#include <QWindow>
#include <qpa/qplatformnativeinterface.h>
#include <qpa/qplatformscreen.h>

#include <poll.h>
#include <wayland-client.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

namespace glimmerwick {

namespace {

// Keys on demand came with it; nothing later is used.
constexpr std::uint32_t shellVersion = 4;
// With it keyboards can be released; nothing later is used.
constexpr std::uint32_t seatVersion = 3;

// Answers take milliseconds. The main thread must not hang with a compositor that hangs.
constexpr std::chrono::seconds patience{1};

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
    static constexpr wl_registry_listener listener{
        [](void* self, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version) {
            static_cast<WaylandToolkit*>(self)->announce(name, interface, version);
        },
        [](void*, wl_registry*, std::uint32_t) {}};
    wl_registry_add_listener(m_registry, &listener, this);
    waitForAnnouncements(display);
    wl_proxy_wrapper_destroy(display);
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

void WaylandToolkit::waitForAnnouncements(wl_display* onQueue)
{
    bool isDone = false;
    wl_callback* const callback = wl_display_sync(onQueue);
    static constexpr wl_callback_listener listener{
        [](void* done, wl_callback*, std::uint32_t) { *static_cast<bool*>(done) = true; }};
    wl_callback_add_listener(callback, &listener, &isDone);
    dispatchUntil([&] { return isDone; });
    wl_callback_destroy(callback);
}

/// False when time is up first, and when the connection is lost.
bool WaylandToolkit::dispatchUntil(const std::function<bool()>& condition)
{
    const Time end = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        // It refuses to prepare while there is something to handle.
        if (wl_display_prepare_read_queue(m_display, m_queue) == 0 && !readBefore(end)) {
            return false;
        }
        if (wl_display_dispatch_queue_pending(m_display, m_queue) < 0) {
            return false;
        }
    }
    return true;
}

/// Ends what has been prepared. False when time is up, and when the connection is lost.
bool WaylandToolkit::readBefore(Time end)
{
    const bool isAllSent = wl_display_flush(m_display) >= 0 || errno != EAGAIN;
    pollfd descriptor{wl_display_get_fd(m_display), static_cast<short>(isAllSent ? POLLIN : POLLIN | POLLOUT),
                      0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    const int ready = left.count() > 0 ? poll(&descriptor, 1, static_cast<int>(left.count())) : 0;
    if (ready > 0 && descriptor.revents != POLLOUT) {
        return wl_display_read_events(m_display) == 0;
    }
    const bool isInterrupted = ready < 0 && errno == EINTR;
    wl_display_cancel_read(m_display);
    return ready > 0 || isInterrupted;
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
    // The native interface takes every screen for one of the compositor's.
    if (!m_shell || screen.handle()->isPlaceholder()) {
        return nullptr;
    }
    auto* const output = static_cast<wl_output*>(
        nativeInterface().nativeResourceForScreen("output", const_cast<QScreen*>(&screen)));
    return std::make_unique<WaylandLayerSurface>(m_shell, surface, output);
}

bool WaylandToolkit::waitForConfiguration(WaylandLayerSurface& layerSurface)
{
    if (!dispatchUntil([&] { return layerSurface.isConfigured() || layerSurface.isClosed(); })) {
        return false;
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
