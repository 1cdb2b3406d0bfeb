#pragma once

#include "Models/Result.h"

#include <filesystem>
#include <string>

namespace glimmerwick {

/// Opens a file or folder in the application that this user opens things of its kind with, and waits for
/// nothing. `contentType` is a MIME type. The error is one line: there is no such application, or it cannot
/// be started. Main thread.
Result<Success, std::string> openInDefaultApplication(const std::filesystem::path& file,
                                                      const char* contentType);

} // namespace glimmerwick
