#include "Search/SearchManager.h"

#include "Fakes/FakePlatform.h"
#include "Models/UnicodeText.h"
#include "Unit/Search/SearchTestSupport.h"
#include "Unit/Search/ThreadedQueues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <clocale>
#include <fstream>
#include <locale>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// The fakes with these services in place of their own.
Platform withServices(fakes::FakePlatform& fakes, Log& log, MainQueue& mainQueue,
                      DispatchQueues& dispatchQueues, Clock& clock)
{
    const Platform& set = fakes.platform;
    return {set.process,
            log,
            mainQueue,
            dispatchQueues,
            clock,
            set.fileClock,
            set.fileSystem,
            set.userDefaults,
            set.notificationCenter,
            set.httpClient,
            set.textLayout,
            set.imageCodec,
            set.pasteboard,
            set.workspace,
            set.eventTap,
            set.eventPoster,
            set.eventMonitors,
            set.accessibilityTrust,
            set.panelHost,
            set.menuHost,
            set.alert,
            set.fileViewer,
            set.volumeInfo,
            set.updater,
            set.userNotice};
}

class SearchManagerTests : public testing::Test {
protected:
    void make(SearchManager::IndexBuild build = SearchManager::IndexBuild::inBackground)
    {
        manager = std::make_unique<SearchManager>(manifest, build, 50, fakes.platform);
        listen();
    }

    void makeIndexed()
    {
        make();
        fakes.time.runUntilIdle();
    }

    void listen()
    {
        manager->onSearchResults = [this](const std::vector<Emoji>& results) {
            delivered.push_back(codepoints(results));
        };
        manager->onIndexingComplete = [this] {
            ++completions;
            indexedAtCompletion = manager->isIndexed();
        };
    }

    std::vector<std::string> found(const std::string& query) const
    {
        return codepoints(manager->search(query));
    }

    const Manifest manifest =
        manifestOf({searchable("1f600", "grinning face", {"grin", "happy"}),
                    searchable("1f408", "cat", {"pet"}), searchable("1f431", "cat face", {"pet", ""})});
    fakes::FakePlatform fakes;
    std::unique_ptr<SearchManager> manager;
    std::vector<std::vector<std::string>> delivered;
    int completions = 0;
    bool indexedAtCompletion = false;
};

// The index build

TEST_F(SearchManagerTests, IndexesInTheBackgroundOnce)
{
    make();
    EXPECT_FALSE(manager->isIndexed());
    EXPECT_THAT(fakes.log.lines, IsEmpty());

    fakes.time.runUntilIdle();

    EXPECT_TRUE(manager->isIndexed());
    EXPECT_THAT(fakes.time.globalQueuesAsked, ElementsAre(QualityOfService::userInitiated));
    EXPECT_THAT(fakes.log.lines,
                ElementsAre("[SearchManager] Index built: 3 emojis, 8 words indexed in 0.00ms"));
    EXPECT_EQ(completions, 1);
    EXPECT_TRUE(indexedAtCompletion);
    EXPECT_EQ(fakes.time.pendingCount(), 0u);
}

TEST_F(SearchManagerTests, TheShorterInitialiserIndexesInTheBackground)
{
    manager = std::make_unique<SearchManager>(manifest, 50, fakes.platform);
    listen();
    EXPECT_FALSE(manager->isIndexed());

    fakes.time.runUntilIdle();

    EXPECT_TRUE(manager->isIndexed());
    EXPECT_EQ(completions, 1);
}

TEST_F(SearchManagerTests, TheSynchronousBuildIsDoneWhenTheInitialiserReturns)
{
    make(SearchManager::IndexBuild::synchronous);

    EXPECT_TRUE(manager->isIndexed());
    EXPECT_THAT(fakes.time.globalQueuesAsked, IsEmpty());
    EXPECT_THAT(fakes.log.lines,
                ElementsAre("[SearchManager] Index built: 3 emojis, 8 words indexed in 0.00ms"));
    EXPECT_THAT(found("cat fa"), ElementsAre("1f431"));
    EXPECT_EQ(completions, 0);
    fakes.time.runUntilIdle();
    EXPECT_EQ(completions, 1);
}

TEST_F(SearchManagerTests, AnEmptyCatalogueIsIndexedToo)
{
    const SearchManager empty(manifestOf({}), SearchManager::IndexBuild::synchronous, 50, fakes.platform);

    EXPECT_TRUE(empty.isIndexed());
    EXPECT_THAT(fakes.log.lines,
                ElementsAre("[SearchManager] Index built: 0 emojis, 0 words indexed in 0.00ms"));
    EXPECT_THAT(empty.search("a"), IsEmpty());
}

TEST_F(SearchManagerTests, IndexingWithoutACallbackIsHarmless)
{
    make();
    manager->onIndexingComplete = nullptr;

    fakes.time.runUntilIdle();

    EXPECT_TRUE(manager->isIndexed());
}

TEST_F(SearchManagerTests, AManagerGoneBeforeTheBuildIsNotIndexed)
{
    make();

    manager.reset();
    fakes.time.runUntilIdle();

    EXPECT_THAT(fakes.log.lines, IsEmpty());
    EXPECT_EQ(completions, 0);
}

/// Every look at the clock finds it later by a fixed step.
class SteppingClock : public Clock {
public:
    explicit SteppingClock(std::chrono::nanoseconds step) : m_step(step) { }
    std::chrono::steady_clock::time_point now() override { return m_now += m_step; }
    void sleep(std::chrono::nanoseconds) override { }

private:
    std::chrono::nanoseconds m_step;
    std::chrono::steady_clock::time_point m_now;
};

TEST_F(SearchManagerTests, TheElapsedTimeHasTwoDecimals)
{
    for (const std::chrono::nanoseconds step : {1234567ns, 9996000ns, 4ns, 1234567890000ns}) {
        SteppingClock clock(step);
        SearchManager(manifest, SearchManager::IndexBuild::synchronous, 50,
                      withServices(fakes, fakes.log, fakes.time, fakes.time, clock));
    }

    const std::string start = "[SearchManager] Index built: 3 emojis, 8 words indexed in ";
    EXPECT_THAT(fakes.log.lines,
                ElementsAre(start + "1.23ms", start + "10.00ms", start + "0.00ms", start + "1234567.89ms"));
}

/// Makes the decimal point a comma for streams, and for the C library where such a locale is installed.
class CommaLocale {
public:
    CommaLocale()
        : m_formerC(std::setlocale(LC_ALL, nullptr)),
          m_former(std::locale::global(std::locale(std::locale::classic(), new Comma)))
    {
        for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8"}) {
            if (std::setlocale(LC_ALL, name)) {
                break;
            }
        }
    }
    ~CommaLocale()
    {
        std::locale::global(m_former);
        std::setlocale(LC_ALL, m_formerC.c_str());
    }

private:
    class Comma : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };

    std::string m_formerC;
    std::locale m_former;
};

TEST_F(SearchManagerTests, TheElapsedTimeHasAPointWhateverTheLocale)
{
    const CommaLocale comma;
    SteppingClock clock(1500us);

    SearchManager(manifest, SearchManager::IndexBuild::synchronous, 50,
                  withServices(fakes, fakes.log, fakes.time, fakes.time, clock));

    EXPECT_THAT(fakes.log.lines,
                ElementsAre("[SearchManager] Index built: 3 emojis, 8 words indexed in 1.50ms"));
}

// Searching at once

TEST_F(SearchManagerTests, SearchesTheIndex)
{
    makeIndexed();

    EXPECT_THAT(found(" CAT\n"), ElementsAre("1f408", "1f431"));
    EXPECT_THAT(found("gri"), ElementsAre("1f600"));
    EXPECT_THAT(found("  "), IsEmpty());
}

TEST_F(SearchManagerTests, BeforeTheIndexIsBuiltTheSameIsFound)
{
    make();

    ASSERT_FALSE(manager->isIndexed());
    EXPECT_THAT(found("grinning"), ElementsAre("1f600"));
    EXPECT_THAT(found("hippY "), ElementsAre("1f600"));
    EXPECT_THAT(found(" CAT\n"), ElementsAre("1f408", "1f431"));
}

TEST_F(SearchManagerTests, ResultsCarryTheWholeEmoji)
{
    makeIndexed();

    const auto results = manager->search("grin");

    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].name, "grinning face");
    EXPECT_THAT(results[0].keywords, ElementsAre("grin", "happy"));
}

// Debounced searching

TEST_F(SearchManagerTests, ADebouncedSearchDeliversAfterTheDelay)
{
    makeIndexed();

    manager->searchDebounced("cat");
    fakes.time.advance(49ms);
    EXPECT_THAT(delivered, IsEmpty());
    fakes.time.advance(1ms);

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
    EXPECT_THAT(
        fakes.time.serialQueuesMade,
        ElementsAre(std::pair(std::string("com.glimmerwick.search"), QualityOfService::userInitiated)));
}

TEST_F(SearchManagerTests, OfQueriesWithinTheDelayOnlyTheLastIsDelivered)
{
    makeIndexed();

    manager->searchDebounced("gri");
    fakes.time.advance(49ms);
    manager->searchDebounced("cat");
    fakes.time.advance(1s);

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
}

TEST_F(SearchManagerTests, QueriesFurtherApartAreAllDelivered)
{
    makeIndexed();

    manager->searchDebounced("gri");
    fakes.time.advance(50ms);
    manager->searchDebounced("cat");
    fakes.time.advance(50ms);

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600"), ElementsAre("1f408", "1f431")));
}

TEST_F(SearchManagerTests, ABlankQueryDeliversNothingFoundAfterTheDelay)
{
    makeIndexed();

    manager->searchDebounced("  ");
    EXPECT_THAT(delivered, IsEmpty());
    fakes.time.advance(50ms);

    EXPECT_THAT(delivered, ElementsAre(IsEmpty()));
}

TEST_F(SearchManagerTests, ADelayOfNothingStillDeliversLater)
{
    manager =
        std::make_unique<SearchManager>(manifest, SearchManager::IndexBuild::synchronous, 0, fakes.platform);
    listen();

    manager->searchDebounced("gri");
    EXPECT_THAT(delivered, IsEmpty());
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600")));
}

TEST_F(SearchManagerTests, CancellingStopsASearchThatWaits)
{
    makeIndexed();

    manager->searchDebounced("cat");
    manager->cancelPendingSearch();
    fakes.time.advance(1s);

    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(SearchManagerTests, CancellingWithoutASearchIsHarmlessAndLaterSearchesDeliver)
{
    makeIndexed();

    manager->cancelPendingSearch();
    manager->searchDebounced("gri");
    fakes.time.advance(1s);
    manager->cancelPendingSearch();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600")));
}

TEST_F(SearchManagerTests, WithoutACallbackResultsAreDropped)
{
    makeIndexed();
    manager->onSearchResults = nullptr;

    manager->searchDebounced("cat");
    fakes.time.advance(1s);
    listen();
    fakes.time.advance(1s);

    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(SearchManagerTests, AManagerGoneDeliversNothing)
{
    makeIndexed();
    manager->searchDebounced("cat");

    manager.reset();
    fakes.time.advance(1s);

    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(SearchManagerTests, TheCallbackMayReplaceItself)
{
    makeIndexed();
    const auto kept = std::make_shared<int>(0);
    manager->onSearchResults = [this, kept](const std::vector<Emoji>&) {
        manager->onSearchResults = nullptr;
        ++*kept;
    };

    manager->searchDebounced("cat");
    fakes.time.advance(1s);

    EXPECT_EQ(*kept, 1);
}

/// A serial queue that the test runs by hand, to stand between a search and its delivery.
class HandRunQueues : public DispatchQueues {
public:
    std::unique_ptr<SerialQueue> makeSerialQueue(const std::string&, QualityOfService) override
    {
        return std::make_unique<HandRunQueue>(items);
    }
    ConcurrentQueue& globalQueue(QualityOfService) override { std::abort(); }

    /// Runs what has not been cancelled, as far as posting the delivery.
    void run()
    {
        const auto current = std::exchange(items, {});
        for (const auto& item : current) {
            (*item)();
        }
    }

    using Items = std::vector<std::shared_ptr<std::function<void()>>>;
    Items items;

private:
    class HandRunQueue : public SerialQueue {
    public:
        explicit HandRunQueue(Items& items) : m_items(items) { }
        Registration asyncAfter(std::chrono::nanoseconds, std::function<void()> work) override
        {
            auto item = std::make_shared<std::function<void()>>(std::move(work));
            m_items.push_back(item);
            return Registration([&items = m_items, item] { std::erase(items, item); });
        }

    private:
        Items& m_items;
    };
};

class SearchDeliveryTests : public SearchManagerTests {
protected:
    SearchDeliveryTests()
    {
        manager =
            std::make_unique<SearchManager>(manifest, SearchManager::IndexBuild::synchronous, 50,
                                            withServices(fakes, fakes.log, fakes.time, queues, fakes.time));
        listen();
        fakes.time.runUntilIdle();
    }
    ~SearchDeliveryTests() override { manager.reset(); }

    HandRunQueues queues;
};

TEST_F(SearchDeliveryTests, ASearchThatHasRunDeliversInSpiteOfACancellation)
{
    manager->searchDebounced("cat");
    queues.run();

    manager->cancelPendingSearch();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, ASupersededSearchThatHasRunDeliversBeforeTheNewerOne)
{
    manager->searchDebounced("gri");
    queues.run();

    manager->searchDebounced("cat");
    queues.run();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600"), ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, AManagerGoneBeforeTheDeliveryDeliversNothing)
{
    manager->searchDebounced("cat");
    queues.run();

    manager.reset();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, IsEmpty());
}

TEST_F(SearchDeliveryTests, AManagerGoneBeforeTheSearchSearchesNothing)
{
    manager->searchDebounced("cat");
    const auto running = queues.items;

    manager.reset();
    (*running.front())();

    EXPECT_EQ(fakes.time.pendingCount(), 0u);
}

// Flushing

TEST_F(SearchDeliveryTests, FlushingDeliversASearchThatWaitsAtOnceAndOnlyOnce)
{
    manager->searchDebounced("cat");

    manager->flushPendingSearch();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
    queues.run();
    fakes.time.runUntilIdle();
    manager->flushPendingSearch();
    EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(SearchDeliveryTests, FlushingDeliversASearchWhoseDeliveryWaitsAndOnlyOnce)
{
    manager->searchDebounced("cat");
    queues.run();

    manager->flushPendingSearch();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
    fakes.time.runUntilIdle();
    EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(SearchDeliveryTests, FlushingDeliversASearchThatRuns)
{
    manager->searchDebounced("cat");
    const auto running = queues.items;

    manager->flushPendingSearch();
    (*running.front())();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, AnOlderSearchDoesNotReplaceWhatAFlushDelivered)
{
    manager->searchDebounced("gri");
    queues.run();
    manager->searchDebounced("cat");

    manager->flushPendingSearch();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, WhileTheLatestWaitsAnOlderDeliveryLeavesItToFlush)
{
    manager->searchDebounced("gri");
    queues.run();
    manager->searchDebounced("cat");
    fakes.time.runUntilIdle();

    manager->flushPendingSearch();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600"), ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, FlushingAfterTheDeliveryOrACancellationDoesNothing)
{
    manager->flushPendingSearch();
    EXPECT_THAT(delivered, IsEmpty());

    manager->searchDebounced("cat");
    queues.run();
    fakes.time.runUntilIdle();
    manager->flushPendingSearch();
    EXPECT_EQ(delivered.size(), 1u);

    manager->searchDebounced("gri");
    manager->cancelPendingSearch();
    manager->flushPendingSearch();
    EXPECT_EQ(delivered.size(), 1u);
}

TEST_F(SearchDeliveryTests, SearchesAfterAFlushDeliver)
{
    manager->searchDebounced("gri");
    manager->flushPendingSearch();

    manager->searchDebounced("cat");
    queues.run();
    fakes.time.runUntilIdle();

    EXPECT_THAT(delivered, ElementsAre(ElementsAre("1f600"), ElementsAre("1f408", "1f431")));
}

TEST_F(SearchDeliveryTests, FlushingWithoutACallbackIsHarmless)
{
    manager->onSearchResults = nullptr;
    manager->searchDebounced("cat");

    manager->flushPendingSearch();
    listen();
    manager->flushPendingSearch();

    EXPECT_THAT(delivered, IsEmpty());
}

// Threads

/// The Unicode library guards its one-time set-up itself, but in code that the thread sanitizer does not see
/// into. Done beforehand, what it reports is ours.
void setTextRulesUp()
{
    EXPECT_EQ(unicode::graphemeClusters(unicode::canonical(unicode::lowercased("SCHÖN"))).size(), 5u);
}

TEST_F(SearchManagerTests, SearchesOnOtherThreadsWhileTheIndexIsBuilt)
{
    std::vector<Emoji> emojis;
    for (int number = 0; number < 500; ++number) {
        const std::string text = std::to_string(number);
        emojis.push_back(searchable("e" + text, "emoji number " + text, {"word" + text, "schön", "common"}));
    }
    setTextRulesUp();
    fakes::ThreadedLog log;
    fakes::ThreadedMainQueue mainQueue;
    fakes::ThreadedQueues queues;
    const Platform platform = withServices(fakes, log, mainQueue, queues, fakes.time);

    manager = std::make_unique<SearchManager>(manifestOf(emojis), 50, platform);
    listen();
    std::atomic<bool> ends = false;
    std::vector<std::thread> searchers;
    for (int thread = 0; thread < 2; ++thread) {
        searchers.emplace_back([&] {
            while (!ends) {
                EXPECT_FALSE(manager->search("word7").empty());
            }
        });
    }
    manager->searchDebounced("word42");
    EXPECT_FALSE(manager->search("word8").empty());

    EXPECT_TRUE(mainQueue.runUntil([&] { return completions == 1 && delivered.size() == 1; }));
    ends = true;
    for (std::thread& searcher : searchers) {
        searcher.join();
    }

    EXPECT_TRUE(indexedAtCompletion);
    EXPECT_EQ(found("word42").front(), "e42");
    EXPECT_EQ(found("emoji number 4").size(), 50u);
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::StartsWith("[SearchManager] Index built: 500 emojis, 2000 words")));
    manager.reset();
}

TEST_F(SearchManagerTests, AManagerDestroyedDuringItsBuildAndSearchIsHarmless)
{
    setTextRulesUp();
    fakes::ThreadedLog log;
    fakes::ThreadedMainQueue mainQueue;
    fakes::ThreadedQueues queues;
    const Platform platform = withServices(fakes, log, mainQueue, queues, fakes.time);

    for (int round = 0; round < 20; ++round) {
        SearchManager shortLived(manifest, 50, platform);
        shortLived.onSearchResults = [](const std::vector<Emoji>&) { FAIL() << "delivered to nobody"; };
        shortLived.searchDebounced("cat");
    }
    bool drained = false;
    mainQueue.async([&] { drained = true; });

    EXPECT_TRUE(mainQueue.runUntil([&] { return drained; }));
}

// The bundled catalogue

TEST_F(SearchManagerTests, FindsWhatPeopleTypeInTheBundledCatalogue)
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json");
    std::stringstream json;
    json << file.rdbuf();
    const auto bundled = Manifest::decode(json.str());
    ASSERT_TRUE(bundled.isSuccess());
    manager = std::make_unique<SearchManager>(bundled.value(), SearchManager::IndexBuild::synchronous, 50,
                                              fakes.platform);

    EXPECT_EQ(found("face").size(), 50u);
    EXPECT_EQ(found("grinning face").front(), "1f600");
    EXPECT_THAT(found("piza"), testing::Contains("1f355"));
    EXPECT_EQ(found("heart"), found("HEART "));
}

} // namespace
} // namespace glimmerwick
