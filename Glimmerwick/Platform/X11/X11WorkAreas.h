#pragma once

#include "Platform/PanelHost.h"
#include "Platform/X11/X11Connection.h"

#include <vector>

namespace glimmerwick {

/// What docks and bars leave of each screen. The toolkit takes the whole screen as soon as there are several:
/// the window manager's common property knows one work area alone, around all of them. Main thread.
class X11WorkAreas {
public:
    explicit X11WorkAreas(X11Connection& connection);

    /// The part of the screen that no dock covers, in pixels of the root window.
    ScreenRect visibleFrame(ScreenRect screen);

private:
    std::vector<ScreenRect> areasOfCurrentDesktop();
    std::vector<ScreenRect> docks();

    X11Connection& m_connection;
};

} // namespace glimmerwick
