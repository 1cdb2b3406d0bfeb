#include "Platform/Linux/WindowSystemLoader.h"

#include "Platform/Linux/PartLoader.h"
#include "Platform/WindowSystem.h"

namespace glimmerwick {

namespace {

const char* fileName(ToolkitRoute which)
{
    return which == ToolkitRoute::wayland ? "wayland.so" : "x11.so";
}

} // namespace

Result<WindowSystemLibrary*, std::string> loadWindowSystem(const std::filesystem::path& folder,
                                                           ToolkitRoute which)
{
    // A name without a folder would be looked for among the system's libraries.
    const auto file = std::filesystem::absolute(folder) / fileName(which);
    const auto entry = loadPart(file, "glimmerwickWindowSystem");
    if (!entry) {
        return Failure{entry.error()};
    }
    return &reinterpret_cast<WindowSystemEntry*>(entry.value())();
}

} // namespace glimmerwick
