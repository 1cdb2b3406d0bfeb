#pragma once

#include "Platform/Process.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace glimmerwick {

/// What the build fixes.
struct BuildConstants {
    /// A program that runs from below this folder uses the source tree's resources.
    std::filesystem::path buildDirectory;
    std::filesystem::path sourceResources;
    std::filesystem::path installedResources;
    /// Host of the content server when no key file names an address.
    std::string contentHost;
};

/// What the process finds around it.
struct ProcessSurroundings {
    std::map<std::string, std::string> environment;
    /// Absolute, symbolic links resolved; empty when unknown.
    std::filesystem::path executable;
    /// The home folder that the user database names; empty when it has no entry for this user.
    std::filesystem::path accountHome;
    /// As `uname -r` prints it.
    std::string kernelRelease;
};

/// Reads the real ones.
ProcessSurroundings currentSurroundings();

Process makeProcess(int argc, char** argv, const BuildConstants& build);
Process makeProcess(std::vector<std::string> arguments, const BuildConstants& build,
                    const ProcessSurroundings& surroundings);

/// The user's folder of this program's own configuration; need not exist.
std::filesystem::path configurationDirectory(const ProcessSurroundings& surroundings = currentSurroundings());

} // namespace glimmerwick
