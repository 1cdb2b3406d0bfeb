#include "Platform/Linux/PartLoader.h"

#include <dlfcn.h>

namespace glimmerwick {

namespace {

std::string lastProblem()
{
    const char* problem = dlerror();
    return problem ? problem : "nobody says why";
}

} // namespace

Result<void*, std::string> loadPart(const std::filesystem::path& file, const char* entryName)
{
    void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (!library) {
        return Failure{"cannot load a part of the program: " + lastProblem()};
    }
    void* const entry = dlsym(library, entryName);
    if (!entry) {
        return Failure{"a part of the program is not what it should be: " + lastProblem()};
    }
    return entry;
}

} // namespace glimmerwick
