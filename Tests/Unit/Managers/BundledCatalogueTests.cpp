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
    fakes.fileSystem.unwritable = {cached};

    seed();

    EXPECT_FALSE(hasCacheFile());
    EXPECT_EQ(problems, Problems{"bundled catalogue: cannot write " + cached.string()});
}

/// Runs full in the middle of a write.
class FullFileSystem : public fakes::FakeFileSystem {
public:
    Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) override
    {
        const auto written = FakeFileSystem::write(path, isFull ? bytes.substr(0, 10) : bytes);
        return isFull ? Result<Success, FileError>(Failure{FileError{"No space left on device"}}) : written;
    }

    bool isFull = true;
};

TEST_F(BundledCatalogueTests, WrittenInPartIsReplacedNextTime)
{
    FullFileSystem fileSystem;
    fileSystem.files[bundled] = {sampleManifestJson("1"), std::nullopt};
    const auto report = [this](std::string_view problem) { problems.emplace_back(problem); };

    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, report);
    EXPECT_EQ(problems, Problems{"bundled catalogue: No space left on device"});
    fileSystem.isFull = false;
    BundledCatalogue::seed(fileSystem, bundle, cacheDirectory, report);

    EXPECT_EQ(fileSystem.files.at(cached).bytes, sampleManifestJson("1"));
}

} // namespace
} // namespace glimmerwick
