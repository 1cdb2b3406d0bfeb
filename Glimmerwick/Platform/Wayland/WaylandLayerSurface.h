#pragma once

#include <cstdint>
#include <functional>

struct wl_output;
struct wl_surface;
struct zwlr_layer_shell_v1;
struct zwlr_layer_surface_v1;
struct zwlr_layer_surface_v1_listener;

namespace glimmerwick {

/// The role of a surface that is put on an output above all windows. Configured sizes are acknowledged when
/// they arrive. The thread that dispatches the shell's events.
class WaylandLayerSurface {
public:
    enum class Keys {
        none,
        /// Every key, whatever the user does.
        all,
        /// Those that no window is given by a click or the like. From version 4 of the shell on, else none.
        untilElsewhere,
    };

    /// How much of the output is covered.
    enum class Extent {
        /// All of it.
        output,
        /// What docks and bars leave free.
        freeArea,
    };

    /// In points.
    struct Box {
        std::int32_t left = 0;
        std::int32_t top = 0;
        std::uint32_t width = 0;
        std::uint32_t height = 0;
    };

    /// Neither the surface nor the output is owned; the surface must have no content. The compositor chooses
    /// the output when it is null. Requests take effect with the surface's next commit.
    WaylandLayerSurface(zwlr_layer_shell_v1* shell, wl_surface* surface, wl_output* output);
    /// Before the surface goes.
    ~WaylandLayerSurface();
    WaylandLayerSurface(const WaylandLayerSurface&) = delete;
    WaylandLayerSurface& operator=(const WaylandLayerSurface&) = delete;

    /// The compositor will show the surface no more.
    std::function<void()> onClosed;

    void cover(Extent extent);
    /// Measured from the output's corner.
    void placeAt(const Box& box);
    void moveTo(std::int32_t left, std::int32_t top);
    void takeKeys(Keys keys);

    /// Whether the surface may have content.
    bool isConfigured() const { return m_isConfigured; }
    bool isClosed() const { return m_isClosed; }
    /// What the compositor gave it, in points.
    std::uint32_t width() const { return m_width; }
    std::uint32_t height() const { return m_height; }

    zwlr_layer_surface_v1* get() const { return m_role; }

private:
    static const zwlr_layer_surface_v1_listener listener;

    zwlr_layer_surface_v1* const m_role;
    bool m_isConfigured = false;
    bool m_isClosed = false;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
};

} // namespace glimmerwick
