#include "Platform/Wayland/WaylandDisplayLoss.h"

#include "Platform/Wayland/WaylandToolkit.h"

#include <wayland-client.h>

#include <atomic>
#include <memory>
#include <utility>

namespace glimmerwick {

namespace {

/// The toolkit's while it is known.
std::atomic<wl_display*> toolkitsDisplay = nullptr;

bool isLost()
{
    if (wl_display* const display = toolkitsDisplay) {
        return wl_display_get_error(display) != 0;
    }
    const std::unique_ptr<wl_display, decltype(&wl_display_disconnect)> reached(wl_display_connect(nullptr),
                                                                                &wl_display_disconnect);
    return !reached;
}

constexpr DisplayLoss::Display waylandDisplay{"The Wayland connection",
                                              "the connection to the Wayland compositor is lost", &isLost};

} // namespace

WaylandDisplayLoss::WaylandDisplayLoss() : DisplayLoss(waylandDisplay) { }

Registration WaylandDisplayLoss::saveBy(std::function<void()> save)
{
    toolkitsDisplay = WaylandToolkit::connectedDisplay();
    auto saving = std::make_shared<Registration>(DisplayLoss::saveBy(std::move(save)));
    return Registration([saving] {
        saving->reset();
        toolkitsDisplay = nullptr;
    });
}

} // namespace glimmerwick
