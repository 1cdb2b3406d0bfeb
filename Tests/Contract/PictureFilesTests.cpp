#include "Platform/Linux/PictureFiles.h"

#include "Contract/Eventually.h"
#include "Contract/TemporaryFolder.h"
#include "Fakes/FakeTime.h"
#include "Platform/Linux/DispatchQueues.h"
#include "Platform/Linux/OpenPictureFiles.h"
#include "Platform/Linux/PictureFileFormat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/fsuid.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glimmerwick::contract {
namespace {

using std::filesystem::path;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Pixels = std::vector<std::byte>;

/// One start of the program: a store that writes when the test says so.
class Start {
public:
    explicit Start(const path& folder, PictureFolder::Limits limits = {})
        : m_store(
            folder, m_time, [this](std::string_view problem) { problems.emplace_back(problem); }, limits)
    {
    }

    void keep(const PictureKind& kind, std::string_view text, int value)
    {
        m_store.write(kind, text, Pixels(kind.byteCount, static_cast<std::byte>(value)));
        m_time.runUntilIdle();
    }

    /// Nothing, -1, when there is no picture.
    int read(const PictureKind& kind, std::string_view text)
    {
        Pixels pixels(kind.byteCount);
        if (!m_store.read(kind, text, pixels)) {
            return -1;
        }
        EXPECT_EQ(pixels, Pixels(kind.byteCount, pixels.front()));
        return static_cast<int>(pixels.front());
    }

    bool contains(const PictureKind& kind, std::string_view text) { return m_store.contains(kind, text); }
    PictureStore& store() { return m_store; }
    fakes::FakeTime& time() { return m_time; }

    std::vector<std::string> problems;

private:
    fakes::FakeTime m_time;
    PictureFiles m_store;
};

/// For the thread alone, and for files alone: as a user whom they do not belong to, if this is the superuser,
/// who may write everything.
class WithoutPrivileges {
public:
    /// The user can still reach the folder: who makes folders for tests may let nobody else into them.
    explicit WithoutPrivileges(const std::filesystem::path& folder)
    {
        for (auto above = folder; above != above.root_path(); above = above.parent_path()) {
            std::error_code refused;
            std::filesystem::permissions(
                above, std::filesystem::perms::group_exec | std::filesystem::perms::others_exec,
                std::filesystem::perm_options::add, refused);
        }
        m_user = ::setfsuid(nobody);
    }
    ~WithoutPrivileges() { ::setfsuid(static_cast<uid_t>(m_user)); }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

private:
    static constexpr uid_t nobody = 65534;
    int m_user;
};

/// Files cannot get longer than this, as if the disk were full.
class LimitedFileSize {
public:
    explicit LimitedFileSize(rlim_t bytes) : m_handler(std::signal(SIGXFSZ, SIG_IGN))
    {
        ::getrlimit(RLIMIT_FSIZE, &m_usual);
        rlimit limited = m_usual;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~LimitedFileSize()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_usual);
        std::signal(SIGXFSZ, m_handler);
    }
    LimitedFileSize(const LimitedFileSize&) = delete;
    LimitedFileSize& operator=(const LimitedFileSize&) = delete;

private:
    rlimit m_usual{};
    void (*m_handler)(int);
};

class PictureFilesTests : public ::testing::Test {
protected:
    static constexpr std::uint32_t headCount = PictureFolder::Limits().picturesPerFile;

    /// The store is to keep this many in a file.
    static PictureFolder::Limits few(std::uint32_t picturesPerFile)
    {
        PictureFolder::Limits limits;
        limits.picturesPerFile = picturesPerFile;
        return limits;
    }

    static PictureKind detailed(const std::string& detail) { return {"maker", detail, 1'000}; }

    std::string contents() const
    {
        std::ifstream stream(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    void patch(std::uint64_t offset, std::string_view bytes) const
    {
        std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(static_cast<std::streamoff>(offset));
        stream << bytes;
        ASSERT_TRUE(stream.flush());
    }

    /// Where the text's head stands in a file that has it.
    std::uint64_t headOffset(std::string_view text) const
    {
        const auto head = PictureHead::of(text);
        const std::string bytes = contents();
        const std::size_t found = bytes.find(std::string(head->text.data(), head->text.size()));
        EXPECT_NE(found, std::string::npos);
        return found - offsetof(PictureHead, text);
    }

    std::uint64_t pixelOffset(std::uint32_t number, std::uint32_t heads = headCount) const
    {
        return PictureFileHeader::of(kind, heads)->pictureOffset(number);
    }

    /// That belong to the same place in the table.
    static std::vector<std::string> textsOfOneHome(std::size_t count)
    {
        const std::uint32_t home = PictureHead::of("0")->homePlace(headCount);
        std::vector<std::string> texts{"0"};
        for (int number = 1; texts.size() < count; ++number) {
            if (PictureHead::of(std::to_string(number))->homePlace(headCount) == home) {
                texts.push_back(std::to_string(number));
            }
        }
        return texts;
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(drawn)) {
            found.push_back(entry.path().filename().string());
        }
        return found;
    }

    void setLastUse(const std::string& name, time_t seconds) const
    {
        const timespec times[] = {{0, UTIME_OMIT}, {seconds, 0}};
        ASSERT_EQ(::utimensat(AT_FDCWD, (drawn / name).c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
    }

    static std::size_t openDescriptors()
    {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
    }

    TemporaryFolder folder;
    const path drawn = folder.path() / "cache" / "Drawn";
    const PictureKind kind{"font and toolkit", "36/40@1", 1'000};
    const path file = drawn / "36%2f40@1.pictures";
};

TEST_F(PictureFilesTests, picturesOutliveTheProgram)
{
    Start(drawn).keep(kind, "😀", 1);
    {
        Start second(drawn);
        EXPECT_TRUE(second.contains(kind, "😀"));
        EXPECT_EQ(second.read(kind, "😀"), 1);
        second.keep(kind, "👍", 2);
    }

    Start third(drawn);
    EXPECT_EQ(third.read(kind, "😀"), 1);
    EXPECT_EQ(third.read(kind, "👍"), 2);
    EXPECT_THAT(names(), ElementsAre("36%2f40@1.pictures"));
}

TEST_F(PictureFilesTests, folderAndFileAreTheUsersAlone)
{
    Start(drawn).keep(kind, "😀", 1);

    struct stat status { };
    ASSERT_EQ(::stat(drawn.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700u);
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST_F(PictureFilesTests, readingMakesNoFile)
{
    Start start(drawn);

    EXPECT_FALSE(start.contains(kind, "😀"));
    EXPECT_EQ(start.read(kind, "😀"), -1);

    EXPECT_FALSE(std::filesystem::exists(drawn));
}

TEST_F(PictureFilesTests, picturesLieCloseTogether)
{
    Start start(drawn);
    for (int number = 0; number < 20; ++number) {
        start.keep(kind, std::to_string(number), number);
        start.keep(kind, std::to_string(number), number);
    }

    EXPECT_EQ(std::filesystem::file_size(file), pixelOffset(20));
}

TEST_F(PictureFilesTests, everyDamagedByteOfTheHeaderCostsThePicturesAndNoMore)
{
    Start(drawn).keep(kind, "😀", 1);
    const std::string whole = contents();
    for (const std::size_t offset : {0u, 8u, 12u, 16u, 24u, 28u, 32u, 47u, 48u, 3000u, 3840u, 3846u, 4095u}) {
        const char damaged = static_cast<char>(whole[offset] ^ 0x10);
        patch(offset, std::string(1, damaged));

        Start start(drawn);
        EXPECT_FALSE(start.contains(kind, "😀")) << offset;
        EXPECT_EQ(start.read(kind, "😀"), -1) << offset;
        patch(offset, whole.substr(offset, 1));
    }

    EXPECT_EQ(Start(drawn).read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aFileWithADamagedHeaderIsBegunAnew)
{
    Start(drawn).keep(kind, "😀", 1);
    patch(0, "damage");

    Start start(drawn);
    start.keep(kind, "👍", 2);

    EXPECT_EQ(start.read(kind, "👍"), 2);
    EXPECT_FALSE(start.contains(kind, "😀"));
    EXPECT_THAT(names(), ElementsAre("36%2f40@1.pictures"));
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, everyDamagedByteOfAHeadCostsItsPicture)
{
    Start(drawn).keep(kind, "😀", 1);
    const std::string whole = contents();
    const std::uint64_t head = headOffset("😀");
    for (std::uint64_t offset = head; offset < head + sizeof(PictureHead); ++offset) {
        const char damaged = static_cast<char>(whole[offset] ^ 0x10);
        patch(offset, std::string(1, damaged));

        EXPECT_EQ(Start(drawn).read(kind, "😀"), -1) << offset - head;
        patch(offset, whole.substr(offset, 1));
    }

    EXPECT_EQ(Start(drawn).read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aDamagedHeadIsReplacedAndLeavesTheOthersAlone)
{
    Start first(drawn);
    first.keep(kind, "😀", 1);
    first.keep(kind, "👍", 2);
    patch(headOffset("😀") + 4, "damage");

    EXPECT_FALSE(first.contains(kind, "😀"));
    EXPECT_EQ(first.read(kind, "👍"), 2);
    first.keep(kind, "😀", 3);

    EXPECT_EQ(first.read(kind, "😀"), 3);
    EXPECT_EQ(first.read(kind, "👍"), 2);
}

TEST_F(PictureFilesTests, aHeadOfAnotherKindIsNoneOfThisOne)
{
    PictureKind other = kind;
    other.detail = "48/40@1";
    Start start(drawn);
    start.keep(other, "😀", 1);
    start.keep(kind, "👍", 2);
    const path otherFile = drawn / "48%2f40@1.pictures";

    const std::string header = contents().substr(0, sizeof(PictureFileHeader));
    std::filesystem::copy_file(otherFile, file, std::filesystem::copy_options::overwrite_existing);
    patch(0, header);

    EXPECT_EQ(Start(drawn).read(kind, "😀"), -1);
}

TEST_F(PictureFilesTests, aPictureWithDamagedPixelsIsNotReadUntilItIsWrittenAgain)
{
    Start start(drawn);
    start.keep(kind, "😀", 1);
    patch(pixelOffset(0) + kind.byteCount - 1, "x");

    EXPECT_TRUE(start.contains(kind, "😀"));
    EXPECT_EQ(start.read(kind, "😀"), -1);
    start.keep(kind, "😀", 1);

    EXPECT_EQ(start.read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aFileThatIsCutShortAnywhereCostsWhatIsMissing)
{
    {
        Start start(drawn);
        start.keep(kind, "😀", 1);
        start.keep(kind, "👍", 2);
    }
    Start reader(drawn);
    ASSERT_EQ(reader.read(kind, "👍"), 2);
    const std::uint64_t end = pixelOffset(2);
    for (const std::uint64_t size :
         {end - 1, end - 999, end - 1000, end - 1001, pixelOffset(0), pixelOffset(0) - 1, std::uint64_t{5000},
          std::uint64_t{4096}, std::uint64_t{4095}, std::uint64_t{1}, std::uint64_t{0}}) {
        ASSERT_EQ(::truncate(file.c_str(), static_cast<off_t>(size)), 0);

        EXPECT_EQ(reader.read(kind, "👍"), -1) << size;
        const bool isFirstWhole = size >= pixelOffset(1);
        EXPECT_EQ(reader.read(kind, "😀"), isFirstWhole ? 1 : -1) << size;
        EXPECT_EQ(Start(drawn).read(kind, "😀"), isFirstWhole ? 1 : -1) << size;
    }

    reader.keep(kind, "👍", 3);
    EXPECT_EQ(reader.read(kind, "👍"), 3);
    EXPECT_EQ(Start(drawn).read(kind, "👍"), 3);
}

TEST_F(PictureFilesTests, picturesThatWereCutOffAreWrittenAgainWithoutHarmToTheOthers)
{
    {
        Start start(drawn);
        start.keep(kind, "😀", 1);
        start.keep(kind, "👍", 2);
        start.keep(kind, "🚀", 3);
    }
    ASSERT_EQ(::truncate(file.c_str(), static_cast<off_t>(pixelOffset(1) + 7)), 0);

    Start start(drawn);
    start.keep(kind, "🚀", 4);
    start.keep(kind, "👍", 5);

    EXPECT_EQ(start.read(kind, "😀"), 1);
    EXPECT_EQ(start.read(kind, "👍"), 5);
    EXPECT_EQ(start.read(kind, "🚀"), 4);
}

TEST_F(PictureFilesTests, aFileThatIsLongerThanItCanGetIsBegunAnew)
{
    Start(drawn).keep(kind, "😀", 1);
    ASSERT_EQ(::truncate(file.c_str(), static_cast<off_t>(pixelOffset(headCount) + 1)), 0);

    Start start(drawn);
    EXPECT_EQ(start.read(kind, "😀"), 1);
    start.keep(kind, "👍", 2);

    EXPECT_EQ(start.read(kind, "👍"), 2);
    EXPECT_EQ(std::filesystem::file_size(file), pixelOffset(1));
}

TEST_F(PictureFilesTests, picturesOfAnEarlierMakerAreGoneOnceTheNextHasSome)
{
    PictureKind sameDetail = kind;
    sameDetail.maker = "updated font";
    PictureKind otherDetail = sameDetail;
    otherDetail.detail = "48/40@1";
    {
        Start start(drawn);
        start.keep(kind, "😀", 1);
        start.keep({kind.maker, "other", 500}, "😀", 1);
    }

    Start start(drawn);
    EXPECT_FALSE(start.contains(sameDetail, "😀"));
    start.keep(otherDetail, "😀", 2);
    EXPECT_THAT(names(), ElementsAre("48%2f40@1.pictures"));
    start.keep(sameDetail, "😀", 3);

    EXPECT_THAT(names(), UnorderedElementsAre("48%2f40@1.pictures", "36%2f40@1.pictures"));
    EXPECT_EQ(start.read(sameDetail, "😀"), 3);
    EXPECT_EQ(start.read(otherDetail, "😀"), 2);
    EXPECT_EQ(Start(drawn).read(kind, "😀"), -1);
}

TEST_F(PictureFilesTests, aStoreThatHasReadPicturesOfOneMakerWritesThoseOfAnother)
{
    PictureKind updated = kind;
    updated.maker = "updated font";
    Start start(drawn);
    start.keep(kind, "😀", 1);
    ASSERT_EQ(start.read(kind, "😀"), 1);

    start.keep(updated, "😀", 2);
    EXPECT_EQ(start.read(updated, "😀"), 2);
    start.keep(kind, "😀", 3);

    EXPECT_EQ(start.read(kind, "😀"), 3);
    EXPECT_EQ(start.read(updated, "😀"), -1);
}

TEST_F(PictureFilesTests, filesOfAnotherVersionAreRemovedAndStrangersLeftAlone)
{
    Start(drawn).keep(detailed("other"), "😀", 1);
    std::ofstream(drawn / "notes.txt") << "not of pictures";
    std::filesystem::create_symlink(drawn / "notes.txt", drawn / "link.pictures");
    const path other = drawn / "other.pictures";
    std::filesystem::rename(other, file);
    patch(offsetof(PictureFileHeader, version), "\x7f");
    std::filesystem::rename(file, other);

    Start(drawn).keep(detailed("own"), "😀", 1);

    EXPECT_THAT(names(), UnorderedElementsAre("own.pictures", "notes.txt", "link.pictures"));
}

TEST_F(PictureFilesTests, whatAKilledProgramLeftIsRemoved)
{
    std::filesystem::create_directories(drawn);
    std::ofstream(drawn / "36%2f40@1.pictures.new") << "half a header";
    std::ofstream(drawn / "other.pictures.new") << "half a header";

    Start(drawn).keep(kind, "😀", 1);

    EXPECT_THAT(names(), ElementsAre("36%2f40@1.pictures"));
    EXPECT_EQ(Start(drawn).read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, detailsThatLookAlikeHaveFilesOfTheirOwn)
{
    Start start(drawn);
    const std::vector<std::string> details{"",  "a/b", "a%2fb", "a_b", "..", ".", std::string("\0", 1),
                                           "ä", "A/B", "a\nb"};
    for (std::size_t index = 0; index < details.size(); ++index) {
        start.keep(detailed(details[index]), "😀", static_cast<int>(index));
        EXPECT_EQ(start.read(detailed(details[index]), "😀"), static_cast<int>(index)) << index;
    }

    EXPECT_THAT(start.problems, IsEmpty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path() / "cache"), {}), 1);
}

TEST_F(PictureFilesTests, kindsThatAreTooLongAreDroppedInSilence)
{
    const PictureKind longMaker{std::string(3809, 'm'), "detail", 1'000};
    const PictureKind longDetail{"maker", std::string(300, 'd'), 1'000};
    const PictureKind longName{"maker", std::string(100, '/'), 1'000};
    const PictureKind longest{std::string(3808, 'm'), std::string(200, 'd'), 1'000};
    Start start(drawn);
    for (const PictureKind& dropped : {longMaker, longDetail, longName}) {
        start.keep(dropped, "😀", 1);
        EXPECT_FALSE(start.contains(dropped, "😀"));
    }
    start.keep(longest, "😀", 1);

    EXPECT_EQ(start.read(longest, "😀"), 1);
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, aFullTableKeepsWhatItHas)
{
    Start start(drawn, few(4));
    for (int number = 0; number < 6; ++number) {
        start.keep(kind, std::to_string(number), number);
    }

    for (int number = 0; number < 6; ++number) {
        EXPECT_EQ(start.read(kind, std::to_string(number)), number < 4 ? number : -1) << number;
    }
    EXPECT_EQ(std::filesystem::file_size(file), pixelOffset(4, 4));
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, textsWithTheSameHomeHaveTheirOwnPictures)
{
    const std::vector<std::string> texts = textsOfOneHome(40);
    Start start(drawn);
    for (std::size_t index = 0; index < texts.size(); ++index) {
        start.keep(kind, texts[index], static_cast<int>(index));
    }

    for (std::size_t index = 0; index < texts.size(); ++index) {
        EXPECT_EQ(start.read(kind, texts[index]), static_cast<int>(index));
    }
}

TEST_F(PictureFilesTests, aTextIsFoundBehindADamagedHeadOfAnother)
{
    const std::vector<std::string> texts = textsOfOneHome(3);
    Start start(drawn);
    for (std::size_t index = 0; index < texts.size(); ++index) {
        start.keep(kind, texts[index], static_cast<int>(index));
    }
    patch(headOffset(texts[0]) + offsetof(PictureHead, number), "damage");

    EXPECT_EQ(start.read(kind, texts[1]), 1);
    EXPECT_EQ(start.read(kind, texts[2]), 2);
    start.keep(kind, texts[2], 3);
    EXPECT_EQ(start.read(kind, texts[2]), 3);
    start.keep(kind, texts[0], 4);
    EXPECT_EQ(start.read(kind, texts[0]), 4);
}

TEST_F(PictureFilesTests, aFileThatReplacedPicturesHaveFilledIsBegunAnew)
{
    {
        Start start(drawn, few(4));
        for (int value = 0; value < 6; ++value) {
            start.keep(kind, "😀", value);
        }
        EXPECT_EQ(start.read(kind, "😀"), 3);
    }

    Start start(drawn, few(4));
    start.keep(kind, "😀", 7);

    EXPECT_EQ(start.read(kind, "😀"), 7);
    EXPECT_EQ(std::filesystem::file_size(file), pixelOffset(1, 4));
}

TEST_F(PictureFilesTests, aTableOfGarbageHoldsNoPictureAndTakesNewOnes)
{
    Start(drawn).keep(kind, "😀", 1);
    patch(sizeof(PictureFileHeader), std::string(headCount * sizeof(PictureHead), 'g'));

    Start start(drawn);
    EXPECT_FALSE(start.contains(kind, "😀"));
    start.keep(kind, "😀", 2);

    EXPECT_EQ(start.read(kind, "😀"), 2);
}

TEST_F(PictureFilesTests, aFolderThatCannotBeWrittenIsToldOfOnce)
{
    std::filesystem::create_directories(drawn);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(drawn.c_str(), 0555), 0);
    Start start(drawn);
    {
        const WithoutPrivileges scope(drawn.parent_path());
        start.keep(kind, "😀", 1);
        start.keep(kind, "👍", 2);

        EXPECT_FALSE(start.contains(kind, "😀"));
    }
    ASSERT_EQ(::chmod(drawn.c_str(), 0755), 0);

    EXPECT_THAT(start.problems,
                ElementsAre("cannot keep pictures in " + file.string() + ": Permission denied"));
    start.keep(kind, "😀", 1);
    EXPECT_EQ(start.read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aFolderThatCannotBeMadeIsToldOfOnce)
{
    std::ofstream(folder.path() / "cache") << "a file, no folder";
    Start start(drawn);
    start.keep(kind, "😀", 1);
    start.keep(detailed("other"), "😀", 1);

    EXPECT_THAT(start.problems,
                ElementsAre("cannot keep pictures in " + drawn.string() + ": Not a directory"));
    EXPECT_FALSE(start.contains(kind, "😀"));
}

TEST_F(PictureFilesTests, aFileThatCannotBeWrittenIsReadAllTheSame)
{
    Start(drawn).keep(kind, "😀", 1);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(drawn.c_str(), 0555), 0);
    ASSERT_EQ(::chmod((folder.path() / "cache").c_str(), 0755), 0);
    ASSERT_EQ(::chmod(file.c_str(), 0444), 0);
    Start start(drawn);
    {
        const WithoutPrivileges scope(drawn.parent_path());
        start.keep(kind, "👍", 2);

        EXPECT_EQ(start.read(kind, "😀"), 1);
        EXPECT_FALSE(start.contains(kind, "👍"));
    }
    ASSERT_EQ(::chmod(drawn.c_str(), 0755), 0);

    EXPECT_THAT(start.problems,
                ElementsAre("cannot keep pictures in " + file.string() + ": Permission denied"));
}

TEST_F(PictureFilesTests, aFullDiskIsToldOfOnceAndCostsThePicture)
{
    Start start(drawn);
    start.keep(kind, "😀", 1);
    {
        const LimitedFileSize limit(pixelOffset(1) + 400);
        start.keep(kind, "👍", 2);
        start.keep(kind, "🚀", 3);

        EXPECT_FALSE(start.contains(kind, "👍"));
        EXPECT_EQ(start.read(kind, "😀"), 1);
    }
    EXPECT_THAT(start.problems, ElementsAre("cannot keep pictures in " + file.string() + ": File too large"));

    start.keep(kind, "👍", 4);
    EXPECT_EQ(start.read(kind, "👍"), 4);
    EXPECT_EQ(start.read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aDiskThatIsFullFromTheBeginningKeepsNothingBehind)
{
    Start start(drawn);
    {
        const LimitedFileSize limit(100);
        start.keep(kind, "😀", 1);
    }

    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(start.problems.size(), 1u);
    start.keep(kind, "😀", 1);
    EXPECT_EQ(start.read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, ofTwoProgramsOneWritesAndBothRead)
{
    auto first = std::make_unique<Start>(drawn);
    Start second(drawn);
    first->keep(kind, "😀", 1);
    EXPECT_EQ(second.read(kind, "😀"), 1);

    second.keep(kind, "👍", 2);
    first->keep(kind, "🚀", 3);

    EXPECT_FALSE(second.contains(kind, "👍"));
    EXPECT_EQ(second.read(kind, "🚀"), 3);
    first.reset();
    second.keep(kind, "👍", 4);
    EXPECT_EQ(second.read(kind, "👍"), 4);
    EXPECT_EQ(second.read(kind, "😀"), 1);
    EXPECT_THAT(second.problems, IsEmpty());
}

TEST_F(PictureFilesTests, whatAnotherProgramWritesToIsNeitherReplacedNorRemoved)
{
    PictureKind updated = kind;
    updated.maker = "updated font";
    Start first(drawn);
    first.keep(kind, "😀", 1);
    Start second(drawn);

    second.keep(updated, "😀", 2);
    second.keep({"updated font", "other", 500}, "😀", 2);

    EXPECT_EQ(first.read(kind, "😀"), 1);
    first.keep(kind, "👍", 3);
    EXPECT_EQ(Start(drawn).read(kind, "👍"), 3);
    EXPECT_THAT(second.problems, IsEmpty());
}

TEST_F(PictureFilesTests, aFileThatAnotherProgramReplacedIsReadFromThenOn)
{
    Start reader(drawn);
    Start(drawn).keep(kind, "😀", 1);
    ASSERT_EQ(reader.read(kind, "😀"), 1);

    std::filesystem::remove(file);
    Start(drawn).keep(kind, "👍", 2);

    EXPECT_TRUE(reader.contains(kind, "👍"));
    EXPECT_EQ(reader.read(kind, "👍"), 2);
    EXPECT_FALSE(reader.contains(kind, "😀"));
}

TEST_F(PictureFilesTests, aFileThatWasRemovedIsMadeAgain)
{
    Start start(drawn);
    start.keep(kind, "😀", 1);
    std::filesystem::remove_all(drawn);

    start.keep(kind, "👍", 2);

    EXPECT_EQ(start.read(kind, "👍"), 2);
    EXPECT_EQ(Start(drawn).read(kind, "👍"), 2);
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, aLinkInPlaceOfTheFileIsReplacedAndItsTargetLeftAlone)
{
    const path target = folder.path() / "target";
    Start(drawn).keep(kind, "😀", 1);
    std::filesystem::rename(file, target);
    std::filesystem::create_symlink(target, file);
    const auto size = std::filesystem::file_size(target);

    Start start(drawn);
    EXPECT_FALSE(start.contains(kind, "😀"));
    start.keep(kind, "👍", 2);

    EXPECT_EQ(start.read(kind, "👍"), 2);
    EXPECT_FALSE(std::filesystem::is_symlink(file));
    EXPECT_EQ(std::filesystem::file_size(target), size);
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, aLinkInPlaceOfTheFolderIsNotFollowed)
{
    const path target = folder.path() / "target";
    Start(target).keep(kind, "😀", 1);
    std::filesystem::create_directory(folder.path() / "cache");
    std::filesystem::create_directory_symlink(target, drawn);

    Start start(drawn);
    EXPECT_FALSE(start.contains(kind, "😀"));
    start.keep(kind, "👍", 2);

    EXPECT_FALSE(Start(target).contains(kind, "👍"));
    EXPECT_THAT(start.problems,
                ElementsAre("cannot keep pictures in " + drawn.string() + ": Not a directory"));
}

TEST_F(PictureFilesTests, aFifoInPlaceOfTheFileIsNotWaitedForAndReplaced)
{
    std::filesystem::create_directories(drawn);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);

    Start start(drawn);
    EXPECT_FALSE(start.contains(kind, "😀"));
    start.keep(kind, "😀", 1);

    EXPECT_EQ(start.read(kind, "😀"), 1);
}

TEST_F(PictureFilesTests, aFolderInPlaceOfTheFileIsToldOfOnce)
{
    std::filesystem::create_directories(file / "something");

    Start start(drawn);
    EXPECT_FALSE(start.contains(kind, "😀"));
    start.keep(kind, "😀", 1);
    start.keep(kind, "👍", 1);

    EXPECT_THAT(start.problems, ElementsAre("cannot keep pictures in " + file.string() + ": Is a directory"));
}

TEST_F(PictureFilesTests, theFileThatWasUsedLeastRecentlyGoesWhenThereAreTooMany)
{
    PictureFolder::Limits limits;
    limits.files = 3;
    for (const char* const detail : {"a", "b", "c"}) {
        Start(drawn, limits).keep(detailed(detail), "😀", 1);
    }
    setLastUse("a.pictures", 1000);
    setLastUse("b.pictures", 2000);
    setLastUse("c.pictures", 3000);
    // Reading is a use.
    ASSERT_EQ(Start(drawn, limits).read(detailed("a"), "😀"), 1);

    Start(drawn, limits).keep(detailed("d"), "😀", 1);

    EXPECT_THAT(names(), UnorderedElementsAre("a.pictures", "c.pictures", "d.pictures"));
}

TEST_F(PictureFilesTests, theFileThatWasUsedLeastRecentlyGoesWhenThereIsTooMuch)
{
    PictureFolder::Limits limits = few(4);
    const std::uint64_t empty = PictureFileHeader::of(detailed("a"), 4)->pictureOffset(0);
    limits.bytes = 3 * empty + 6'000;
    for (const char* const detail : {"a", "b"}) {
        Start start(drawn, limits);
        start.keep(detailed(detail), "1", 1);
        start.keep(detailed(detail), "2", 2);
    }
    setLastUse("a.pictures", 2000);
    setLastUse("b.pictures", 1000);

    Start start(drawn, limits);
    start.keep(detailed("c"), "1", 1);
    start.keep(detailed("c"), "2", 2);
    EXPECT_THAT(names(), UnorderedElementsAre("a.pictures", "b.pictures", "c.pictures"));
    start.keep(detailed("c"), "3", 3);

    EXPECT_THAT(names(), UnorderedElementsAre("a.pictures", "c.pictures"));
    EXPECT_EQ(start.read(detailed("c"), "3"), 3);
}

TEST_F(PictureFilesTests, aFileAloneStaysBelowTheLimit)
{
    PictureFolder::Limits limits = few(4);
    limits.bytes = PictureFileHeader::of(kind, 4)->pictureOffset(2) + 500;
    Start start(drawn, limits);
    for (int number = 0; number < 3; ++number) {
        start.keep(kind, std::to_string(number), number);
    }

    EXPECT_EQ(start.read(kind, "1"), 1);
    EXPECT_FALSE(start.contains(kind, "2"));
    EXPECT_EQ(std::filesystem::file_size(file), pixelOffset(2, 4));
    EXPECT_THAT(start.problems, IsEmpty());
}

TEST_F(PictureFilesTests, filesThatTheProgramItselfHasOpenMakeRoomToo)
{
    PictureFolder::Limits limits = few(4);
    limits.bytes = 2 * PictureFileHeader::of(detailed("a"), 4)->pictureOffset(1) + 500;
    Start start(drawn, limits);
    start.keep(detailed("a"), "1", 1);
    start.keep(detailed("b"), "1", 1);

    start.keep(detailed("b"), "2", 2);

    EXPECT_EQ(start.read(detailed("b"), "2"), 2);
    EXPECT_THAT(names(), ElementsAre("b.pictures"));
}

TEST_F(PictureFilesTests, whatWaitsToBeWrittenIsLimited)
{
    const PictureKind large{"maker", "large", 1024 * 1024};
    Start start(drawn);
    for (int number = 0; number < 6; ++number) {
        start.store().write(large, std::to_string(number), Pixels(large.byteCount));
    }
    start.time().runUntilIdle();

    for (int number = 0; number < 6; ++number) {
        EXPECT_EQ(start.contains(large, std::to_string(number)), number < 4) << number;
    }
    start.keep(large, "5", 5);
    EXPECT_EQ(start.read(large, "5"), 5);
}

TEST_F(PictureFilesTests, fewFilesAreOpenHoweverManyThereAre)
{
    const std::size_t before = openDescriptors();
    {
        Start start(drawn, {8192, 100, PictureFolder::Limits().bytes});
        for (int number = 0; number < 30; ++number) {
            start.keep(detailed(std::to_string(number)), "😀", number);
            EXPECT_EQ(start.read(detailed(std::to_string(number)), "😀"), number);
        }

        EXPECT_LE(openDescriptors(), before + 8);
        EXPECT_EQ(start.read(detailed("0"), "😀"), 0);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(PictureFilesTests, ofTheOpenFilesThatWhichWasUsedLeastRecentlyIsClosed)
{
    std::filesystem::create_directories(drawn);
    const FileDescriptor opened(::open(drawn.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    OpenPictureFiles files;
    const auto add = [&](const std::string& detail) {
        auto made = PictureFile::openForWriting(opened, *PictureFileHeader::of(detailed(detail), headCount));
        ASSERT_TRUE(made);
        files.add(detailed(detail), std::move(made).value());
    };
    for (const char* const detail : {"a", "b", "c", "d"}) {
        add(detail);
    }
    ASSERT_TRUE(files.find(detailed("a")));

    add("e");

    EXPECT_TRUE(files.find(detailed("a")));
    EXPECT_FALSE(files.find(detailed("b")));
}

TEST_F(PictureFilesTests, picturesAreReadWhileAThreadWritesThem)
{
    constexpr int count = 300;
    std::mutex mutex;
    std::vector<std::string> problems;
    ThreadDispatchQueues queues;
    PictureFiles store(drawn, queues, [&](std::string_view problem) {
        const std::lock_guard lock(mutex);
        problems.emplace_back(problem);
    });
    for (int number = 0; number < count; ++number) {
        store.write(kind, std::to_string(number), Pixels(kind.byteCount, static_cast<std::byte>(number)));
    }

    const auto isWhole = [&](int number) {
        Pixels pixels(kind.byteCount);
        const bool isThere = store.read(kind, std::to_string(number), pixels);
        EXPECT_TRUE(!isThere || pixels == Pixels(kind.byteCount, static_cast<std::byte>(number))) << number;
        return isThere;
    };
    int read = 0;
    EXPECT_TRUE(eventually([&] {
        while (read < count && isWhole(read)) {
            ++read;
        }
        return read == count;
    }));

    const std::lock_guard lock(mutex);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(PictureFilesTests, aStoreEndsWithWorkLeft)
{
    ThreadDispatchQueues queues;
    {
        PictureFiles store(drawn, queues, [](std::string_view problem) { ADD_FAILURE() << problem; });
        for (int number = 0; number < 100; ++number) {
            store.write(kind, std::to_string(number), Pixels(kind.byteCount));
        }
    }

    Start start(drawn);
    for (int number = 0; number < 100; ++number) {
        EXPECT_EQ(start.contains(kind, std::to_string(number)),
                  start.read(kind, std::to_string(number)) == 0);
    }
}

} // namespace
} // namespace glimmerwick::contract
