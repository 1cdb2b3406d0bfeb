#pragma once

#include "Platform/EventTap.h"
#include "Platform/Registration.h"

#include <functional>
#include <memory>
#include <string>

namespace glimmerwick {

/// The tap of the picker's shortcut, for a service of the desktop that watches the keys itself and says no
/// more than that the shortcut was pressed. It is shared by the port and by whatever hears from the service.
/// Main thread.
class ShortcutTap {
public:
    using OnUnavailable = std::function<void(std::string reason)>;

    ShortcutTap(EventTap::Callback callback, OnUnavailable onUnavailable);

    /// Gives the callback a key press, unless the tap is disabled or has no source. Where the service repeats
    /// keys that are held, each repeat is a press, as it is where the keys themselves are seen. The callback
    /// may destroy the port.
    void press();

    /// Tells of it, unless that reason was the last one told.
    void setUnavailable(const std::string& reason);

    /// What stood in the way is gone; if it comes back it is told of again.
    void setAvailable() { m_toldReason.clear(); }

    /// Whether these services can be asked for what the tap is to see: the picker's shortcut alone, which
    /// they know under names of their own.
    static bool isPickerShortcut(const EventTap::Options& options);

    /// `shortcut` is undone when the port goes.
    static std::unique_ptr<EventTapPort> makePort(std::shared_ptr<ShortcutTap> tap, Registration shortcut);

private:
    class Port;
    class Source;

    const EventTap::Callback m_callback;
    const OnUnavailable m_onUnavailable;
    std::string m_toldReason;
    bool m_isEnabled = false;
    bool m_hasSource = false;
};

} // namespace glimmerwick
