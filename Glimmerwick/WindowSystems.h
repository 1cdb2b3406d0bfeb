#pragma once

#include "Platform/SessionRoutes.h"
#include "SessionProbe.h"

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

namespace glimmerwick {

class WindowSystemLibrary;

/// The libraries of the window systems, each loaded when it is first asked for. Main thread.
class WindowSystems {
public:
    /// Of the folder that has them. Gets one line for each that cannot be loaded.
    WindowSystems(std::filesystem::path folder, std::function<void(std::string_view)> reportProblem);

    /// Load what they look with. Must not outlive this.
    WindowSystemProbes probes();

    /// Closes what was opened to look and is not used. Those that were not looked with stay unloaded.
    void endProbing();

    /// Null when it cannot be loaded.
    WindowSystemLibrary* library(ToolkitRoute which);

private:
    void probe(ToolkitRoute which, SessionFacts& facts);

    const std::filesystem::path m_folder;
    const std::function<void(std::string_view)> m_reportProblem;
    /// What was tried.
    std::array<std::optional<WindowSystemLibrary*>, 2> m_libraries;
};

} // namespace glimmerwick
