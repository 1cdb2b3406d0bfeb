#include "Fakes/FakePictureStore.h"
#include "Views/CollectionView.h"
#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/ViewsFixture.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <chrono>
#include <memory>

namespace glimmerwick {
namespace {

constexpr QSize gridSize(320, 312);
/// Seven columns, and as many rows as have a part inside the grid.
constexpr std::size_t visibleWithoutRecent = 49;

/// Counts the cells that are painted while it lives.
class PaintedCells : public QObject {
public:
    PaintedCells() { QCoreApplication::instance()->installEventFilter(this); }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && dynamic_cast<EmojiCell*>(watched)) {
            ++count;
        }
        return false;
    }

    std::size_t count = 0;
};

/// The grid in a window that has not been shown yet. Counts what is drawn, never how long it takes.
class WarmingTests : public tests::ViewsFixture {
protected:
    WarmingTests()
    {
        EmojiPixmapCache::shared().clear();
        grid = std::make_unique<EmojiGridViewController>(fakes.platform, dataManager, recents, preferences,
                                                         renderer, popover);
        window.resize(gridSize);
        grid->view()->setParent(&window);
        grid->view()->setGeometry(QRect(QPoint(), gridSize));
    }

    /// Three categories of 140, 70 and 7 emoji; all of the first accept a skin tone.
    static std::string document(unsigned firstScalar = 0x1f600)
    {
        const auto first = tests::codepoints(firstScalar, 140);
        return tests::manifestDocument({{"a", "First", first},
                                        {"b", "Second", tests::codepoints(0x1f300, 70)},
                                        {"c", "Third", tests::codepoints(0x1f900, 7)}},
                                       first);
    }

    void publish(const std::string& manifest)
    {
        loadManifest(manifest);
        grid->reloadData();
    }

    void addRecents(unsigned firstScalar, std::size_t count)
    {
        for (const std::string& codepoint : tests::codepoints(firstScalar, count)) {
            recents.addRecent(codepoint);
        }
    }

    static std::vector<Emoji> someResults()
    {
        return {{"1f980", SkinTone::codepointToChar("1f980").value(), "", {}, "", false}};
    }

    std::size_t show(const QScreen& screen)
    {
        window.move(screen.availableGeometry().center());
        const PaintedCells painted;
        window.show();
        QCoreApplication::processEvents();
        return painted.count;
    }

    struct FirstShow {
        std::size_t paintedCells = 0;
        std::size_t drawnTexts = 0;
        int drawnPictures = 0;
    };

    /// What waits in the main queue is done before, as it is when the picker waits for its shortcut.
    FirstShow firstShow(const QScreen& screen = *QGuiApplication::primaryScreen())
    {
        fakes.time.runUntilIdle();
        const std::size_t textsBefore = EmojiPixmapCache::shared().drawCount();
        const int picturesBefore = fakes.imageCodec.drawCount;
        FirstShow result;
        result.paintedCells = show(screen);
        result.drawnTexts = EmojiPixmapCache::shared().drawCount() - textsBefore;
        result.drawnPictures = fakes.imageCodec.drawCount - picturesBefore;
        return result;
    }

    void expectNothingToDraw(std::size_t visibleCells)
    {
        const FirstShow first = firstShow();
        EXPECT_EQ(first.paintedCells, visibleCells);
        EXPECT_EQ(first.drawnTexts, 0U);
        EXPECT_EQ(first.drawnPictures, 0);
    }

    std::string shownText(IndexPath path)
    {
        const auto* cell = dynamic_cast<EmojiCell*>(grid->internalCollectionView()->item(path));
        return cell ? cell->text() : "(no cell)";
    }

    QWidget window;
    std::unique_ptr<EmojiGridViewController> grid;
};

TEST_F(WarmingTests, aFirstScreenThatIsNotWarmIsDrawnWhenItIsShown)
{
    publish(document());
    fakes.time.runUntilIdle();
    EmojiPixmapCache::shared().clear();

    const FirstShow first = firstShow();

    EXPECT_EQ(first.paintedCells, visibleWithoutRecent);
    EXPECT_EQ(first.drawnTexts, visibleWithoutRecent);
}

TEST_F(WarmingTests, withoutRecentEmoji)
{
    publish(document());

    expectNothingToDraw(visibleWithoutRecent);
}

TEST_F(WarmingTests, withRecentEmoji)
{
    loadManifest(document());
    addRecents(0x1f640, 9);

    grid->reloadData();

    // Two rows, then four of the first category.
    expectNothingToDraw(9 + 28);
    EXPECT_EQ(shownText({0, 0}), "🙈");
}

TEST_F(WarmingTests, withAPreferredTone)
{
    preferences.setPreferredSkinTone(SkinTone::medium);

    publish(document());

    expectNothingToDraw(visibleWithoutRecent);
    EXPECT_EQ(shownText({0, 0}), "😀🏽");
}

TEST_F(WarmingTests, afterTheToneHasChanged)
{
    publish(document());
    fakes.time.runUntilIdle();

    preferences.setPreferredSkinTone(SkinTone::dark);

    expectNothingToDraw(visibleWithoutRecent);
    EXPECT_EQ(shownText({0, 0}), "😀🏿");
}

TEST_F(WarmingTests, afterTheToneHasChangedDuringASearch)
{
    publish(document());
    fakes.time.runUntilIdle();
    grid->showSearchResults(someResults());

    preferences.setPreferredSkinTone(SkinTone::dark);
    fakes.time.runUntilIdle();
    grid->clearSearch();

    expectNothingToDraw(visibleWithoutRecent);
}

TEST_F(WarmingTests, afterTheFirstRecentEmojiHaveCome)
{
    publish(document());
    fakes.time.runUntilIdle();

    addRecents(0x1f900, 7);

    expectNothingToDraw(7 + 35);
    EXPECT_EQ(shownText({0, 0}), "🤆");
}

TEST_F(WarmingTests, afterRecentEmojiHaveChanged)
{
    loadManifest(document());
    addRecents(0x1f300, 7);
    grid->reloadData();
    fakes.time.runUntilIdle();

    addRecents(0x1f320, 7);

    expectNothingToDraw(14 + 28);
    EXPECT_EQ(shownText({0, 0}), "🌦");
}

TEST_F(WarmingTests, afterRecentEmojiHaveChangedDuringASearch)
{
    publish(document());
    fakes.time.runUntilIdle();
    grid->showSearchResults(someResults());

    addRecents(0x1f320, 7);
    fakes.time.runUntilIdle();
    grid->clearSearch();

    expectNothingToDraw(7 + 35);
}

TEST_F(WarmingTests, afterToneAndRecentEmojiHaveChangedTogether)
{
    publish(document());
    fakes.time.runUntilIdle();

    preferences.setPreferredSkinTone(SkinTone::light);
    addRecents(0x1f640, 7);

    expectNothingToDraw(7 + 35);
    EXPECT_EQ(shownText({0, 0}), "🙆🏻");
}

TEST_F(WarmingTests, afterANewManifest)
{
    publish(document());
    fakes.time.runUntilIdle();

    publish(document(0x1f400));

    expectNothingToDraw(visibleWithoutRecent);
    EXPECT_EQ(shownText({0, 0}), "🐀");
}

TEST_F(WarmingTests, afterANewManifestDuringASearch)
{
    publish(document());
    fakes.time.runUntilIdle();
    grid->showSearchResults(someResults());

    publish(document(0x1f400));
    fakes.time.runUntilIdle();
    grid->clearSearch();

    expectNothingToDraw(visibleWithoutRecent);
}

TEST_F(WarmingTests, ofEmojiThatTheFontLacks)
{
    for (const std::string& codepoint : tests::codepoints(0x1f600, 20)) {
        makeUnsupported(codepoint);
    }

    publish(document());

    expectNothingToDraw(visibleWithoutRecent);
    EXPECT_EQ(fakes.imageCodec.drawCount, 20);
}

TEST_F(WarmingTests, fetchesNothing)
{
    for (const std::string& codepoint : tests::codepoints(0x1f600, 20)) {
        makeUnsupported(codepoint);
    }

    publish(document());
    fakes.time.runUntilIdle();

    EXPECT_TRUE(fakes.httpClient.exchanges.empty()) << "nobody has asked for the picker yet";
}

TEST_F(WarmingTests, leavesTheMainQueueToOthersAfterAFewEmoji)
{
    const std::size_t drawnBefore = EmojiPixmapCache::shared().drawCount();
    std::vector<std::size_t> drawCounts;
    publish(document());

    // Work that others queue, again and again: each time it stands behind what was queued before.
    std::function<void()> other = [&] {
        drawCounts.push_back(EmojiPixmapCache::shared().drawCount());
        if (drawCounts.size() < 20) {
            fakes.time.async(other);
        }
    };
    fakes.time.async(other);
    fakes.time.runUntilIdle();

    const auto ratios = static_cast<std::size_t>(std::max<qsizetype>(1, QGuiApplication::screens().size()));
    ASSERT_EQ(drawCounts.size(), 20U);
    EXPECT_GE(drawCounts.back() - drawnBefore, visibleWithoutRecent);
    std::size_t previous = drawnBefore;
    for (const std::size_t count : drawCounts) {
        EXPECT_LE(count - previous, 8 * ratios);
        previous = count;
    }
}

TEST_F(WarmingTests, drawsNoFirstScreenThatAnotherHasReplaced)
{
    const std::size_t drawnBefore = EmojiPixmapCache::shared().drawCount();
    publish(document());
    fakes.time.runUntilIdle();
    const std::size_t oneScreen = EmojiPixmapCache::shared().drawCount() - drawnBefore;

    preferences.setPreferredSkinTone(SkinTone::light);
    preferences.setPreferredSkinTone(SkinTone::medium);
    preferences.setPreferredSkinTone(SkinTone::dark);
    fakes.time.runUntilIdle();

    EXPECT_EQ(EmojiPixmapCache::shared().drawCount() - drawnBefore, 2 * oneScreen);
}

TEST_F(WarmingTests, endsWithTheGrid)
{
    publish(document());
    const std::size_t drawnBefore = EmojiPixmapCache::shared().drawCount();

    grid.reset();
    fakes.time.runUntilIdle();

    EXPECT_EQ(EmojiPixmapCache::shared().drawCount(), drawnBefore);
}

TEST_F(WarmingTests, onEveryScreenAtItsOwnRatio)
{
    publish(document());

    for (const QScreen* screen : QGuiApplication::screens()) {
        const FirstShow first = firstShow(*screen);
        EXPECT_NEAR(window.devicePixelRatioF(), screen->devicePixelRatio(), 0.001);
        EXPECT_EQ(first.paintedCells, visibleWithoutRecent);
        EXPECT_EQ(first.drawnTexts, 0U) << "at a device pixel ratio of " << screen->devicePixelRatio();
        window.hide();
    }
}

/// The same with a store.
class StoringTests : public WarmingTests {
protected:
    StoringTests()
    {
        EmojiPixmapCache::shared().setStore(&store, "maker");
        grid->onDrawnAhead = [this] { ++drawnAheadCount; };
    }
    ~StoringTests() override { EmojiPixmapCache::shared().setStore(nullptr, {}); }

    /// The store keeps what it is given within the millisecond.
    void letTimePass()
    {
        for (int step = 0; step < 12000; ++step) {
            fakes.time.advance(std::chrono::milliseconds(1));
            store.keepWritten();
        }
    }

    static constexpr int emojiCount = 140 + 70 + 7;
    fakes::FakePictureStore store;
    int drawnAheadCount = 0;
};

TEST_F(StoringTests, allEmojiAreDrawnOnceForTheStore)
{
    publish(document());
    letTimePass();
    const int written = store.writeCount;
    EXPECT_GE(written, emojiCount);
    EXPECT_EQ(drawnAheadCount, 2);

    const std::size_t drawnBefore = EmojiPixmapCache::shared().drawCount();
    grid->reloadData();
    letTimePass();

    EXPECT_EQ(EmojiPixmapCache::shared().drawCount(), drawnBefore);
    EXPECT_EQ(store.writeCount, written);
    EXPECT_EQ(drawnAheadCount, 4);
}

TEST_F(StoringTests, theNextLaunchLaysOutNoMoreThanTheFirstScreen)
{
    publish(document());
    letTimePass();

    EmojiDataManager nextDataManager(fakes.process, fakes.log, fakes.fileSystem, fakes.fileClock, fakes.time,
                                     fakes.httpClient, fakes.textLayout, fakes.imageCodec);
    EmojiGridViewController nextGrid(fakes.platform, nextDataManager, recents, preferences, renderer,
                                     popover);
    int nextDrawnAheadCount = 0;
    nextGrid.onDrawnAhead = [&nextDrawnAheadCount] { ++nextDrawnAheadCount; };
    const int before = fakes.textLayout.layOutCount;
    auto task = nextDataManager.fetchManifest(false);
    task.start([&nextGrid](const auto&) { nextGrid.reloadData(); });
    letTimePass();

    EXPECT_EQ(nextDrawnAheadCount, 2);
    EXPECT_GE(fakes.textLayout.layOutCount - before, 56);
    EXPECT_LT(fakes.textLayout.layOutCount - before, 70);
}

TEST_F(StoringTests, aPickDrawsNothingForAStoreThatKeepsNothing)
{
    publish(document());
    fakes.time.advance(std::chrono::seconds(30));
    ASSERT_EQ(drawnAheadCount, 2);
    const int written = store.writeCount;

    recents.addRecent("1f600");
    fakes.time.advance(std::chrono::seconds(30));

    EXPECT_EQ(drawnAheadCount, 3);
    EXPECT_EQ(store.writeCount, written);
}

TEST_F(StoringTests, notMoreThanOneIsDrawnWhileOtherWorkWaits)
{
    publish(document());
    while (store.writeCount < 60) {
        fakes.time.advance(std::chrono::milliseconds(1));
    }

    std::size_t mostAtOnce = 0;
    while (drawnAheadCount < 2) {
        const std::size_t before = EmojiPixmapCache::shared().drawCount();
        fakes.time.advance(std::chrono::milliseconds(1));
        mostAtOnce = std::max(mostAtOnce, EmojiPixmapCache::shared().drawCount() - before);
    }

    EXPECT_EQ(mostAtOnce, 1U);
}

TEST_F(StoringTests, nothingIsDrawnForTheStoreWhileTheGridIsShown)
{
    window.show();
    publish(document());
    letTimePass();
    EXPECT_EQ(drawnAheadCount, 1);
    EXPECT_LT(store.writeCount, emojiCount);

    window.hide();
    letTimePass();

    EXPECT_EQ(drawnAheadCount, 2);
    EXPECT_GE(store.writeCount, emojiCount);
}

TEST_F(StoringTests, withoutAStoreTheFirstScreenIsAll)
{
    EmojiPixmapCache::shared().setStore(nullptr, {});

    publish(document());
    letTimePass();

    EXPECT_EQ(drawnAheadCount, 1);
    EXPECT_EQ(store.writeCount, 0);
}

} // namespace
} // namespace glimmerwick
