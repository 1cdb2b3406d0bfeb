#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace glimmerwick {

/// One thing that the compositor announces.
struct WaylandGlobal {
    std::string interface;
    std::uint32_t version = 0;

    friend bool operator==(const WaylandGlobal&, const WaylandGlobal&) = default;
};

/// A screen, as far as the compositor has described it.
struct WaylandOutput {
    /// Such as "DP-1"; empty when the compositor does not tell.
    std::string name;
    /// Where it lies in the space in which the compositor lays its screens out, in points. All 0 where the
    /// compositor lacks the protocol for that: what wl_output says of it is 0, too, or in pixels.
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    /// Pixels a point; what is no whole number is rounded up.
    std::int32_t scale = 1;

    friend bool operator==(const WaylandOutput&, const WaylandOutput&) = default;
};

/// What the compositor lets this program do. Asked instead of the desktop's name, because any of it can be
/// missing anywhere.
struct WaylandCapabilities {
    enum class DataControl { none, wlr, ext };

    bool seat = false;
    bool layerShell = false;
    DataControl dataControl = DataControl::none;
    /// 0 without data control.
    std::uint32_t dataControlVersion = 0;
    bool virtualKeyboard = false;
    bool foreignToplevel = false;
    bool plasmaWindowManagement = false;
    bool kwinFakeInput = false;
    std::vector<WaylandOutput> outputs;

    /// All but the outputs, which say of themselves what they are.
    static WaylandCapabilities of(const std::vector<WaylandGlobal>& globals);

    /// Whether the selected text (the primary selection) can be controlled, too.
    bool controlsPrimarySelection() const;

    friend bool operator==(const WaylandCapabilities&, const WaylandCapabilities&) = default;
};

} // namespace glimmerwick
