#pragma once

#include "Models/Result.h"

#include <filesystem>
#include <string>

namespace glimmerwick {

/// Loads a library that is a part of this program, for good, and finds the function by which it is entered.
/// What only few users need stays out of everybody's memory, and so does what it is made with. The file's
/// path is absolute. The error is one line.
Result<void*, std::string> loadPart(const std::filesystem::path& file, const char* entryName);

} // namespace glimmerwick
