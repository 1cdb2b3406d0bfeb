#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// The numeric value is the one logs and callers of such an option know it by.
enum class ActivationOption : unsigned { ignoringOtherApps = 2 };

/// A handle to an application that runs (or ran). Remembers the window it was seen with. Main thread.
class RunningApplication {
public:
    virtual ~RunningApplication() = default;

    virtual std::optional<std::string> bundleIdentifier() const = 0;
    virtual std::optional<std::string> localizedName() const = 0;
    /// -1 when the window system does not tell.
    virtual std::int32_t processIdentifier() const = 0;

    /// Brings the remembered window to the front and waits, for a bounded time, until it is. False when it is
    /// not.
    virtual bool activate(ActivationOption option) = 0;
};

/// The applications of the user's session. Main thread.
class Workspace {
public:
    virtual ~Workspace() = default;

    /// The application the user works in; null when there is none.
    virtual std::shared_ptr<RunningApplication> frontmostApplication() = 0;

    /// Every application with a window, in the platform's order.
    virtual std::vector<std::shared_ptr<RunningApplication>> runningApplications() = 0;
};

} // namespace glimmerwick
