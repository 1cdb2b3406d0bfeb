#pragma once

#include "Platform/PackageInstaller.h"

#include <filesystem>

namespace glimmerwick {

/// Opens Debian packages in the application that this desktop installs them with.
///
/// A package lies in a folder which nobody else can enter, reached through no symbolic link, and cannot be
/// written again, so that what is installed is what was handed over. The installer's part that runs as root
/// reads it all the same.
class DebianPackageInstaller : public PackageInstaller {
public:
    /// Below the user's caches, `$XDG_CACHE_HOME`, which are made when they are missing.
    explicit DebianPackageInstaller(std::filesystem::path cachesDirectory);

    Result<Success, std::string> handOver(const std::string& fileName, std::string_view package) override;

private:
    const std::filesystem::path m_cachesDirectory;
};

} // namespace glimmerwick
