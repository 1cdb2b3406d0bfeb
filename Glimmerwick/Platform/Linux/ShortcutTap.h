#pragma once

#include "Platform/EventTap.h"
#include "Platform/Registration.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick {

/// The tap of the picker's shortcut, for a service of the desktop that watches the keys itself and says no
/// more than that the shortcut was pressed. It is shared by the port and by whatever hears from the service.
/// Main thread.
class ShortcutTap {
public:
    using OnUnavailable = std::function<void(std::string reason)>;

    /// Whether the service tells of each press when the keys were let go.
    enum class Releases { told, unknown };

    ShortcutTap(EventTap::Callback callback, OnUnavailable onUnavailable, Releases releases);

    /// Gives the callback a key press, unless the tap is disabled or has no source, or the service only
    /// repeats a press because the keys are held. The callback may destroy the port.
    void press();

    /// The keys were let go.
    void release();

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

    bool isRepeat() const;

    const EventTap::Callback m_callback;
    const OnUnavailable m_onUnavailable;
    Releases m_releases;
    /// While the keys are held, as far as is known.
    std::optional<std::chrono::steady_clock::time_point> m_lastPress;
    std::string m_toldReason;
    bool m_isEnabled = false;
    bool m_hasSource = false;
};

} // namespace glimmerwick
