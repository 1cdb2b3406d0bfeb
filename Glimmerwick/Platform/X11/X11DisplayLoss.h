#pragma once

#include "Platform/Registration.h"

#include <functional>

namespace glimmerwick {

/// Has the program end in good order when the display server goes away: at once, with status 1 and one line
/// on standard error.
///
/// The toolkit would call std::exit in the middle of its event loop, which destroys static objects while
/// threads, and everything that `main` has made, still use them. Or it would abort, or crash, when the server
/// goes away while the QGuiApplication is made. While this lives the process ends before any of that. Make it
/// before the QGuiApplication, one at a time. Main thread.
class X11DisplayLoss {
public:
    X11DisplayLoss();
    ~X11DisplayLoss();
    X11DisplayLoss(const X11DisplayLoss&) = delete;
    X11DisplayLoss& operator=(const X11DisplayLoss&) = delete;

    /// Has the function store what must not be lost. It runs on the main thread, at any moment at which the
    /// toolkit may look at its events, and must not need the display. As long as this is registered every
    /// library that calls std::exit ends the process in the same way. Needs the QGuiApplication; one at a
    /// time.
    Registration saveBy(std::function<void()> save);

    /// A connection to the display has broken. Ends the process while one of these lives, and else says so
    /// only.
    static void tell();
};

} // namespace glimmerwick
