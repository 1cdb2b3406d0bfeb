#pragma once

#include "Platform/Shell.h"

#include <filesystem>

namespace glimmerwick {

/// The volume on which one file lies.
class InstallationVolume : public VolumeInfo {
public:
    explicit InstallationVolume(std::filesystem::path installedFile);

    std::optional<bool> isInstallationReadOnly() override;

private:
    const std::filesystem::path m_installedFile;
};

} // namespace glimmerwick
