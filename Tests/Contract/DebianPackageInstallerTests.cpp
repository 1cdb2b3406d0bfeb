#include "Platform/Linux/DebianPackageInstaller.h"

#include "Contract/Eventually.h"
#include "Contract/RecordingApplication.h"
#include "Contract/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using std::filesystem::perms;
using ::testing::HasSubstr;

const std::string packageType = "application/vnd.debian.binary-package";

perms permissions(const path& file)
{
    return std::filesystem::symlink_status(file).permissions();
}

class DebianPackageInstallerTests : public ::testing::Test {
protected:
    /// Until the application, which has been set up or removed just now, is known or forgotten.
    bool handsOver(const std::string& name, const std::string& package)
    {
        return eventually([&] { return installer.handOver(name, package).isSuccess(); });
    }
    bool isRefused(const std::string& name = "a.deb") { return !installer.handOver(name, "package"); }

    TemporaryFolder folder;
    path caches = folder.path() / "caches";
    path packages = caches / "Glimmerwick" / "updates";
    DebianPackageInstaller installer{caches};
};

TEST_F(DebianPackageInstallerTests, thePackageIsOpenedByTheApplicationForPackages)
{
    const RecordingApplication application(packageType);
    const std::string package("!<arch>\n\0\xff binary", 17);

    ASSERT_TRUE(handsOver("glimmerwick_0.2.0_amd64.deb", package));

    const path kept = packages / "glimmerwick_0.2.0_amd64.deb";
    EXPECT_TRUE(eventually([&] { return application.record() == kept.string() + "\n"; }))
        << application.record();
    EXPECT_EQ(contentsOf(kept), package);
}

TEST_F(DebianPackageInstallerTests, nobodyElseReachesThePackageAndNobodyWritesOrRunsIt)
{
    static_cast<void>(installer.handOver("a.deb", "package"));

    EXPECT_EQ(permissions(packages), perms::owner_all);
    EXPECT_EQ(permissions(packages / "a.deb"), perms::owner_read);
}

TEST_F(DebianPackageInstallerTests, withoutAnApplicationForPackagesTheErrorNamesTheKeptFile)
{
    const path kept = packages / "a.deb";
    std::string error;
    ASSERT_TRUE(eventually([&] {
        const auto handedOver = installer.handOver("a.deb", "package");
        error = handedOver ? "" : handedOver.error();
        return !handedOver;
    }));

    EXPECT_EQ(error,
              "The package is kept as " + kept.string()
                  + ", but could not be opened: no application is set up to open " + packageType + ".");
    EXPECT_EQ(contentsOf(kept), "package");
}

TEST_F(DebianPackageInstallerTests, earlierPackagesAreRemovedAndNothingElse)
{
    writeFile(folder.path() / "outside", "untouched");
    writeFile(packages / "old.deb", "old");
    writeFile(packages / "a.deb", "an earlier one of the same name");
    writeFile(packages / "folder" / "inside", "untouched");
    std::filesystem::create_symlink(folder.path() / "outside", packages / "link.deb");

    static_cast<void>(installer.handOver("a.deb", "package"));

    EXPECT_FALSE(std::filesystem::exists(packages / "old.deb"));
    EXPECT_FALSE(std::filesystem::is_symlink(packages / "link.deb"));
    EXPECT_EQ(contentsOf(packages / "a.deb"), "package");
    EXPECT_EQ(contentsOf(packages / "folder" / "inside"), "untouched");
    EXPECT_EQ(contentsOf(folder.path() / "outside"), "untouched");
}

TEST_F(DebianPackageInstallerTests, aLinkInPlaceOfThePackageIsReplacedAndNotWrittenThrough)
{
    writeFile(folder.path() / "outside", "untouched");
    std::filesystem::create_directories(packages);
    std::filesystem::create_symlink(folder.path() / "outside", packages / "a.deb");

    static_cast<void>(installer.handOver("a.deb", "package"));

    EXPECT_EQ(contentsOf(folder.path() / "outside"), "untouched");
    EXPECT_FALSE(std::filesystem::is_symlink(packages / "a.deb"));
    EXPECT_EQ(contentsOf(packages / "a.deb"), "package");
}

TEST_F(DebianPackageInstallerTests, foldersThatAreLinksAreRefused)
{
    const path elsewhere = folder.path() / "elsewhere";
    writeFile(elsewhere / "updates" / "mine", "untouched");
    for (const path& link : {caches / "Glimmerwick", packages}) {
        std::filesystem::remove_all(caches);
        std::filesystem::create_directories(link.parent_path());
        std::filesystem::create_directory_symlink(elsewhere, link);

        const auto handedOver = installer.handOver("a.deb", "package");

        ASSERT_FALSE(handedOver) << link;
        EXPECT_THAT(handedOver.error(),
                    HasSubstr("The package cannot be kept in " + packages.string() + ": "));
    }
    EXPECT_EQ(contentsOf(elsewhere / "updates" / "mine"), "untouched");
    EXPECT_FALSE(std::filesystem::exists(elsewhere / "a.deb"));
    EXPECT_FALSE(std::filesystem::exists(elsewhere / "updates" / "a.deb"));
}

TEST_F(DebianPackageInstallerTests, foldersThatOthersCouldWriteInAreClosedToThem)
{
    std::filesystem::create_directories(packages);
    std::filesystem::permissions(packages, perms::all);
    std::filesystem::permissions(caches / "Glimmerwick", perms::all);

    static_cast<void>(installer.handOver("a.deb", "package"));

    EXPECT_EQ(permissions(packages), perms::owner_all);
    EXPECT_EQ(permissions(caches / "Glimmerwick") & (perms::group_write | perms::others_write), perms::none);
    EXPECT_EQ(contentsOf(packages / "a.deb"), "package");
}

TEST_F(DebianPackageInstallerTests, cachesInWhichEverybodyExchangesFoldersAreRefused)
{
    std::filesystem::create_directories(caches);
    std::filesystem::permissions(caches, perms::all);

    EXPECT_TRUE(isRefused());

    EXPECT_FALSE(std::filesystem::exists(caches / "Glimmerwick"));
}

/// Only root can give folders away, and only root can write into those of others.
TEST_F(DebianPackageInstallerTests, cachesOfSomebodyElseAreRefused)
{
    constexpr uid_t somebodyElse = 65534;
    std::filesystem::create_directories(caches);
    if (::chown(caches.c_str(), somebodyElse, static_cast<gid_t>(-1)) != 0) {
        ASSERT_NE(::geteuid(), 0U);
        return;
    }

    EXPECT_TRUE(isRefused());

    EXPECT_FALSE(std::filesystem::exists(caches / "Glimmerwick"));
}

TEST_F(DebianPackageInstallerTests, namesThatLeadElsewhereAreRefused)
{
    for (const std::string& name :
         {std::string(), std::string("."), std::string(".."), std::string("../a.deb"), std::string("/a.deb"),
          std::string("a/b.deb"), std::string(".a.deb"), std::string("a\0.deb", 6)}) {
        const auto handedOver = installer.handOver(name, "package");

        ASSERT_FALSE(handedOver) << name;
        EXPECT_THAT(handedOver.error(), HasSubstr("cannot be kept")) << name;
    }
    EXPECT_FALSE(std::filesystem::exists(caches / "Glimmerwick"));
}

TEST_F(DebianPackageInstallerTests, aFileInPlaceOfAFolderIsAnError)
{
    writeFile(caches, "no folder");

    const auto handedOver = installer.handOver("a.deb", "package");

    ASSERT_FALSE(handedOver);
    EXPECT_EQ(handedOver.error(),
              "The package cannot be kept in " + packages.string() + ": Not a directory.");
}

TEST_F(DebianPackageInstallerTests, aPackageThatCannotBeWrittenWholeIsNotLeftBehind)
{
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = usual;
    small.rlim_cur = 1000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);

    const auto handedOver = installer.handOver("a.deb", std::string(5000, 'x'));

    ::setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, handler);
    ASSERT_FALSE(handedOver);
    EXPECT_EQ(handedOver.error(), "The package cannot be kept in " + packages.string() + ": File too large.");
    EXPECT_FALSE(std::filesystem::exists(packages / "a.deb"));
}

} // namespace
} // namespace glimmerwick::contract
