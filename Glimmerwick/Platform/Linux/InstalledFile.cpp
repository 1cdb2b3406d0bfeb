#include "Platform/Linux/InstalledFile.h"

#include <algorithm>
#include <string>
#include <system_error>

namespace glimmerwick {

namespace {

using std::filesystem::path;

path absolutePath(const ProcessSurroundings& surroundings, const char* variable)
{
    const auto found = surroundings.environment.find(variable);
    const path value = found == surroundings.environment.end() ? path() : path(found->second);
    return value.is_absolute() ? value : path();
}

bool liesBelow(const path& file, const path& folder)
{
    const auto [rest, inFile] = std::mismatch(folder.begin(), folder.end(), file.begin(), file.end());
    return rest == folder.end() && inFile != file.end();
}

} // namespace

// Programs that an AppImage starts inherit its variables, so that they alone prove nothing.
path installedFile(const ProcessSurroundings& surroundings)
{
    std::error_code error;
    const path image = absolutePath(surroundings, "APPIMAGE");
    const path contents = std::filesystem::canonical(absolutePath(surroundings, "APPDIR"), error);
    if (!error && std::filesystem::is_regular_file(image, error)
        && liesBelow(surroundings.executable, contents)) {
        return image;
    }
    return surroundings.executable;
}

} // namespace glimmerwick
