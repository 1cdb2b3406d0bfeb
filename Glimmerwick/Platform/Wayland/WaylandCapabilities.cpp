#include "Platform/Wayland/WaylandCapabilities.h"

#include <algorithm>
#include <string_view>

namespace glimmerwick {

namespace {

constexpr std::uint32_t firstWlrVersionWithPrimarySelection = 2;

/// 0 when there is none.
std::uint32_t versionOf(const std::vector<WaylandGlobal>& globals, std::string_view interface)
{
    const auto found = std::ranges::find(globals, interface, &WaylandGlobal::interface);
    return found == globals.end() ? 0 : found->version;
}

} // namespace

WaylandCapabilities WaylandCapabilities::of(const std::vector<WaylandGlobal>& globals)
{
    const auto has = [&](std::string_view interface) { return versionOf(globals, interface) > 0; };
    WaylandCapabilities capabilities;
    capabilities.seat = has("wl_seat");
    capabilities.layerShell = has("zwlr_layer_shell_v1");
    capabilities.virtualKeyboard = has("zwp_virtual_keyboard_manager_v1");
    capabilities.foreignToplevel = has("zwlr_foreign_toplevel_manager_v1");
    capabilities.plasmaWindowManagement = has("org_kde_plasma_window_management");
    capabilities.kwinFakeInput = has("org_kde_kwin_fake_input");
    if (has("ext_data_control_manager_v1")) {
        capabilities.dataControl = DataControl::ext;
        capabilities.dataControlVersion = versionOf(globals, "ext_data_control_manager_v1");
    } else if (has("zwlr_data_control_manager_v1")) {
        capabilities.dataControl = DataControl::wlr;
        capabilities.dataControlVersion = versionOf(globals, "zwlr_data_control_manager_v1");
    }
    return capabilities;
}

bool WaylandCapabilities::controlsPrimarySelection() const
{
    return dataControl == DataControl::ext
        || (dataControl == DataControl::wlr && dataControlVersion >= firstWlrVersionWithPrimarySelection);
}

} // namespace glimmerwick
