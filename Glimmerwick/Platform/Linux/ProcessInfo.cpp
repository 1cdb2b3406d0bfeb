#include "Platform/Linux/ProcessInfo.h"

#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

using std::filesystem::path;

constexpr const char* folderName = "Glimmerwick";
constexpr const char* keyFileName = "secrets.txt";

std::string variable(const ProcessSurroundings& surroundings, const std::string& name)
{
    const auto found = surroundings.environment.find(name);
    return found != surroundings.environment.end() ? found->second : std::string();
}

/// The base directory rules ignore a relative value; an empty one counts as unset.
path absoluteFolder(const ProcessSurroundings& surroundings, const std::string& name)
{
    path folder = variable(surroundings, name);
    return folder.is_absolute() ? folder : path();
}

path homeDirectory(const ProcessSurroundings& surroundings)
{
    const path home = absoluteFolder(surroundings, "HOME");
    if (!home.empty()) {
        return home;
    }
    return surroundings.accountHome.is_absolute() ? surroundings.accountHome : path("/");
}

path baseDirectory(const ProcessSurroundings& surroundings, const std::string& name, const char* belowHome)
{
    const path folder = absoluteFolder(surroundings, name);
    return folder.empty() ? homeDirectory(surroundings) / belowHome : folder;
}

bool isFolder(const path& folder)
{
    std::error_code error;
    return std::filesystem::is_directory(folder, error);
}

bool liesBelow(const path& file, const path& folder)
{
    std::error_code error;
    const path relative = file.lexically_relative(std::filesystem::weakly_canonical(folder, error));
    return !relative.empty() && *relative.begin() != ".." && *relative.begin() != ".";
}

path resourcesDirectory(const BuildConstants& build, const ProcessSurroundings& surroundings)
{
    const path chosen = variable(surroundings, "GLIMMERWICK_RESOURCES");
    if (!chosen.empty()) {
        std::error_code error;
        return std::filesystem::absolute(chosen, error).lexically_normal();
    }
    const path& executable = surroundings.executable;
    if (!executable.empty()) {
        if (liesBelow(executable, build.buildDirectory) && isFolder(build.sourceResources)) {
            return build.sourceResources;
        }
        path besideProgram = executable.parent_path().parent_path() / "share" / "glimmerwick";
        if (isFolder(besideProgram)) {
            return besideProgram;
        }
    }
    return build.installedResources;
}

/// "6.1.0-18-amd64" is 6, 1, 0. What is missing or no number is 0.
OperatingSystemVersion parseKernelRelease(std::string_view release)
{
    OperatingSystemVersion version;
    const char* position = release.data();
    const char* const end = position + release.size();
    for (int* number : {&version.major, &version.minor, &version.patch}) {
        const auto [next, error] = std::from_chars(position, end, *number);
        if (error != std::errc() || next == end || *next != '.') {
            break;
        }
        position = next + 1;
    }
    return version;
}

std::map<std::string, std::string> readEnvironment()
{
    std::map<std::string, std::string> environment;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        const auto separator = text.find('=');
        if (separator != std::string_view::npos) {
            // The first of two equal names counts, as for getenv.
            environment.emplace(text.substr(0, separator), text.substr(separator + 1));
        }
    }
    return environment;
}

} // namespace

ProcessSurroundings currentSurroundings()
{
    ProcessSurroundings surroundings;
    surroundings.environment = readEnvironment();
    std::error_code error;
    surroundings.executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (const passwd* account = getpwuid(getuid()); account && account->pw_dir) {
        surroundings.accountHome = account->pw_dir;
    }
    utsname names{};
    if (uname(&names) == 0) {
        surroundings.kernelRelease = names.release;
    }
    return surroundings;
}

Process makeProcess(int argc, char** argv, const BuildConstants& build)
{
    return makeProcess(std::vector<std::string>(argv, argv + argc), build, currentSurroundings());
}

Process makeProcess(std::vector<std::string> arguments, const BuildConstants& build,
                    const ProcessSurroundings& surroundings)
{
    Process process;
    process.arguments = std::move(arguments);
    process.bundleIdentifier = "com.glimmerwick.Glimmerwick";
    process.operatingSystemVersion = parseKernelRelease(surroundings.kernelRelease);
    process.cachesDirectory = baseDirectory(surroundings, "XDG_CACHE_HOME", ".cache");
    process.resourcesDirectory = resourcesDirectory(build, surroundings);
    process.keyFiles = {configurationDirectory(surroundings) / keyFileName,
                        process.resourcesDirectory / keyFileName};
    process.defaultContentAddress = "https://" + build.contentHost;
    return process;
}

std::filesystem::path configurationDirectory(const ProcessSurroundings& surroundings)
{
    return baseDirectory(surroundings, "XDG_CONFIG_HOME", ".config") / folderName;
}

} // namespace glimmerwick
