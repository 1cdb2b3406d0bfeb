#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The whole file; the error names it.
Result<std::string, GeneratorError> readFile(const std::filesystem::path& path);

/// Writes beside the file and renames, so that an interrupted run leaves the old contents. A file that holds
/// these bytes already keeps its date.
Result<Success, GeneratorError> replaceFile(const std::filesystem::path& path, std::string_view bytes);

} // namespace glimmerwick
