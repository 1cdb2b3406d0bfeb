#pragma once

#include <filesystem>

namespace glimmerwick {

/// Where this installation keeps the parts of the program that it loads or starts when it needs them.
/// Absolute; where the program's own place is unknown, the place that an installation has.
std::filesystem::path partsFolder();

} // namespace glimmerwick
