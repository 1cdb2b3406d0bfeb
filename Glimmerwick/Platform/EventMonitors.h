#pragma once

#include "Platform/KeyEvent.h"
#include "Platform/Registration.h"

#include <functional>

namespace glimmerwick {

enum class MonitorDecision { pass, consume };

/// Observation of events without a tap. Each key press reaches exactly one of: a tap, the local monitor, the
/// global key monitor. Handlers run on the main thread. Main thread.
class EventMonitors {
public:
    virtual ~EventMonitors() = default;

    /// Key presses sent to this application; the handler may consume them.
    virtual Registration addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler) = 0;

    /// Key presses sent to other applications; they cannot be consumed.
    virtual Registration addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) = 0;

    /// Presses of the left or right mouse button over windows of other applications; nothing is consumed.
    virtual Registration addGlobalMouseDownMonitor(std::function<void()> handler) = 0;
};

} // namespace glimmerwick
