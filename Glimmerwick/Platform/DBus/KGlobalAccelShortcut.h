#pragma once

#include "Platform/EventTap.h"
#include "Platform/Linux/ShortcutTap.h"

#include <chrono>

namespace glimmerwick {

class SessionBus;

/// The picker's shortcut as one of those that Plasma keeps for its applications: the user finds it among the
/// desktop's shortcuts and may choose other keys there, which count from then on. One tap at a time. Main
/// thread.
class KGlobalAccelShortcut : public EventTap {
public:
    /// The bus must outlive the ports. `onUnavailable` runs from the event loop, once for each reason why the
    /// shortcut cannot be had; a service that does not answer for so long is one.
    KGlobalAccelShortcut(const SessionBus& sessionBus, ShortcutTap::OnUnavailable onUnavailable,
                         std::chrono::milliseconds timeout = std::chrono::seconds(10));

    /// Waits for nothing. Null without a bus, and for anything but the picker's shortcut.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

private:
    const SessionBus& m_sessionBus;
    const ShortcutTap::OnUnavailable m_onUnavailable;
    const std::chrono::milliseconds m_timeout;
};

} // namespace glimmerwick
