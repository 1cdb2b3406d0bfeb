#pragma once

#include "Platform/SessionRoutes.h"

#include <functional>
#include <string>

namespace glimmerwick {

struct CommandLine;
class SessionBus;

/// What looks at the window systems. Each adds what it finds to the facts, and may be missing. They are
/// called where there may be something to find, and not at all where the routes do not depend on it.
struct WindowSystemProbes {
    std::function<void(SessionFacts& facts)> x11;
    std::function<void(SessionFacts& facts)> wayland;
};

enum class ProbeExtent {
    /// What the routes depend on. Asking a desktop portal starts it, and asking XWayland starts that, so
    /// neither is asked where a better route is there.
    whatRoutesNeed,
    /// For the user to read.
    everything,
};

/// What the user has the toolkit run on, by its option or by its environment; empty for no wish.
std::string wantedToolkitPlatform(const CommandLine& commandLine);

/// Looks at the user's session, less what GLIMMERWICK_WITHOUT takes away. Needs no toolkit. Whoever does not
/// answer on the bus has two seconds in all. Main thread.
ReducedFacts probeSession(const SessionBus& bus, const WindowSystemProbes& probes,
                          const std::string& wantedPlatform, ProbeExtent extent);

/// The text of `--diagnose`. Leaves a running picker alone. Main thread.
std::string diagnoseSession(const SessionBus& bus, const WindowSystemProbes& probes,
                            const std::string& wantedPlatform, const std::string& version);

} // namespace glimmerwick
