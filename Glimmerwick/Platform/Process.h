#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace glimmerwick {

struct OperatingSystemVersion {
    int major = 0;
    int minor = 0;
    int patch = 0;
};

/// What the process knows of itself; fixed at start-up.
struct Process {
    /// The program's name included.
    std::vector<std::string> arguments;
    std::string bundleIdentifier;
    OperatingSystemVersion operatingSystemVersion;
    /// The user's caches folder, without the program's own folder.
    std::filesystem::path cachesDirectory;
    /// Where the key file is looked for, in order.
    std::vector<std::filesystem::path> keyFiles;
    /// Where the installation's own data lies.
    std::filesystem::path resourcesDirectory;
    /// Scheme and host of the content server when no key file names one.
    std::string defaultContentAddress;
};

} // namespace glimmerwick
