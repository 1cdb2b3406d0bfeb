#pragma once

#include "Platform/EventTap.h"
#include "Platform/Linux/ShortcutTap.h"

#include <string>

namespace glimmerwick {

class MainQueue;

/// The picker's shortcut as a binding that sway is given at run time, in its default mode. The user's own
/// binding of the same keys goes before it. One tap at a time. Main thread.
class SwayShortcut : public EventTap {
public:
    /// The path is what sway puts into SWAYSOCK. `onUnavailable` runs from the main queue, once for each
    /// reason why the shortcut cannot be had. The queue must outlive the ports.
    SwayShortcut(std::string socketPath, MainQueue& mainQueue, ShortcutTap::OnUnavailable onUnavailable);

    /// Null when sway cannot be reached, and for anything but the picker's shortcut. The port waits for a
    /// bounded time, when it goes, until sway has forgotten the binding.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

private:
    const std::string m_socketPath;
    MainQueue& m_mainQueue;
    const ShortcutTap::OnUnavailable m_onUnavailable;
};

} // namespace glimmerwick
