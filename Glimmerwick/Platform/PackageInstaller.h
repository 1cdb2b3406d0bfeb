#pragma once

#include "Models/Result.h"

#include <string>
#include <string_view>

namespace glimmerwick {

/// The system's own installer of packages. Main thread.
class PackageInstaller {
public:
    virtual ~PackageInstaller() = default;

    /// Keeps the package, where only this user can write, and opens it in the program that the system
    /// installs packages with; runs nothing of it. Earlier ones are removed. `fileName` is a plain name. The
    /// error is one sentence, and names the kept file when only the opening failed.
    virtual Result<Success, std::string> handOver(const std::string& fileName, std::string_view package) = 0;
};

} // namespace glimmerwick
