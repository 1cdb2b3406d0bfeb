#pragma once

#include "Platform/Wayland/WaylandKeyboardFocus.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

class QScreen;
class QWindow;
struct wl_display;
struct wl_event_queue;
struct wl_output;
struct wl_registry;
struct wl_seat;
struct wl_surface;
struct zwlr_layer_shell_v1;

namespace glimmerwick {

class WaylandLayerSurface;

/// The toolkit's own connection to the compositor: its windows' surfaces can be given roles there alone. Its
/// events are handled by the toolkit; those that cannot wait for it are on a queue of this object. Main
/// thread, while there is a QGuiApplication.
class WaylandToolkit {
public:
    /// Has windows with BypassWindowManagerHint made without a role, so that they can be given one. Before
    /// the QGuiApplication is made.
    static void leaveBypassingWindowsWithoutRole();

    /// Whether Qt runs on a Wayland compositor.
    static bool isAvailable();

    /// The toolkit's connection; null where it does not run on a compositor.
    static wl_display* connectedDisplay();

    /// `isAvailable()` must be true.
    WaylandToolkit();
    ~WaylandToolkit();
    WaylandToolkit(const WaylandToolkit&) = delete;
    WaylandToolkit& operator=(const WaylandToolkit&) = delete;

    bool hasLayerShell() const { return m_shell != nullptr; }

    /// A role for the surface on the screen's output. Null without a layer shell, and while the screen is
    /// only the toolkit's stand-in for those that are not there.
    std::unique_ptr<WaylandLayerSurface> makeLayerSurface(wl_surface* surface, const QScreen& screen);

    /// Waits until the compositor has configured the surface; false when it refuses, when it does not
    /// answer in 1 s, and when the connection is lost. From then on the toolkit handles the surface's events.
    bool waitForConfiguration(WaylandLayerSurface& layerSurface);

    /// Null while the window has none.
    static wl_surface* surfaceOf(const QWindow& window);

    wl_display* display() const { return m_display; }
    WaylandKeyboardFocus& keyboardFocus() { return *m_keyboardFocus; }

private:
    using Time = std::chrono::steady_clock::time_point;

    void announce(std::uint32_t name, const char* interface, std::uint32_t version);
    void waitForAnnouncements(wl_display* onQueue);
    bool dispatchUntil(const std::function<bool()>& condition);
    bool readBefore(Time end);

    wl_display* const m_display;
    wl_event_queue* const m_queue;
    wl_registry* m_registry = nullptr;
    zwlr_layer_shell_v1* m_shell = nullptr;
    wl_seat* m_seat = nullptr;
    std::unique_ptr<WaylandKeyboardFocus> m_keyboardFocus;
};

} // namespace glimmerwick
