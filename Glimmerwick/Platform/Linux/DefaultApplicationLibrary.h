#pragma once

#include "Models/Result.h"

#include <filesystem>
#include <string>

namespace glimmerwick {

/// Does what `openInDefaultApplication` tells.
using DefaultApplicationOpener = Result<Success, std::string>(const std::filesystem::path& file,
                                                              const char* contentType);

/// What the library that knows the user's applications has under the name "glimmerwickDefaultApplication". It
/// is loaded for something that few users ever need: GIO, which it asks, takes more than half a megabyte as
/// soon as it is loaded.
using DefaultApplicationEntry = DefaultApplicationOpener*();

} // namespace glimmerwick
