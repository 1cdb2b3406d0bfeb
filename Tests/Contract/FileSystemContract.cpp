#include "Platform/Linux/Files.h"

#include "Contract/TemporaryFolder.h"
#include "Fakes/FakeServices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct FakeFiles {
    fakes::FakeFileSystem fileSystem;
    std::filesystem::path root = "/files";
};

struct RealFiles {
    LocalFileSystem fileSystem;
    TemporaryFolder folder;
    std::filesystem::path root = folder.path();
};

template <typename Subject> class FileSystemContract : public ::testing::Test {
protected:
    Subject subject;
    FileSystem& files = subject.fileSystem;
    std::filesystem::path file = subject.root / "file";
};

using Subjects = ::testing::Types<FakeFiles, RealFiles>;
TYPED_TEST_SUITE(FileSystemContract, Subjects);

TYPED_TEST(FileSystemContract, whatIsWrittenIsRead)
{
    const std::string bytes("a\0b\xff\n", 5);

    ASSERT_TRUE(this->files.write(this->file, bytes));

    EXPECT_TRUE(this->files.exists(this->file));
    EXPECT_EQ(this->files.read(this->file).value(), bytes);
}

TYPED_TEST(FileSystemContract, writingReplacesLongerContents)
{
    ASSERT_TRUE(this->files.write(this->file, std::string(10'000, 'x')));

    ASSERT_TRUE(this->files.write(this->file, "short"));

    EXPECT_EQ(this->files.read(this->file).value(), "short");
}

TYPED_TEST(FileSystemContract, emptyContentsAreContents)
{
    ASSERT_TRUE(this->files.write(this->file, "old"));

    ASSERT_TRUE(this->files.write(this->file, ""));

    EXPECT_TRUE(this->files.exists(this->file));
    EXPECT_EQ(this->files.read(this->file).value(), "");
}

TYPED_TEST(FileSystemContract, whatIsRemovedIsGoneAndOnceIsEnough)
{
    ASSERT_TRUE(this->files.write(this->file, "contents"));

    ASSERT_TRUE(this->files.remove(this->file));
    ASSERT_TRUE(this->files.remove(this->file));

    EXPECT_FALSE(this->files.exists(this->file));
}

TYPED_TEST(FileSystemContract, whatIsNotThereFailsWithALineThatNamesIt)
{
    EXPECT_FALSE(this->files.exists(this->file));
    const auto read = this->files.read(this->file);
    const auto date = this->files.modificationDate(this->file);

    ASSERT_FALSE(read);
    EXPECT_THAT(read.error().description, HasSubstr("cannot read " + this->file.string()));
    ASSERT_FALSE(date);
    EXPECT_FALSE(this->files.setModificationDate(this->file, std::chrono::system_clock::now()));
}

TYPED_TEST(FileSystemContract, aFolderIsCreatedWithThoseAboveItAndExistsThen)
{
    const auto folder = this->subject.root / "a" / "b";

    ASSERT_TRUE(this->files.createDirectories(folder));
    ASSERT_TRUE(this->files.createDirectories(folder));

    EXPECT_TRUE(this->files.exists(folder));
}

TYPED_TEST(FileSystemContract, aModificationDateThatIsSetIsKeptToTheNanosecond)
{
    const std::chrono::system_clock::time_point date{std::chrono::sys_days{std::chrono::year{2001} / 2 / 3}
                                                     + 123456789ns};
    ASSERT_TRUE(this->files.write(this->file, "contents"));

    ASSERT_TRUE(this->files.setModificationDate(this->file, date));

    EXPECT_EQ(this->files.modificationDate(this->file).value(), date);
    EXPECT_EQ(this->files.read(this->file).value(), "contents");
}

TYPED_TEST(FileSystemContract, writingRenewsTheModificationDate)
{
    const std::chrono::system_clock::time_point old{std::chrono::sys_days{std::chrono::year{2001} / 2 / 3}};
    ASSERT_TRUE(this->files.write(this->file, "contents"));
    ASSERT_TRUE(this->files.setModificationDate(this->file, old));

    ASSERT_TRUE(this->files.write(this->file, "contents"));

    EXPECT_GT(this->files.modificationDate(this->file).value(), old);
}

TYPED_TEST(FileSystemContract, theFilesOfAFolderAreListedInOrderWithoutThoseBelow)
{
    const auto folder = this->subject.root / "folder";
    ASSERT_TRUE(this->files.createDirectories(folder / "below"));
    for (const char* const name : {"b", "a.png", "B", "below/inner"}) {
        ASSERT_TRUE(this->files.write(folder / name, "contents"));
    }

    EXPECT_THAT(this->files.regularFiles(folder).value(), ElementsAre("B", "a.png", "b"));
}

TYPED_TEST(FileSystemContract, anEmptyFolderHasNoFiles)
{
    const auto folder = this->subject.root / "folder";
    ASSERT_TRUE(this->files.createDirectories(folder));

    const auto names = this->files.regularFiles(folder);

    ASSERT_TRUE(names);
    EXPECT_THAT(names.value(), IsEmpty());
}

TYPED_TEST(FileSystemContract, listingAFolderThatIsNotThereFailsWithALineThatNamesIt)
{
    const auto folder = this->subject.root / "folder";

    const auto names = this->files.regularFiles(folder);

    ASSERT_FALSE(names);
    EXPECT_THAT(names.error().description, HasSubstr("cannot list folder " + folder.string()));
}

class LocalFileSystemTests : public ::testing::Test {
protected:
    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "file";
    LocalFileSystem files;
};

TEST_F(LocalFileSystemTests, datesBeforeTheEpochAreKept)
{
    const std::chrono::system_clock::time_point date = std::chrono::system_clock::time_point{} - 1500ms;
    ASSERT_TRUE(files.write(file, "contents"));

    ASSERT_TRUE(files.setModificationDate(file, date));

    EXPECT_EQ(files.modificationDate(file).value(), date);
}

TEST_F(LocalFileSystemTests, aFolderIsNotRead)
{
    const auto result = files.read(folder.path());

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().description, "cannot read " + folder.path().string() + ": Is a directory");
}

TEST_F(LocalFileSystemTests, aFifoFailsInsteadOfWaitingForItsOtherEnd)
{
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);

    EXPECT_FALSE(files.read(file));
    EXPECT_FALSE(files.write(file, "bytes"));
}

TEST_F(LocalFileSystemTests, aDeviceIsNotRead)
{
    const auto result = files.read("/dev/zero");

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().description, "cannot read /dev/zero: Not a regular file");
}

TEST_F(LocalFileSystemTests, aFileAboveTheLimitIsNotRead)
{
    ASSERT_TRUE(files.write(file, ""));
    ASSERT_EQ(::truncate(file.c_str(), static_cast<off_t>(LocalFileSystem::maximumReadSize) + 1), 0);

    const auto result = files.read(file);

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().description, "cannot read " + file.string() + ": File too large");
}

TEST_F(LocalFileSystemTests, aFileOfExactlyTheLimitIsRead)
{
    ASSERT_TRUE(files.write(file, ""));
    ASSERT_EQ(::truncate(file.c_str(), static_cast<off_t>(LocalFileSystem::maximumReadSize)), 0);

    EXPECT_EQ(files.read(file).value().size(), LocalFileSystem::maximumReadSize);
}

TEST_F(LocalFileSystemTests, aFileWhoseSizeIsNotKnownBeforehandIsReadToItsEnd)
{
    const auto result = files.read("/proc/self/status");

    ASSERT_TRUE(result);
    EXPECT_THAT(result.value(), HasSubstr("Pid:"));
}

TEST_F(LocalFileSystemTests, aFullDiskIsReported)
{
    const auto result = files.write("/dev/full", "bytes");

    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().description, "cannot write /dev/full: No space left on device");
}

TEST_F(LocalFileSystemTests, aNewFileThatCannotBeWrittenWholeIsNotLeftBehind)
{
    ASSERT_TRUE(files.write(folder.path() / "old", "old"));
    rlimit usual{};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &usual), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = usual;
    small.rlim_cur = 1000;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);

    const bool isNewWritten = files.write(file, std::string(5000, 'x')).isSuccess();
    const bool isOldWritten = files.write(folder.path() / "old", std::string(5000, 'x')).isSuccess();

    ::setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, handler);
    EXPECT_FALSE(isNewWritten);
    EXPECT_FALSE(files.exists(file));
    EXPECT_FALSE(isOldWritten);
    EXPECT_EQ(files.read(folder.path() / "old").value(), "old");
    EXPECT_THAT(files.regularFiles(folder.path()).value(), ElementsAre("old"));
}

TEST_F(LocalFileSystemTests, writingWhereNoFileCanBeFailsWithALineThatNamesIt)
{
    ASSERT_TRUE(files.write(file, "a file, no folder"));
    const auto below = file / "below";

    const auto written = files.write(below, "bytes");
    const auto created = files.createDirectories(below);

    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().description, "cannot write " + below.string() + ": Not a directory");
    ASSERT_FALSE(created);
    EXPECT_THAT(created.error().description, HasSubstr("cannot create folder " + below.string()));
    EXPECT_EQ(files.read(file).value(), "a file, no folder");
}

TEST_F(LocalFileSystemTests, linksFifosAndFoldersAreNotListed)
{
    ASSERT_TRUE(files.write(file, "contents"));
    std::filesystem::create_symlink(file, folder.path() / "link to a file");
    std::filesystem::create_symlink("nowhere", folder.path() / "link to nothing");
    std::filesystem::create_directory_symlink(folder.path(), folder.path() / "link to a folder");
    std::filesystem::create_directory(folder.path() / "folder");
    ASSERT_EQ(::mkfifo((folder.path() / "fifo").c_str(), 0600), 0);

    EXPECT_THAT(files.regularFiles(folder.path()).value(), ElementsAre("file"));
}

TYPED_TEST(FileSystemContract, plainFilesAndFoldersLeadThroughNoLink)
{
    const auto below = this->subject.root / "folder";
    ASSERT_TRUE(this->files.createDirectories(below));
    ASSERT_TRUE(this->files.write(below / "file", "contents"));

    EXPECT_FALSE(this->files.leadsThroughLink(this->subject.root, below));
    EXPECT_FALSE(this->files.leadsThroughLink(this->subject.root, below / "file"));
    EXPECT_FALSE(this->files.leadsThroughLink(this->subject.root, below / "missing"));
}

TEST_F(LocalFileSystemTests, aLinkIsNoticedWhereverItStandsAndLeads)
{
    const auto outside = folder.path() / "outside";
    const auto inside = folder.path() / "inside";
    std::filesystem::create_directory(outside);
    std::filesystem::create_directory(inside);
    ASSERT_TRUE(files.write(outside / "file", "contents"));
    std::filesystem::create_directory_symlink(outside, inside / "folder link");
    std::filesystem::create_symlink(outside / "file", inside / "file link");
    std::filesystem::create_symlink(outside / "missing", inside / "dangling link");

    EXPECT_TRUE(files.leadsThroughLink(inside, inside / "folder link"));
    EXPECT_TRUE(files.leadsThroughLink(inside, inside / "folder link" / "file"));
    EXPECT_TRUE(files.leadsThroughLink(inside, inside / "file link"));
    EXPECT_TRUE(files.leadsThroughLink(inside, inside / "dangling link"));
    EXPECT_FALSE(files.leadsThroughLink(inside / "folder link", inside / "folder link" / "file"));
}

TEST_F(LocalFileSystemTests, aFileHasNoFilesInIt)
{
    ASSERT_TRUE(files.write(file, "contents"));

    const auto names = files.regularFiles(file);

    ASSERT_FALSE(names);
    EXPECT_EQ(names.error().description, "cannot list folder " + file.string() + ": Not a directory");
}

TEST_F(LocalFileSystemTests, writingLeavesAloneWhatWasReadBefore)
{
    const auto link = folder.path() / "link";
    ASSERT_TRUE(files.write(file, "old"));
    std::filesystem::create_hard_link(file, link);

    ASSERT_TRUE(files.write(file, "new"));

    EXPECT_EQ(files.read(file).value(), "new");
    EXPECT_EQ(files.read(link).value(), "old");
    EXPECT_THAT(files.regularFiles(folder.path()).value(), ElementsAre("file", "link"));
}

TEST_F(LocalFileSystemTests, writingKeepsThePermissions)
{
    using std::filesystem::perms;
    ASSERT_TRUE(files.write(file, "old"));
    std::filesystem::permissions(file, perms::owner_read | perms::owner_write);

    ASSERT_TRUE(files.write(file, "new"));

    EXPECT_EQ(std::filesystem::status(file).permissions(), perms::owner_read | perms::owner_write);
}

TEST_F(LocalFileSystemTests, writingGoesThroughALink)
{
    const auto link = folder.path() / "link";
    ASSERT_TRUE(files.write(file, "old"));
    std::filesystem::create_symlink(file, link);

    ASSERT_TRUE(files.write(link, "new"));

    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(files.read(file).value(), "new");
}

} // namespace
} // namespace glimmerwick::contract
