#include "Managers/BundledCatalogue.h"

#include "Fakes/FakePlatform.h"
#include "Fakes/SampleManifest.h"
#include "Managers/EmojiDataManager.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using fakes::sampleManifestJson;
using Problems = std::vector<std::string>;

const std::filesystem::path bundle = "/resources/catalogue";
const std::filesystem::path cacheDirectory = "/home/user/.cache/Glimmerwick";
const std::filesystem::path bundled = bundle / "manifest.json";
const std::filesystem::path cached = cacheDirectory / "manifest.json";
const std::filesystem::path unfinished = cacheDirectory / "manifest.json.seed";
const std::filesystem::path bundledImages = bundle / "emojis";
const std::filesystem::path cachedImages = cacheDirectory / "emojis";

class BundledCatalogueTests : public testing::Test {
protected:
    BundledCatalogueTests() { bundleManifest(sampleManifestJson("1")); }

    void bundleManifest(std::string bytes)
    {
        fakes.fileSystem.files[bundled] = {std::move(bytes), std::nullopt};
    }

    void seed()
    {
        BundledCatalogue::seed(fakes.fileSystem, bundle, cacheDirectory,
                               [this](std::string_view problem) { problems.emplace_back(problem); });
    }

    const fakes::FakeFileSystem::File& cacheFile() { return fakes.fileSystem.files.at(cached); }
    bool hasCacheFile() { return fakes.fileSystem.files.count(cached) != 0; }

    /// What a program that came with this manifest left behind.
    void cacheSeedOf(const std::string& bytes)
    {
        bundleManifest(bytes);
        seed();
        fakes.fileSystem.writeCount = 0;
    }

    fakes::FakePlatform fakes;
    Problems problems;
};

TEST_F(BundledCatalogueTests, IsCopiedByteForByteIntoAnEmptyCache)
{
    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledCatalogueTests, GetsOneFixedOldDate)
{
    seed();
    const auto first = cacheFile().modificationDate;
    fakes.fileSystem.now += 24h * 365;
    bundleManifest(sampleManifestJson("2"));
    seed();

    ASSERT_TRUE(first);
    EXPECT_EQ(cacheFile().modificationDate, first);
    EXPECT_LT(*first, std::chrono::sys_days(std::chrono::year(2002) / 1 / 1));
}

TEST_F(BundledCatalogueTests, MakesTheCacheFolderWhenThereIsNone)
{
    seed();

    EXPECT_EQ(fakes.fileSystem.directories.count(cacheDirectory), 1U);
}

TEST_F(BundledCatalogueTests, CountsAsExpiredSoThatTheNetworkIsAskedFirst)
{
    seed();
    EmojiDataManager manager(fakes.process, fakes.log, fakes.fileSystem, fakes.fileClock, fakes.time,
                             fakes.httpClient, fakes.textLayout, fakes.imageCodec);
    auto task = manager.fetchManifest(false);
    task.start();
    fakes.time.runUntilIdle();
    ASSERT_EQ(fakes.httpClient.exchanges.size(), 1U);

    fakes.httpClient.answer(0, Failure{TransportError{"offline"}});
    fakes.time.runUntilIdle();

    ASSERT_TRUE(manager.manifest());
    EXPECT_EQ(manager.manifest()->version(), "1");
}

TEST_F(BundledCatalogueTests, LeavesAnEqualSeedAlone)
{
    cacheSeedOf(sampleManifestJson("1"));

    seed();

    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledCatalogueTests, IsNotEvenDecodedWhenTheSeedIsEqual)
{
    cacheSeedOf("no manifest at all");

    seed();

    EXPECT_EQ(cacheFile().bytes, "no manifest at all");
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledCatalogueTests, ReplacesASeedOfAnotherVersion)
{
    cacheSeedOf(sampleManifestJson("2"));
    bundleManifest(sampleManifestJson("1"));

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledCatalogueTests, KeepsASeedOfTheSameVersionThatIsWrittenOtherwise)
{
    cacheSeedOf(sampleManifestJson("1"));
    bundleManifest(sampleManifestJson("1") + "\n");

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
}

TEST_F(BundledCatalogueTests, ReplacesASeedThatCannotBeDecoded)
{
    cacheSeedOf(sampleManifestJson("1").substr(0, 100));
    bundleManifest(sampleManifestJson("1"));

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
}

TEST_F(BundledCatalogueTests, ReplacesASeedThatCannotBeReadAndReportsIt)
{
    cacheSeedOf(sampleManifestJson("1"));
    fakes.fileSystem.unreadable = {cached};

    seed();

    EXPECT_EQ(fakes.fileSystem.writeCount, 1);
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot read " + cached.string()});
}

TEST_F(BundledCatalogueTests, NeverTouchesAFetchedCache)
{
    const auto date = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20);
    for (const std::string& bytes : {sampleManifestJson("0"), std::string("corrupt"), std::string()}) {
        fakes.fileSystem.files[cached] = {bytes, date};

        seed();

        EXPECT_EQ(cacheFile().bytes, bytes);
        EXPECT_EQ(cacheFile().modificationDate, date);
    }
    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledCatalogueTests, TakesACacheThatIsOneSecondOffForFetched)
{
    cacheSeedOf(sampleManifestJson("2"));
    bundleManifest(sampleManifestJson("1"));
    *fakes.fileSystem.files.at(cached).modificationDate += 1s;

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("2"));
}

TEST_F(BundledCatalogueTests, LeavesACacheWithoutAKnownDateAlone)
{
    fakes.fileSystem.files[cached] = {"fetched", std::nullopt};
    seed();
    EXPECT_EQ(problems, Problems{});

    fakes.fileSystem.undatable = {cached};
    seed();

    EXPECT_EQ(cacheFile().bytes, "fetched");
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot stat " + cached.string()});
}

TEST_F(BundledCatalogueTests, KeepsAGoodSeedWhenTheBundledManifestIsBad)
{
    cacheSeedOf(sampleManifestJson("1"));
    bundleManifest(R"({"version": "2"})");

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
    EXPECT_EQ(problems, Problems{"bundled catalogue: " + bundled.string() + ": lastUpdated: missing"});
}

TEST_F(BundledCatalogueTests, ThatIsMissingIsReported)
{
    fakes.fileSystem.files.erase(bundled);

    seed();

    EXPECT_FALSE(hasCacheFile());
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot read " + bundled.string()});
}

TEST_F(BundledCatalogueTests, ThatIsMissingLeavesASeedAlone)
{
    cacheSeedOf(sampleManifestJson("1"));
    fakes.fileSystem.files.erase(bundled);

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot read " + bundled.string()});
}

TEST_F(BundledCatalogueTests, ReportsACacheFolderThatCannotBeMade)
{
    fakes.fileSystem.unwritable = {cacheDirectory};

    seed();

    EXPECT_FALSE(hasCacheFile());
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot create " + cacheDirectory.string()});
}

TEST_F(BundledCatalogueTests, ReportsACacheThatCannotBeWritten)
{
    fakes.fileSystem.unwritable = {unfinished};

    seed();

    EXPECT_FALSE(hasCacheFile());
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot write " + unfinished.string()});
}

TEST_F(BundledCatalogueTests, ReportsACacheThatCannotBeReplaced)
{
    fakes.fileSystem.unwritable = {cached};

    seed();

    EXPECT_FALSE(hasCacheFile());
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot rename " + unfinished.string()});
}

class BundledImagesTests : public BundledCatalogueTests {
protected:
    void bundleImage(const std::string& name, const std::string& bytes)
    {
        fakes.fileSystem.files[bundledImages / name] = {bytes, std::nullopt};
        fakes.fileSystem.directories.insert(bundledImages);
    }

    std::optional<std::string> cachedImage(const std::string& name) const
    {
        const auto found = fakes.fileSystem.files.find(cachedImages / name);
        return found == fakes.fileSystem.files.end() ? std::nullopt : std::optional(found->second.bytes);
    }
};

TEST_F(BundledImagesTests, AreCopiedIntoACacheThatLacksThem)
{
    bundleImage("1facd.png", "PNG orca");
    bundleImage("1f6d8.png", "PNG landslide");

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
    EXPECT_EQ(cachedImage("1f6d8.png"), "PNG landslide");
    EXPECT_EQ(fakes.fileSystem.directories.count(cachedImages), 1U);
    EXPECT_EQ(fakes.fileSystem.files.size(), 6U) << "two manifests, two images twice, nothing unfinished";
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledImagesTests, NeverReplaceOneThatTheCacheHas)
{
    const auto date = std::chrono::sys_days(std::chrono::year(2026) / 11 / 20);
    fakes.fileSystem.files[cachedImages / "1facd.png"] = {"fetched", date};
    bundleImage("1facd.png", "PNG orca");

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), "fetched");
    EXPECT_EQ(fakes.fileSystem.files.at(cachedImages / "1facd.png").modificationDate, date);
}

TEST_F(BundledImagesTests, AreNotWrittenAgainByTheNextStart)
{
    bundleImage("1facd.png", "PNG orca");
    seed();
    fakes.fileSystem.writeCount = 0;

    seed();

    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
}

TEST_F(BundledImagesTests, JoinAFetchedManifest)
{
    fakes.fileSystem.files[cached] = {"fetched", std::chrono::sys_days(std::chrono::year(2026) / 11 / 20)};
    bundleImage("1facd.png", "PNG orca");

    seed();

    EXPECT_EQ(cacheFile().bytes, "fetched");
    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
}

TEST_F(BundledImagesTests, AreThePngFilesAlone)
{
    bundleImage("1facd.png", "PNG orca");
    bundleImage("1facd.png.unfinished", "PN");
    bundleImage("LICENSES.txt", "text");

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
    EXPECT_EQ(cachedImage("1facd.png.unfinished"), std::nullopt);
    EXPECT_EQ(cachedImage("LICENSES.txt"), std::nullopt);
}

TEST_F(BundledImagesTests, ThatDoNotExistAreNoProblem)
{
    seed();

    EXPECT_EQ(fakes.fileSystem.directories.count(cachedImages), 0U);
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledImagesTests, ThatCannotBeListedAreReported)
{
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.unreadable = {bundledImages};

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), std::nullopt);
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot list folder " + bundledImages.string()});
}

TEST_F(BundledImagesTests, OneThatCannotBeReadDoesNotKeepTheOthersOut)
{
    bundleImage("1f6d8.png", "PNG landslide");
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.unreadable = {bundledImages / "1f6d8.png"};

    seed();

    EXPECT_EQ(cachedImage("1f6d8.png"), std::nullopt);
    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot read " + (bundledImages / "1f6d8.png").string()});
}

TEST_F(BundledImagesTests, OneThatAPowerCutLeftEmptyIsReplaced)
{
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.files[cachedImages / "1facd.png"] = {"", std::nullopt};

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
    EXPECT_EQ(problems, Problems{});
}

TEST_F(BundledImagesTests, OneThatCannotBeWrittenDoesNotKeepTheOthersOut)
{
    bundleImage("1f6d8.png", "PNG landslide");
    bundleImage("1fa8a.png", "PNG trombone");
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.unwritable = {cachedImages / "1f6d8.png", cachedImages / "1fa8a.png"};

    seed();

    EXPECT_EQ(cachedImage("1f6d8.png"), std::nullopt);
    EXPECT_EQ(cachedImage("1fa8a.png"), std::nullopt);
    EXPECT_EQ(cachedImage("1facd.png"), "PNG orca");
    EXPECT_EQ(problems,
              (Problems{
                  "bundled catalogue: cannot write " + (cachedImages / "1f6d8.png").string(),
                  "bundled catalogue: cannot write " + (cachedImages / "1fa8a.png").string(),
              }));
}

TEST_F(BundledImagesTests, AreNotWrittenThroughSymbolicLinks)
{
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.directories.insert(cachedImages);
    fakes.fileSystem.links = {cachedImages};

    seed();

    EXPECT_EQ(cachedImage("1facd.png"), std::nullopt);
    EXPECT_TRUE(hasCacheFile());
    EXPECT_EQ(problems,
              Problems{"bundled catalogue: cannot use " + cachedImages.string()
                       + ": a symbolic link stands in the way"});
}

TEST_F(BundledImagesTests, AFolderThatCannotBeMadeIsReportedAndTheManifestIsSeeded)
{
    bundleImage("1facd.png", "PNG orca");
    fakes.fileSystem.unwritable = {cachedImages};

    seed();

    EXPECT_EQ(cacheFile().bytes, sampleManifestJson("1"));
    EXPECT_EQ(cachedImage("1facd.png"), std::nullopt);
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot create " + cachedImages.string()});
}

/// Has no room for anything, or ends the program's work before a date is set.
class InterruptedFileSystem : public fakes::FakeFileSystem {
public:
    enum class Interruption { none, whileWriting, beforeDating };

    Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) override
    {
        if (interruption != Interruption::whileWriting) {
            return FakeFileSystem::write(path, bytes);
        }
        return Failure{FileError{"No space left on device"}};
    }
    Result<Success, FileError> setModificationDate(const std::filesystem::path& path,
                                                   std::chrono::system_clock::time_point date) override
    {
        if (interruption == Interruption::beforeDating) {
            return Failure{FileError{"interrupted"}};
        }
        return FakeFileSystem::setModificationDate(path, date);
    }

    Interruption interruption = Interruption::none;
};

class InterruptedSeedingTests : public testing::TestWithParam<InterruptedFileSystem::Interruption> { };

TEST_P(InterruptedSeedingTests, LeaveNothingThatLooksLikeACacheAndAreMadeUpForNextTime)
{
    InterruptedFileSystem fileSystem;
    fileSystem.files[bundled] = {sampleManifestJson("1"), std::nullopt};
    Problems problems;
    const auto report = [&problems](std::string_view problem) { problems.emplace_back(problem); };

    fileSystem.interruption = GetParam();
    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, report);
    EXPECT_EQ(problems.size(), 1u);
    EXPECT_FALSE(fileSystem.exists(cached));
    EXPECT_FALSE(fileSystem.exists(unfinished));
    fileSystem.interruption = InterruptedFileSystem::Interruption::none;
    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, report);

    EXPECT_EQ(fileSystem.files.at(cached).bytes, sampleManifestJson("1"));
    EXPECT_FALSE(fileSystem.exists(unfinished));
}

TEST(InterruptedImageSeedingTests, LeavesNothingThatLooksLikeAnImageAndIsMadeUpForNextTime)
{
    InterruptedFileSystem fileSystem;
    fileSystem.files[bundled] = {sampleManifestJson("1"), std::nullopt};
    fileSystem.files[bundledImages / "1facd.png"] = {"PNG picture of an orca", std::nullopt};
    fileSystem.directories = {bundledImages};
    const auto ignore = [](std::string_view) {};

    fileSystem.interruption = InterruptedFileSystem::Interruption::whileWriting;
    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, ignore);
    EXPECT_FALSE(fileSystem.exists(cachedImages / "1facd.png"));
    fileSystem.interruption = InterruptedFileSystem::Interruption::none;
    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, ignore);

    EXPECT_EQ(fileSystem.files.at(cachedImages / "1facd.png").bytes, "PNG picture of an orca");
}

INSTANTIATE_TEST_SUITE_P(Interruptions, InterruptedSeedingTests,
                         testing::Values(InterruptedFileSystem::Interruption::whileWriting,
                                         InterruptedFileSystem::Interruption::beforeDating));

} // namespace
} // namespace glimmerwick
