#pragma once

#include "Platform/Linux/ProcessInfo.h"

#include <filesystem>

namespace glimmerwick {

/// The file that this installation consists of or starts from: the program itself, or the AppImage that it
/// runs from, whose contents lie elsewhere at every start. Empty when unknown.
std::filesystem::path installedFile(const ProcessSurroundings& surroundings = currentSurroundings());

} // namespace glimmerwick
