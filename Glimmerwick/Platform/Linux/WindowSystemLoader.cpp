#include "Platform/Linux/WindowSystemLoader.h"

#include "Platform/WindowSystem.h"

#include <dlfcn.h>

namespace glimmerwick {

namespace {

const char* fileName(ToolkitRoute which)
{
    return which == ToolkitRoute::wayland ? "wayland.so" : "x11.so";
}

std::string lastProblem()
{
    const char* problem = dlerror();
    return problem ? problem : "nobody says why";
}

} // namespace

Result<WindowSystemLibrary*, std::string> loadWindowSystem(const std::filesystem::path& folder,
                                                           ToolkitRoute which)
{
    // A name without a folder would be looked for among the system's libraries.
    const auto file = std::filesystem::absolute(folder) / fileName(which);
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        return Failure{"cannot load a part of the program: " + lastProblem()};
    }
    const auto entry = reinterpret_cast<WindowSystemEntry*>(dlsym(library, "glimmerwickWindowSystem"));
    if (!entry) {
        return Failure{"a part of the program is not what it should be: " + lastProblem()};
    }
    return &entry();
}

} // namespace glimmerwick
