#include "Platform/Linux/InstallationVolume.h"

#include "Contract/TemporaryFolder.h"
#include "Platform/Linux/InstalledFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;

enum Outcome { readOnly = 10, writable, unknown, noMount };

Outcome outcome(const std::optional<bool>& isReadOnly)
{
    return !isReadOnly ? unknown : *isReadOnly ? readOnly : writable;
}

/// In this process, which ends afterwards: a volume of its own at the folder, with the file on it.
Outcome onVolume(const path& folder, const path& file, unsigned long flags)
{
    const bool isOwnSpace = ::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    if (!isOwnSpace || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0
        || ::mount("volume", folder.c_str(), "tmpfs", 0, nullptr) != 0) {
        return noMount;
    }
    std::ofstream(file) << "program";
    if (::mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | flags, nullptr) != 0) {
        return noMount;
    }
    return outcome(InstallationVolume(file).isInstallationReadOnly());
}

/// The same in a process of its own.
int inChild(const path& folder, const path& file, unsigned long flags)
{
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(onVolume(folder, file, flags));
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// Where this machine has mounted something for reading alone, as containers do that may mount nothing more.
std::optional<path> readOnlyMount()
{
    std::ifstream mounts("/proc/self/mountinfo");
    for (std::string line; std::getline(mounts, line);) {
        std::istringstream fields(line);
        std::string field;
        std::string mountPoint;
        std::string options;
        fields >> field >> field >> field >> field >> mountPoint >> options;
        if ((options + ",").starts_with("ro,")) {
            return mountPoint;
        }
    }
    return std::nullopt;
}

class InstallationVolumeTests : public ::testing::Test {
protected:
    TemporaryFolder folder;
    path root = std::filesystem::canonical(folder.path());
    path file = root / "program";
};

TEST_F(InstallationVolumeTests, aReadOnlyVolumeIsToldFromAWritableOne)
{
    const int onReadOnlyVolume = inChild(root, file, MS_RDONLY);
    if (onReadOnlyVolume != noMount) {
        EXPECT_EQ(onReadOnlyVolume, readOnly);
        EXPECT_EQ(inChild(root, file, 0), writable);
        return;
    }
    const auto mounted = readOnlyMount();
    ASSERT_TRUE(mounted) << "this machine allows no mount and has none that is read-only";
    EXPECT_EQ(outcome(InstallationVolume(*mounted).isInstallationReadOnly()), readOnly) << *mounted;
}

TEST_F(InstallationVolumeTests, aFileInATemporaryFolderLiesOnAWritableVolume)
{
    std::ofstream(file) << "program";

    EXPECT_EQ(InstallationVolume(file).isInstallationReadOnly(), std::optional(false));
}

TEST_F(InstallationVolumeTests, aFileThatIsNotThereTellsNothing)
{
    EXPECT_EQ(InstallationVolume(file).isInstallationReadOnly(), std::nullopt);
    EXPECT_EQ(InstallationVolume({}).isInstallationReadOnly(), std::nullopt);
}

class InstalledFileTests : public InstallationVolumeTests {
protected:
    InstalledFileTests()
    {
        std::filesystem::create_directories(root / "mounted/usr/bin");
        std::ofstream(root / "Glimmerwick.AppImage") << "image";
        surroundings.executable = root / "mounted/usr/bin/glimmerwick";
        surroundings.environment = {{"APPIMAGE", (root / "Glimmerwick.AppImage").string()},
                                    {"APPDIR", (root / "mounted").string()}};
    }

    ProcessSurroundings surroundings;
};

TEST_F(InstalledFileTests, aProgramOutOfAnImageIsInstalledAsTheImage)
{
    EXPECT_EQ(installedFile(surroundings), root / "Glimmerwick.AppImage");
    surroundings.environment["APPDIR"] += "/";
    EXPECT_EQ(installedFile(surroundings), root / "Glimmerwick.AppImage");
}

TEST_F(InstalledFileTests, aProgramStartedByOneOutOfAnImageIsNot)
{
    surroundings.executable = "/usr/bin/glimmerwick";
    EXPECT_EQ(installedFile(surroundings), "/usr/bin/glimmerwick");

    surroundings.executable = root / "mounted-too/glimmerwick";
    EXPECT_EQ(installedFile(surroundings), root / "mounted-too/glimmerwick");
}

TEST_F(InstalledFileTests, variablesWithoutSenseAreIgnored)
{
    const auto original = surroundings.environment;
    for (const auto& [variable, value] :
         {std::pair("APPIMAGE", "Glimmerwick.AppImage"),
          std::pair("APPIMAGE", "/nowhere/Glimmerwick.AppImage"), std::pair("APPIMAGE", ""),
          std::pair("APPDIR", ""), std::pair("APPDIR", "mounted"), std::pair("APPDIR", "/nowhere")}) {
        surroundings.environment = original;
        surroundings.environment[variable] = value;

        EXPECT_EQ(installedFile(surroundings), surroundings.executable) << variable << "=" << value;
    }
}

} // namespace
} // namespace glimmerwick::contract
