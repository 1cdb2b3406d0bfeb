#pragma once

#include "Platform/DBus/SessionBus.h"
#include "Platform/EventTap.h"
#include "Platform/Linux/ShortcutTap.h"

#include <chrono>

namespace glimmerwick {

/// The picker's shortcut by org.freedesktop.portal.GlobalShortcuts, where the desktop asks the user which
/// keys it is to have, and whether any. One tap at a time. Main thread.
class PortalShortcut : public EventTap {
public:
    /// The reason when the user wants no shortcut.
    static constexpr auto declined = "it was declined";

    /// `onUnavailable` runs from the event loop, once for each reason why the shortcut cannot be had; a
    /// portal that does not take a call for so long is one. The user may take any time to answer.
    explicit PortalShortcut(ShortcutTap::OnUnavailable onUnavailable,
                            std::chrono::milliseconds timeout = std::chrono::seconds(10));

    /// Waits for nothing. Null without a bus, and for anything but the picker's shortcut. The ports must not
    /// outlive this object.
    std::unique_ptr<EventTapPort> create(Options options, Callback callback) override;

private:
    /// Apart from the program's: a portal takes a program's name only from a connection that has asked it for
    /// nothing yet.
    const SessionBus m_sessionBus;
    const ShortcutTap::OnUnavailable m_onUnavailable;
    const std::chrono::milliseconds m_timeout;
};

} // namespace glimmerwick
