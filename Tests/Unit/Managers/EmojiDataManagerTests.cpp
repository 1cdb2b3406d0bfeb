#include "Managers/EmojiDataManager.h"

#include "Fakes/FakePlatform.h"
#include "Fakes/SampleManifest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using fakes::sampleManifest;
using fakes::sampleManifestJson;
using Error = EmojiDataManager::ManifestError;
using Lines = std::vector<std::string>;
using State = EmojiDataManager::LoadingState;

const std::filesystem::path cacheDirectory = "/home/user/.cache/Glimmerwick";
const std::filesystem::path imagesDirectory = cacheDirectory / "emojis";
const std::filesystem::path cachedManifest = cacheDirectory / "manifest.json";

const State idle{State::Kind::idle, {}};
const State loading{State::Kind::loading, {}};
const State loaded{State::Kind::loaded, {}};

State failed(const std::string& message)
{
    return {State::Kind::error, message};
}

class EmojiDataManagerTests : public testing::Test {
protected:
    using Outcome = Result<Success, Error>;

    EmojiDataManager& manager()
    {
        if (!m_manager) {
            m_manager = std::make_unique<EmojiDataManager>(fakes.process, fakes.log, fakes.fileSystem,
                                                           fakes.fileClock, fakes.time, fakes.httpClient,
                                                           fakes.textLayout, fakes.imageCodec);
        }
        return *m_manager;
    }

    void cache(std::string bytes, std::chrono::system_clock::duration age = 10min)
    {
        fakes.fileSystem.files[cachedManifest] = {std::move(bytes), fakes.fileClock.time - age};
    }

    void answerWith(int statusCode, const std::string& body)
    {
        fakes.httpClient.respond = [=](const HttpRequest&) { return HttpResponse{statusCode, body}; };
    }

    void failWith(const std::string& description)
    {
        fakes.httpClient.respond = [=](const HttpRequest&) {
            return Result<HttpResponse, TransportError>(Failure{TransportError{description}});
        };
    }

    /// Loads until nothing more happens; nothing when the load still waits.
    std::optional<Outcome> fetch(bool forceRefresh = false)
    {
        manager();
        fakes.log.lines.clear();
        std::optional<Outcome> outcome;
        auto task = manager().fetchManifest(forceRefresh);
        task.start([&](Outcome value) { outcome = std::move(value); });
        fakes.time.runUntilIdle();
        return outcome;
    }

    std::size_t requestCount() const { return fakes.httpClient.exchanges.size(); }

    fakes::FakePlatform fakes;

private:
    std::unique_ptr<EmojiDataManager> m_manager;
};

// Construction

TEST_F(EmojiDataManagerTests, StartsIdleWithoutAManifest)
{
    EXPECT_EQ(manager().manifest(), std::nullopt);
    EXPECT_EQ(manager().loadingState(), idle);
    EXPECT_FALSE(manager().refreshTimer);
    EXPECT_EQ(requestCount(), 0U);
}

TEST_F(EmojiDataManagerTests, LogsTheSystemVersionThenCreatesTheCacheFolders)
{
    fakes.process.operatingSystemVersion = {15, 0, 3};

    manager();

    EXPECT_EQ(fakes.log.lines, Lines{"[OS VERSION] Detected macOS 15.0.3"});
    EXPECT_EQ(fakes.fileSystem.directories,
              (std::set<std::filesystem::path>{cacheDirectory, imagesDirectory}));
    EXPECT_EQ(manager().cacheDirectory(), cacheDirectory);
}

TEST_F(EmojiDataManagerTests, SurvivesFoldersThatCannotBeCreatedAndReportsEach)
{
    fakes.fileSystem.unwritable = {cacheDirectory, imagesDirectory};

    manager();

    EXPECT_EQ(fakes.log.lines,
              (Lines{"[OS VERSION] Detected macOS 6.1.0",
                     "Failed to create cache directory: cannot create " + cacheDirectory.string(),
                     "Failed to create emoji images directory: cannot create " + imagesDirectory.string()}));
}

TEST_F(EmojiDataManagerTests, CreatesTheImagesFolderAlsoWhenTheCacheFolderFailed)
{
    fakes.fileSystem.unwritable = {cacheDirectory};

    manager();

    EXPECT_EQ(fakes.fileSystem.directories, std::set<std::filesystem::path>{imagesDirectory});
}

TEST_F(EmojiDataManagerTests, LeavesFoldersThatExistAlone)
{
    fakes.fileSystem.directories = {cacheDirectory, imagesDirectory};
    fakes.fileSystem.unwritable = {cacheDirectory, imagesDirectory};

    manager();

    EXPECT_EQ(fakes.log.lines, Lines{"[OS VERSION] Detected macOS 6.1.0"});
}

TEST_F(EmojiDataManagerTests, IsOneForTheInstalledPlatform)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_EQ(&EmojiDataManager::shared(), &EmojiDataManager::shared());
    EXPECT_EQ(EmojiDataManager::shared().cacheDirectory(), cacheDirectory);
}

// The base address

class BaseAddressTests : public EmojiDataManagerTests {
protected:
    void keyFile(std::size_t index, const std::string& text)
    {
        fakes.fileSystem.files[fakes.process.keyFiles.at(index)] = {text, std::nullopt};
    }

    const std::string& address() { return manager().productionBaseURL(); }

    const std::string defaultAddress = "https://content.example.invalid";
};

TEST_F(BaseAddressTests, IsTheDefaultWithoutKeyFiles)
{
    EXPECT_EQ(address(), defaultAddress);
}

TEST_F(BaseAddressTests, ComesFromTheFirstKeyFile)
{
    keyFile(0, "PRODUCTION_BASE_URL=https://first.example");
    keyFile(1, "PRODUCTION_BASE_URL=https://second.example");

    EXPECT_EQ(address(), "https://first.example");
}

TEST_F(BaseAddressTests, ComesFromTheSecondKeyFileWhenTheFirstLacksTheKey)
{
    keyFile(0, "OTHER=https://first.example\n# PRODUCTION_BASE_URL=https://comment.example\n");
    keyFile(1, "PRODUCTION_BASE_URL=https://second.example");

    EXPECT_EQ(address(), "https://second.example");
}

TEST_F(BaseAddressTests, ComesFromTheSecondKeyFileWhenTheFirstCannotBeRead)
{
    keyFile(0, "PRODUCTION_BASE_URL=https://first.example");
    fakes.fileSystem.unreadable = {fakes.process.keyFiles[0]};
    keyFile(1, "PRODUCTION_BASE_URL=https://second.example");

    EXPECT_EQ(address(), "https://second.example");
}

TEST_F(BaseAddressTests, ComesFromTheSecondKeyFileWhenTheFirstIsNotUtf8)
{
    keyFile(0, "PRODUCTION_BASE_URL=https://first.example\n# caf\xe9\n");
    keyFile(1, "PRODUCTION_BASE_URL=https://second.example");

    EXPECT_EQ(address(), "https://second.example");
}

TEST_F(BaseAddressTests, IsReadFromAFileWithCommentsBlanksAndWindowsLineEnds)
{
    keyFile(0, "# secrets\r\n\r\n  OTHER=1\r\n\tPRODUCTION_BASE_URL=https://host.example/base \t\r\n");

    EXPECT_EQ(address(), "https://host.example/base");
}

TEST_F(BaseAddressTests, DoesNotComeFromALineWithSpacesAroundTheEqualsSign)
{
    keyFile(0, "PRODUCTION_BASE_URL = https://host.example");

    EXPECT_EQ(address(), defaultAddress);
}

TEST_F(BaseAddressTests, DoesNotComeFromALineWhoseValueHoldsAnEqualsSign)
{
    keyFile(0, "PRODUCTION_BASE_URL=https://host.example/?key=1\nPRODUCTION_BASE_URL=https://next.example");

    EXPECT_EQ(address(), "https://next.example");
}

TEST_F(BaseAddressTests, IsTheDefaultWhenTheValueFoundIsNoURLWithoutFurtherSearch)
{
    keyFile(0, "PRODUCTION_BASE_URL=not a url\nPRODUCTION_BASE_URL=https://next.example");
    keyFile(1, "PRODUCTION_BASE_URL=https://second.example");

    EXPECT_EQ(address(), defaultAddress);
}

TEST_F(BaseAddressTests, IsTheDefaultWhenTheValueFoundIsEmptyOrBeginsWithASpace)
{
    keyFile(0, "PRODUCTION_BASE_URL=");
    EXPECT_EQ(address(), defaultAddress);

    fakes::FakePlatform others;
    others.fileSystem.files[others.process.keyFiles[0]] = {"PRODUCTION_BASE_URL= https://host.example",
                                                           std::nullopt};
    const EmojiDataManager other(others.process, others.log, others.fileSystem, others.fileClock, others.time,
                                 others.httpClient, others.textLayout, others.imageCodec);
    EXPECT_EQ(other.productionBaseURL(), defaultAddress);
}

TEST_F(BaseAddressTests, IsReadOnce)
{
    EXPECT_EQ(address(), defaultAddress);

    keyFile(0, "PRODUCTION_BASE_URL=https://late.example");
    fetch();

    EXPECT_EQ(fakes.httpClient.exchanges.at(0)->request.url, defaultAddress + "/manifest.json");
}

TEST_F(BaseAddressTests, LeadsToTheManifest)
{
    keyFile(0, "PRODUCTION_BASE_URL=https://host.example/base/");

    fetch();

    EXPECT_EQ(fakes.httpClient.exchanges.at(0)->request.url, "https://host.example/base/manifest.json");
}

// The request

TEST_F(EmojiDataManagerTests, AsksForTheManifestCompressedAndWithATimeLimit)
{
    fetch();

    ASSERT_EQ(requestCount(), 1U);
    const HttpRequest& request = fakes.httpClient.exchanges[0]->request;
    EXPECT_EQ(request.url, "https://content.example.invalid/manifest.json");
    ASSERT_EQ(request.headers.size(), 1U);
    EXPECT_EQ(request.headers[0],
              (std::pair<std::string, std::string>("Accept-Encoding", "gzip, deflate, br")));
    EXPECT_EQ(request.timeout, 60s);
    EXPECT_EQ(request.maximumBodySize, 32U * 1024 * 1024);
}

TEST_F(EmojiDataManagerTests, BeginsToLoadFromTheMainQueueOnly)
{
    auto task = manager().fetchManifest(false);
    task.start();

    EXPECT_EQ(manager().loadingState(), idle);
    EXPECT_EQ(requestCount(), 0U);

    fakes.time.runUntilIdle();

    EXPECT_EQ(manager().loadingState(), loading);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(EmojiDataManagerTests, DoesNotHoldTheMainThreadWhileTheServerIsSilent)
{
    EXPECT_EQ(fetch(), std::nullopt);

    EXPECT_EQ(fakes.log.lines, Lines{});
    EXPECT_EQ(fakes.time.pendingCount(), 0U);
}

TEST_F(EmojiDataManagerTests, CancelsTheRequestOfADestroyedLoad)
{
    manager();
    bool completed = false;
    auto task = manager().fetchManifest(false);
    task.start([&](const auto&) { completed = true; });
    fakes.time.runUntilIdle();
    fakes.httpClient.answer(0, 200, sampleManifestJson());

    task.cancel();
    fakes.time.runUntilIdle();

    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
    EXPECT_FALSE(completed);
    EXPECT_EQ(manager().manifest(), std::nullopt);
}

TEST_F(EmojiDataManagerTests, DoesNothingForALoadDestroyedBeforeItBegan)
{
    manager();
    {
        auto task = manager().fetchManifest(false);
        task.start();
    }

    fakes.time.runUntilIdle();

    EXPECT_EQ(manager().loadingState(), idle);
    EXPECT_EQ(requestCount(), 0U);
}

// From the network

TEST_F(EmojiDataManagerTests, PublishesWhatTheServerSends)
{
    answerWith(200, sampleManifestJson());

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(manager().manifest(), sampleManifest());
    EXPECT_EQ(manager().loadingState(), loaded);
    EXPECT_EQ(fakes.log.lines, Lines{});
}

TEST_F(EmojiDataManagerTests, CachesItsOwnPrettyPrintedEncodingOfTheManifest)
{
    answerWith(200, sampleManifestJson());
    fakes.fileSystem.now = fakes.fileClock.time;

    fetch();

    const auto& file = fakes.fileSystem.files.at(cachedManifest);
    EXPECT_EQ(file.bytes, sampleManifest().encode());
    EXPECT_EQ(file.modificationDate, fakes.fileClock.time);
    EXPECT_EQ(Manifest::decode(file.bytes).value(), sampleManifest());
}

TEST_F(EmojiDataManagerTests, ServesTheNextLoadFromTheCacheItWrote)
{
    answerWith(200, sampleManifestJson());
    fakes.fileSystem.now = fakes.fileClock.time;
    fetch();

    const auto outcome = fetch();

    EXPECT_TRUE(outcome && *outcome);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(EmojiDataManagerTests, PublishesAManifestThatCannotBeCached)
{
    answerWith(200, sampleManifestJson());
    fakes.fileSystem.unwritable = {cachedManifest};

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(manager().manifest(), sampleManifest());
    EXPECT_EQ(manager().loadingState(), loaded);
    EXPECT_EQ(fakes.log.lines,
              Lines{"Warning: Failed to cache manifest: cannot write " + cachedManifest.string()});
}

TEST_F(EmojiDataManagerTests, ReplacesAnOldCacheByWhatTheServerSends)
{
    cache(sampleManifestJson("old"), 48h);
    answerWith(200, sampleManifestJson("new"));

    fetch();

    EXPECT_EQ(manager().manifest()->version(), "new");
    EXPECT_EQ(fakes.fileSystem.files.at(cachedManifest).bytes, sampleManifest("new").encode());
}

// From a fresh cache

TEST_F(EmojiDataManagerTests, TakesAFreshCacheWithoutARequest)
{
    cache(sampleManifestJson(), 10min);

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(requestCount(), 0U);
    EXPECT_EQ(manager().manifest(), sampleManifest());
    EXPECT_EQ(manager().loadingState(), loaded);
    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
    EXPECT_EQ(fakes.log.lines, Lines{});
}

TEST_F(EmojiDataManagerTests, AsksTheServerInSpiteOfAFreshCacheWhenForcedTo)
{
    cache(sampleManifestJson("cached"), 10min);
    answerWith(200, sampleManifestJson("fetched"));

    fetch(true);

    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(manager().manifest()->version(), "fetched");
}

TEST_F(EmojiDataManagerTests, TakesACacheOfExactlyOneDayForFresh)
{
    cache(sampleManifestJson(), 86400s);

    fetch();

    EXPECT_EQ(requestCount(), 0U);
}

TEST_F(EmojiDataManagerTests, TakesACacheOfMoreThanOneDayForExpired)
{
    cache(sampleManifestJson(), 86400s + 1ns);

    fetch();

    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(EmojiDataManagerTests, TakesACacheFromTheFutureForFreshAndOneFromLongAgoForExpired)
{
    cache(sampleManifestJson(), -48h);
    fetch();
    EXPECT_EQ(requestCount(), 0U);

    fakes.fileSystem.files[cachedManifest].modificationDate = std::chrono::system_clock::time_point::min();
    fetch();
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(EmojiDataManagerTests, TakesACacheWithoutADateForExpired)
{
    fakes.fileSystem.files[cachedManifest] = {sampleManifestJson(), std::nullopt};

    fetch();

    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(fakes.log.lines, Lines{});
}

TEST_F(EmojiDataManagerTests, ReportsACacheWhoseAgeCannotBeReadAndAsksTheServer)
{
    cache(sampleManifestJson());
    fakes.fileSystem.undatable = {cachedManifest};

    fetch();

    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(fakes.log.lines, Lines{"Failed to check cache age: cannot stat " + cachedManifest.string()});
}

TEST_F(EmojiDataManagerTests, FallsThroughToTheNetworkFromAFreshCacheThatIsCorrupt)
{
    cache(R"({"version": 1})");
    answerWith(200, sampleManifestJson());

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(manager().manifest(), sampleManifest());
    EXPECT_EQ(fakes.log.lines,
              Lines{"Failed to load cached manifest: version: expected string, found number"});
    EXPECT_EQ(fakes.fileSystem.files.at(cachedManifest).bytes, sampleManifest().encode());
}

TEST_F(EmojiDataManagerTests, FallsThroughToTheNetworkFromAFreshCacheThatCannotBeRead)
{
    cache(sampleManifestJson());
    fakes.fileSystem.unreadable = {cachedManifest};
    answerWith(200, sampleManifestJson());

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(fakes.log.lines,
              Lines{"Failed to load cached manifest: cannot read " + cachedManifest.string()});
}

TEST_F(EmojiDataManagerTests, ReportsACorruptCacheAgainWhenTheNetworkFailsToo)
{
    cache("");
    failWith("no route");

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && !*outcome);
    const std::string line =
        "Failed to load cached manifest: The document is not valid JSON: unexpected end at line 1, column 1";
    EXPECT_EQ(fakes.log.lines, (Lines{line, line}));
    EXPECT_EQ(manager().loadingState(), failed("Network error: no route"));
}

// Failures

struct FailingAnswer {
    std::string name;
    std::optional<int> statusCode;
    std::string body;
    Error::Kind kind;
    std::string description;
};

class FailingAnswerTests : public EmojiDataManagerTests, public testing::WithParamInterface<FailingAnswer> {
protected:
    FailingAnswerTests()
    {
        fakes.httpClient.respond = [](const HttpRequest&) {
            return HttpResponse{GetParam().statusCode, GetParam().body};
        };
    }
};

TEST_P(FailingAnswerTests, FailsTheLoadWithoutACache)
{
    const auto outcome = fetch();

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, GetParam().kind);
    EXPECT_EQ(outcome->error().errorDescription(), GetParam().description);
    EXPECT_EQ(manager().loadingState(), failed(GetParam().description));
    EXPECT_EQ(manager().manifest(), std::nullopt);
    EXPECT_EQ(fakes.log.lines, Lines{});
    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
}

TEST_P(FailingAnswerTests, FallsBackToACacheOfAnyAge)
{
    cache(sampleManifestJson(), 24h * 365 * 10);

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(manager().manifest(), sampleManifest());
    EXPECT_EQ(manager().loadingState(), loaded);
    EXPECT_EQ(fakes.log.lines, Lines{"Network error, using cached manifest: " + GetParam().description});
    EXPECT_EQ(fakes.fileSystem.writeCount, 0);
}

TEST_P(FailingAnswerTests, FallsBackToAFreshCacheOnAForcedRefresh)
{
    cache(sampleManifestJson(), 1min);

    const auto outcome = fetch(true);

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(fakes.log.lines, Lines{"Network error, using cached manifest: " + GetParam().description});
}

const std::string notJson = "JSON parsing error: The document is not valid JSON: unexpected ";

INSTANTIATE_TEST_SUITE_P(
    Answers, FailingAnswerTests,
    testing::Values(
        FailingAnswer{"Status201", 201, "{}", Error::Kind::httpError, "HTTP error: status code 201"},
        FailingAnswer{"Status204", 204, "", Error::Kind::httpError, "HTTP error: status code 204"},
        FailingAnswer{"Status206", 206, sampleManifestJson(), Error::Kind::httpError,
                      "HTTP error: status code 206"},
        FailingAnswer{"Status301", 301, "", Error::Kind::httpError, "HTTP error: status code 301"},
        FailingAnswer{"Status304", 304, "", Error::Kind::httpError, "HTTP error: status code 304"},
        FailingAnswer{"Status404", 404, "<html>", Error::Kind::httpError, "HTTP error: status code 404"},
        FailingAnswer{"Status500", 500, sampleManifestJson(), Error::Kind::httpError,
                      "HTTP error: status code 500"},
        FailingAnswer{"NoHttp", std::nullopt, sampleManifestJson(), Error::Kind::noData,
                      "No data received from server"},
        FailingAnswer{"EmptyBody", 200, "", Error::Kind::noData, "No data received from server"},
        FailingAnswer{"Html", 200, "<html></html>", Error::Kind::parsingError,
                      notJson + "text at line 1, column 1"},
        FailingAnswer{"Truncated", 200, "{\"version\":", Error::Kind::parsingError,
                      notJson + "end at line 1, column 12"},
        FailingAnswer{"WrongType", 200,
                      R"({"version": "1", "lastUpdated": "", "categories": [], "emojis": null})",
                      Error::Kind::parsingError, "JSON parsing error: emojis: expected object, found null"},
        FailingAnswer{"DeeplyNested", 200, std::string(1'000'000, '['), Error::Kind::parsingError,
                      "JSON parsing error: The document is nested more than 64 levels deep"}),
    [](const auto& answer) { return answer.param.name; });

TEST_F(EmojiDataManagerTests, FailsWithTheTransportErrorWithoutACache)
{
    failWith("The request timed out.");

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && !*outcome);
    EXPECT_EQ(outcome->error().kind, Error::Kind::networkError);
    EXPECT_EQ(outcome->error().underlying, "The request timed out.");
    EXPECT_EQ(manager().loadingState(), failed("Network error: The request timed out."));
    EXPECT_EQ(fakes.log.lines, Lines{});
}

TEST_F(EmojiDataManagerTests, FallsBackToTheCacheOnATransportError)
{
    cache(sampleManifestJson(), 48h);
    failWith("The request timed out.");

    const auto outcome = fetch();

    ASSERT_TRUE(outcome && *outcome);
    EXPECT_EQ(fakes.log.lines,
              Lines{"Network error, using cached manifest: Network error: The request timed out."});
    EXPECT_EQ(manager().loadingState(), loaded);
}

TEST_F(EmojiDataManagerTests, KeepsTheStatusCodeOfAnHttpError)
{
    answerWith(503, "");

    EXPECT_EQ(fetch()->error().statusCode, 503);
}

TEST_F(EmojiDataManagerTests, KeepsTheCacheThatAFailedLoadCouldNotRead)
{
    cache("corrupt", 48h);
    failWith("no route");

    fetch();

    EXPECT_EQ(fakes.fileSystem.files.at(cachedManifest).bytes, "corrupt");
}

// What observers see

class ManifestObserverTests : public EmojiDataManagerTests {
protected:
    struct Seen {
        State state;
        std::optional<std::string> version;

        bool operator==(const Seen&) const = default;
    };

    /// What the properties were before each of their changes.
    Registration observe()
    {
        return manager().observeWillChange([this] {
            const auto& manifest = manager().manifest();
            seen.push_back(
                {manager().loadingState(), manifest ? std::optional(manifest->version()) : std::nullopt});
        });
    }

    std::vector<Seen> seen;
};

TEST_F(ManifestObserverTests, AreToldBeforeEachChangeOfASuccessfulLoad)
{
    const auto observer = observe();
    answerWith(200, sampleManifestJson("1"));

    fetch();

    EXPECT_EQ(seen, (std::vector<Seen>{{idle, std::nullopt}, {loading, std::nullopt}, {loading, "1"}}));
    EXPECT_EQ(manager().loadingState(), loaded);
}

TEST_F(ManifestObserverTests, AreToldBeforeEachChangeOfAFailedLoad)
{
    const auto observer = observe();
    failWith("no route");

    fetch();

    EXPECT_EQ(seen, (std::vector<Seen>{{idle, std::nullopt}, {loading, std::nullopt}}));
    EXPECT_EQ(manager().loadingState(), failed("Network error: no route"));
}

TEST_F(ManifestObserverTests, SeeTheEarlierManifestWhileANewOneLoadsAndAfterAFailure)
{
    answerWith(200, sampleManifestJson("1"));
    fetch();
    fakes.fileSystem.files.erase(cachedManifest);
    const auto observer = observe();
    failWith("no route");

    fetch(true);

    EXPECT_EQ(seen, (std::vector<Seen>{{loaded, "1"}, {loading, "1"}}));
    EXPECT_EQ(manager().manifest()->version(), "1");
    EXPECT_EQ(manager().loadingState(), failed("Network error: no route"));
}

TEST_F(ManifestObserverTests, SeeALaterLoadStartFromLoadingAgain)
{
    failWith("no route");
    fetch();
    const auto observer = observe();
    answerWith(200, sampleManifestJson("2"));

    fetch();

    EXPECT_EQ(seen,
              (std::vector<Seen>{{failed("Network error: no route"), std::nullopt},
                                 {loading, std::nullopt},
                                 {loading, "2"}}));
}

TEST_F(ManifestObserverTests, AreToldNothingOnceTheirHandleIsGone)
{
    auto observer = observe();
    observer.reset();

    fetch();

    EXPECT_TRUE(seen.empty());
}

TEST(ManifestObserver, HandleMayOutliveTheManager)
{
    fakes::FakePlatform fakes;
    auto manager =
        std::make_unique<EmojiDataManager>(fakes.process, fakes.log, fakes.fileSystem, fakes.fileClock,
                                           fakes.time, fakes.httpClient, fakes.textLayout, fakes.imageCodec);
    auto observer = manager->observeWillChange([] {});

    manager.reset();
    observer.reset();

    EXPECT_FALSE(observer);
}

TEST(LoadingState, IsEqualByKindAndMessage)
{
    EXPECT_EQ(failed("a"), failed("a"));
    EXPECT_NE(failed("a"), failed("b"));
    EXPECT_NE(failed(""), loading);
    EXPECT_NE(idle, loaded);
}

TEST(ManifestError, DescribesItself)
{
    EXPECT_EQ((Error{Error::Kind::networkError, 0, "no route"}).errorDescription(),
              "Network error: no route");
    EXPECT_EQ((Error{Error::Kind::httpError, 404, {}}).errorDescription(), "HTTP error: status code 404");
    EXPECT_EQ((Error{Error::Kind::parsingError, 0, "version: missing"}).errorDescription(),
              "JSON parsing error: version: missing");
    EXPECT_EQ((Error{Error::Kind::noData, 0, {}}).errorDescription(), "No data received from server");
}

} // namespace
} // namespace glimmerwick
