#include "Platform/X11/X11DisplayLoss.h"

#include "Platform/X11/X11Platform.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <atomic>
#include <memory>
#include <utility>

namespace glimmerwick {

namespace {

/// The toolkit's while it is known.
std::atomic<xcb_connection_t*> toolkitsConnection = nullptr;

bool isLost()
{
    xcb_connection_t* const connection = toolkitsConnection;
    return connection ? xcb_connection_has_error(connection) != 0 : !X11Platform::isDisplayReachable();
}

constexpr DisplayLoss::Display x11Display{"The X11 connection broke",
                                          "the connection to the X11 display is lost", &isLost};

} // namespace

X11DisplayLoss::X11DisplayLoss() : DisplayLoss(x11Display) { }

Registration X11DisplayLoss::saveBy(std::function<void()> save)
{
    const auto* interface = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    toolkitsConnection = interface ? interface->connection() : nullptr;
    auto saving = std::make_shared<Registration>(DisplayLoss::saveBy(std::move(save)));
    return Registration([saving] {
        saving->reset();
        toolkitsConnection = nullptr;
    });
}

void X11DisplayLoss::tell()
{
    DisplayLoss::tell(x11Display.report);
}

} // namespace glimmerwick
