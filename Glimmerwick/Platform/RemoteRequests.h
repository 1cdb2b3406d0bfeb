#pragma once

#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

enum class PickerAction { toggle, show, hide, about, checkForUpdates, quit };

/// What others may ask of the running program. Main thread.
class RemoteRequests {
public:
    virtual ~RemoteRequests() = default;

    virtual void perform(PickerAction action) = 0;

    /// What a further start was given on its command line, without the program's name. Nothing, or why it is
    /// refused.
    virtual std::optional<std::string> handleArguments(const std::vector<std::string>& arguments) = 0;
};

/// What others may know of it.
struct PickerState {
    /// And what is typed goes to the picker.
    bool isVisible = false;
    /// The catalogue is shown and can be searched without delay.
    bool isReady = false;

    bool operator==(const PickerState&) const = default;
};

} // namespace glimmerwick
