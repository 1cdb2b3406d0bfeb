#pragma once

#include "Platform/KeyEvent.h"

#include <functional>
#include <memory>
#include <optional>

namespace glimmerwick {

enum class TapDecision { pass, swallow };

/// A key press with its modifiers, for platforms that can watch only what they are told to.
struct KeyCombination {
    std::uint16_t keyCode = 0;
    EventFlags required = 0;
    EventFlags forbidden = 0;
};

/// Keeps a tap's events coming to the main thread for as long as it lives.
class RunLoopSource {
public:
    virtual ~RunLoopSource() = default;
};

/// An installed tap. Destroying it removes it. Main thread.
class EventTapPort {
public:
    virtual ~EventTapPort() = default;

    /// Null when the tap cannot be attached.
    virtual std::unique_ptr<RunLoopSource> createRunLoopSource() = 0;

    /// A new tap is disabled. Enabling one that the platform disabled makes it work again.
    virtual void setEnabled(bool enabled) = 0;
};

/// Sees key-down events before the application in use does, and may swallow them.
///
/// A later tap is placed ahead of earlier ones. Events of other types may reach the callback too.
class EventTap {
public:
    using Callback = std::function<TapDecision(const KeyEvent&)>;

    struct Options {
        /// The one combination the owner swallows; absent when it wants every key press.
        std::optional<KeyCombination> only;
    };

    virtual ~EventTap() = default;

    /// Null when the platform refuses (no permission; another program holds the combination). The callback
    /// runs on the main thread, must be quick, and is not called after the port is gone. Main thread.
    virtual std::unique_ptr<EventTapPort> create(Options options, Callback callback) = 0;
};

} // namespace glimmerwick
