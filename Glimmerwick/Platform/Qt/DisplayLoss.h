#pragma once

#include "Platform/WindowSystem.h"

#include <functional>

namespace glimmerwick {

/// Has the program end in good order when the display server goes away: at once, with status 1 and one line
/// on standard error.
///
/// The toolkit would call std::exit in the middle of its event loop, which destroys static objects while
/// threads, and everything that `main` has made, still use them. Or its thread that reads from the server
/// would call _exit, which saves nothing. Or it would abort, or crash, when the server goes away while the
/// QGuiApplication is made. While this lives the process ends before any of that; a thread that has said the
/// last words is held until the main thread has ended the process, for 2 s at most. Make it before the
/// QGuiApplication, one at a time. Main thread.
class DisplayLoss : public DisplayLossWatch {
public:
    /// What there is to know of one kind of display.
    struct Display {
        /// How the toolkit's message right before it ends the process begins, on whatever thread.
        const char* lastWords;
        /// What the user is told, without the program's name.
        const char* report;
        /// Asked on any thread, at any moment.
        bool (*isLost)();
    };

    explicit DisplayLoss(const Display& display);
    ~DisplayLoss() override;
    DisplayLoss(const DisplayLoss&) = delete;
    DisplayLoss& operator=(const DisplayLoss&) = delete;

    /// The function runs on the main thread, at any moment at which the toolkit may look at its events, and
    /// must not need the display. As long as this is registered every library that calls std::exit ends the
    /// process in the same way.
    Registration saveBy(std::function<void()> save) override;

    /// A connection to the display has broken. Ends the process while one of these lives, and else says so
    /// only.
    static void tell(const char* report);
};

} // namespace glimmerwick
