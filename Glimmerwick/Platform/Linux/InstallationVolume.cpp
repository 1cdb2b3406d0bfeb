#include "Platform/Linux/InstallationVolume.h"

#include <utility>

#include <sys/statvfs.h>

namespace glimmerwick {

InstallationVolume::InstallationVolume(std::filesystem::path installedFile)
    : m_installedFile(std::move(installedFile))
{
}

std::optional<bool> InstallationVolume::isInstallationReadOnly()
{
    struct statvfs volume { };
    if (::statvfs(m_installedFile.c_str(), &volume) != 0) {
        return std::nullopt;
    }
    return (volume.f_flag & ST_RDONLY) != 0;
}

} // namespace glimmerwick
