#include "Platform/Linux/ProcessInfo.h"

#include "Contract/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;

class ProcessInfoTests : public ::testing::Test {
protected:
    ProcessInfoTests()
    {
        std::filesystem::create_directories(root / "source/build/dev/bin");
        std::filesystem::create_directories(root / "source/Resources");
        surroundings.environment["HOME"] = "/home/someone";
        surroundings.accountHome = "/home/account";
        surroundings.kernelRelease = "6.1.0-18-amd64";
        surroundings.executable = root / "elsewhere/bin/glimmerwick";
    }

    Process process() const { return makeProcess({"glimmerwick"}, build, surroundings); }

    TemporaryFolder folder;
    path root = std::filesystem::canonical(folder.path());
    BuildConstants build{root / "source/build/dev", root / "source/Resources", "/usr/share/glimmerwick",
                         "content.example.invalid"};
    ProcessSurroundings surroundings;
};

TEST_F(ProcessInfoTests, foldersFollowHomeByDefault)
{
    EXPECT_EQ(process().cachesDirectory, "/home/someone/.cache");
    EXPECT_EQ(configurationDirectory(surroundings), "/home/someone/.config/Glimmerwick");
    EXPECT_EQ(process().keyFiles,
              (std::vector<path>{"/home/someone/.config/Glimmerwick/secrets.txt",
                                 "/usr/share/glimmerwick/secrets.txt"}));
}

TEST_F(ProcessInfoTests, absoluteBaseDirectoriesAreUsed)
{
    surroundings.environment["XDG_CACHE_HOME"] = "/caches";
    surroundings.environment["XDG_CONFIG_HOME"] = "/configuration";

    EXPECT_EQ(process().cachesDirectory, "/caches");
    EXPECT_EQ(configurationDirectory(surroundings), "/configuration/Glimmerwick");
    EXPECT_EQ(process().keyFiles.front(), "/configuration/Glimmerwick/secrets.txt");
}

TEST_F(ProcessInfoTests, relativeAndEmptyBaseDirectoriesAreIgnored)
{
    surroundings.environment["XDG_CACHE_HOME"] = "caches";
    surroundings.environment["XDG_CONFIG_HOME"] = "";

    EXPECT_EQ(process().cachesDirectory, "/home/someone/.cache");
    EXPECT_EQ(configurationDirectory(surroundings), "/home/someone/.config/Glimmerwick");
}

TEST_F(ProcessInfoTests, withoutHomeTheAccountsFolderCounts)
{
    surroundings.environment.erase("HOME");

    EXPECT_EQ(process().cachesDirectory, "/home/account/.cache");
}

TEST_F(ProcessInfoTests, withoutAnyHomeTheFoldersAreStillAbsolute)
{
    surroundings.environment.erase("HOME");
    surroundings.accountHome.clear();

    EXPECT_TRUE(process().cachesDirectory.is_absolute());
}

TEST_F(ProcessInfoTests, theResourcesVariableGoesBeforeAll)
{
    surroundings.executable = build.buildDirectory / "bin/glimmerwick";
    surroundings.environment["GLIMMERWICK_RESOURCES"] = "/chosen";

    EXPECT_EQ(process().resourcesDirectory, "/chosen");
    EXPECT_EQ(process().keyFiles.back(), "/chosen/secrets.txt");
}

TEST_F(ProcessInfoTests, fromTheBuildTreeTheSourceTreesResourcesAreUsed)
{
    surroundings.executable = build.buildDirectory / "bin/glimmerwick";

    EXPECT_EQ(process().resourcesDirectory, build.sourceResources);
}

TEST_F(ProcessInfoTests, aBuildTreeReachedThroughALinkIsStillTheBuildTree)
{
    std::filesystem::create_directory_symlink(build.buildDirectory, root / "link");
    surroundings.executable = build.buildDirectory / "bin/glimmerwick";
    build.buildDirectory = root / "link";

    EXPECT_EQ(process().resourcesDirectory, build.sourceResources);
}

TEST_F(ProcessInfoTests, aFolderThatOnlyBeginsLikeTheBuildTreeIsNone)
{
    surroundings.executable = path(build.buildDirectory.string() + "-copy") / "bin/glimmerwick";

    EXPECT_EQ(process().resourcesDirectory, "/usr/share/glimmerwick");
}

TEST_F(ProcessInfoTests, anInstallationThatWasMovedFindsItsResourcesBesideTheProgram)
{
    std::filesystem::create_directories(root / "elsewhere/share/glimmerwick");

    EXPECT_EQ(process().resourcesDirectory, root / "elsewhere/share/glimmerwick");
}

TEST_F(ProcessInfoTests, aBuildTreeWithoutItsSourcesFallsBackToTheInstallation)
{
    std::filesystem::remove(build.sourceResources);
    surroundings.executable = build.buildDirectory / "bin/glimmerwick";

    EXPECT_EQ(process().resourcesDirectory, "/usr/share/glimmerwick");
}

TEST_F(ProcessInfoTests, theKernelsReleaseBecomesThreeNumbers)
{
    const auto version = [this](const std::string& release) {
        surroundings.kernelRelease = release;
        const auto parsed = process().operatingSystemVersion;
        return std::vector<int>{parsed.major, parsed.minor, parsed.patch};
    };

    EXPECT_EQ(version("6.1.0-18-amd64"), (std::vector<int>{6, 1, 0}));
    EXPECT_EQ(version("5.15.167.4-custom"), (std::vector<int>{5, 15, 167}));
    EXPECT_EQ(version("6.9-rc1"), (std::vector<int>{6, 9, 0}));
    EXPECT_EQ(version("99999999999.1"), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(version(""), (std::vector<int>{0, 0, 0}));
}

TEST_F(ProcessInfoTests, theRestIsFixed)
{
    EXPECT_EQ(process().arguments, std::vector<std::string>{"glimmerwick"});
    EXPECT_EQ(process().bundleIdentifier, "com.glimmerwick.Glimmerwick");
    EXPECT_EQ(process().defaultContentAddress, "https://content.example.invalid");
}

TEST_F(ProcessInfoTests, theRealSurroundingsNameThisProgramAndSystem)
{
    const ProcessSurroundings real = currentSurroundings();

    EXPECT_TRUE(std::filesystem::is_regular_file(real.executable));
    EXPECT_GT(makeProcess({}, build, real).operatingSystemVersion.major, 0);
    EXPECT_EQ(real.environment.at("PATH"), std::getenv("PATH"));
}

} // namespace
} // namespace glimmerwick::contract
