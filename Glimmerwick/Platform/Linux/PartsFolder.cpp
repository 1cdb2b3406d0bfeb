#include "Platform/Linux/PartsFolder.h"

#include "Platform/Linux/ProcessInfo.h"

namespace glimmerwick {

std::filesystem::path partsFolder()
{
    const auto executable = currentSurroundings().executable;
    return executable.empty() ? std::filesystem::path(GLIMMERWICK_INSTALLED_PARTS)
                              : (executable.parent_path() / GLIMMERWICK_PARTS).lexically_normal();
}

} // namespace glimmerwick
