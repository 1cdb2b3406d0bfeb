#pragma once

#include "Models/Result.h"
#include "Platform/SessionRoutes.h"

#include <filesystem>
#include <string>

namespace glimmerwick {

class WindowSystemLibrary;

/// Loads the library of a window system, which stays until the process ends. The error is a sentence without
/// the program's name. Main thread.
Result<WindowSystemLibrary*, std::string> loadWindowSystem(const std::filesystem::path& folder,
                                                           ToolkitRoute which);

} // namespace glimmerwick
