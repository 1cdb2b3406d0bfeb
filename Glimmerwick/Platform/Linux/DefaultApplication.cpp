#include "Platform/Linux/DefaultApplication.h"

#include "Platform/Linux/DefaultApplicationLibrary.h"
#include "Platform/Linux/PartLoader.h"
#include "Platform/Linux/PartsFolder.h"

namespace glimmerwick {

Result<Success, std::string> openInDefaultApplication(const std::filesystem::path& file,
                                                      const char* contentType)
{
    const auto entry = loadPart(partsFolder() / "applications.so", "glimmerwickDefaultApplication");
    if (!entry) {
        return Failure{entry.error()};
    }
    DefaultApplicationOpener* const open = reinterpret_cast<DefaultApplicationEntry*>(entry.value())();
    return open(file, contentType);
}

} // namespace glimmerwick
