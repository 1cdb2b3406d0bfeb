#include "Views/EmojiGridViewController.h"

#include "Fakes/SampleManifest.h"
#include "Views/CategoryHeaderView.h"
#include "Views/EmojiCell.h"
#include "Views/SearchBarView.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QLabel>

#include <gmock/gmock.h>

#include <thread>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Delegate : public EmojiGridViewControllerDelegate {
public:
    void didSelectEmoji(EmojiGridViewController&, const Emoji& emoji, EmojiSelectionAction action) override
    {
        calls.push_back("select " + emoji.codepoint
                        + (action == EmojiSelectionAction::copy ? " copy" : " type"));
    }
    void didScrollToCategory(EmojiGridViewController&, const EmojiCategory& category) override
    {
        calls.push_back("scroll " + category.id);
    }

    std::vector<std::string> calls;
};

class EmojiGridViewControllerTests : public tests::ViewsFixture {
protected:
    EmojiGridViewControllerTests()
    {
        grid = std::make_unique<EmojiGridViewController>(fakes.platform, dataManager, recents, preferences,
                                                         renderer, popover);
        grid->setDelegate(&delegate);
        observer = fakes.notificationCenter.addObserver(
            EmojiGridViewController::emojiSelectedNotification, [this](const Notification& notification) {
                EXPECT_EQ(notification.object, grid.get());
                const auto* emoji = notification.value<Emoji>("emoji");
                const auto* action = notification.value<EmojiSelectionAction>("action");
                ASSERT_TRUE(emoji && action);
                delegate.calls.push_back("post " + emoji->codepoint
                                         + (*action == EmojiSelectionAction::copy ? " copy" : " type"));
            });
    }

    /// Three categories of 140, 70 and 7 emoji: 20, 10 and 1 rows.
    static std::string threeCategories()
    {
        return tests::manifestDocument({{"a", "First", tests::codepoints(0x1f600, 140)},
                                        {"b", "Second", tests::codepoints(0x1f300, 70)},
                                        {"c", "Third", tests::codepoints(0x1f900, 7)}},
                                       {"1f600"});
    }

    void show(const std::string& document)
    {
        loadManifest(document);
        window.resize(320, 312);
        grid->view()->setParent(&window);
        grid->view()->setGeometry(0, 0, 320, 312);
        window.show();
        fakes.time.runUntilIdle();
        delegate.calls.clear();
        fakes.log.lines.clear();
    }

    CollectionView& collection() { return *grid->internalCollectionView(); }
    EmojiCell* cell(IndexPath path) { return dynamic_cast<EmojiCell*>(collection().item(path)); }
    std::string title(std::size_t section)
    {
        const auto* header = dynamic_cast<CategoryHeaderView*>(collection().header(section));
        return header ? header->title() : "(none)";
    }
    QLabel& noResultsLabel() { return *grid->view()->findChild<QLabel*>(); }
    double headerTop(std::size_t section) { return collection().flowLayout().headerFrame(section)->y; }

    static std::vector<Emoji> someResults(std::size_t count)
    {
        std::vector<Emoji> results;
        for (const std::string& codepoint : tests::codepoints(0x1f600, count)) {
            results.push_back({codepoint, SkinTone::codepointToChar(codepoint).value(), "", {}, "", false});
        }
        return results;
    }

    Delegate delegate;
    QWidget window;
    std::unique_ptr<EmojiGridViewController> grid;
    Registration observer;
};

TEST_F(EmojiGridViewControllerTests, saysThatThereIsNoManifestWhenItsViewIsLoaded)
{
    fakes.log.lines.clear();

    grid->view();
    grid->view();

    EXPECT_THAT(fakes.log.lines, ElementsAre("EmojiGridViewController: No manifest available"));
    EXPECT_EQ(collection().numberOfSections(), 0U);
    EXPECT_EQ(collection().objectName(), "emojiGrid");
}

TEST_F(EmojiGridViewControllerTests, logsWhatItLoadsInOrder)
{
    grid->view();
    loadManifest(tests::manifestDocument(
        {{"a", "First", {"1f600", "ffff0", "1f601"}}, {"b", "Second", {"1f44b"}}}, {}, {"ffff0"}));
    fakes.log.lines.clear();

    grid->reloadData();

    EXPECT_THAT(fakes.log.lines,
                ElementsAre("EmojiGridViewController: Loaded 2 categories",
                            "EmojiGridViewController: Loaded 3 total emojis",
                            "EmojiGridViewController: Loaded 0 recent emojis"));
    EXPECT_EQ(collection().numberOfItems(0), 2U);
}

TEST_F(EmojiGridViewControllerTests, withoutRecentEmojiTheCategoriesAreTheSections)
{
    show(threeCategories());

    EXPECT_EQ(collection().numberOfSections(), 3U);
    EXPECT_EQ(title(0), "First");
    EXPECT_EQ(cell({0, 0})->text(), "😀");
}

TEST_F(EmojiGridViewControllerTests, recentEmojiAreTheFirstSection)
{
    loadManifest(threeCategories());
    recents.addRecent("1f300");

    show(threeCategories());

    EXPECT_EQ(collection().numberOfSections(), 4U);
    EXPECT_EQ(title(0), "Recent");
    EXPECT_EQ(title(1), "First");
    EXPECT_EQ(cell({0, 0})->emoji()->codepoint, "1f300");
}

TEST_F(EmojiGridViewControllerTests, resultsAreOneSectionFromTheTop)
{
    show(threeCategories());
    collection().scrollTo(900);

    fakes.notificationCenter.post({SearchBarView::searchResultsDidChangeNotification, nullptr,
                                   std::map<std::string, std::any>{{"results", someResults(50)}}});

    EXPECT_TRUE(grid->isSearching());
    EXPECT_EQ(collection().numberOfSections(), 1U);
    EXPECT_EQ(collection().visibleTop(), 0);
    EXPECT_EQ(title(0), "Search Results");
    EXPECT_TRUE(collection().isVisible());
    EXPECT_FALSE(noResultsLabel().isVisible());
}

TEST_F(EmojiGridViewControllerTests, aSearchWithoutResultsSaysSo)
{
    show(threeCategories());

    grid->showSearchResults({});

    EXPECT_EQ(collection().numberOfSections(), 0U);
    EXPECT_EQ(collection().flowLayout().contentHeight(), 0);
    EXPECT_FALSE(collection().isVisible());
    EXPECT_TRUE(noResultsLabel().isVisible());
    EXPECT_EQ(noResultsLabel().text(), "No results found");
}

TEST_F(EmojiGridViewControllerTests, malformedResultsAreIgnored)
{
    show(threeCategories());
    const std::string name = SearchBarView::searchResultsDidChangeNotification;

    fakes.notificationCenter.post({name, nullptr, std::nullopt});
    fakes.notificationCenter.post({name, nullptr, std::map<std::string, std::any>{{"results", 3}}});
    fakes.notificationCenter.post(
        {name, nullptr, std::map<std::string, std::any>{{"other", someResults(2)}}});

    EXPECT_FALSE(grid->isSearching());
    EXPECT_EQ(collection().numberOfSections(), 3U);
}

TEST_F(EmojiGridViewControllerTests, clearedSearchRestoresTheCategoriesAndFindsTheVisibleOne)
{
    show(threeCategories());
    grid->showSearchResults({});
    delegate.calls.clear();

    fakes.notificationCenter.post({SearchBarView::searchClearedNotification, nullptr, std::nullopt});
    EXPECT_EQ(collection().numberOfSections(), 3U);
    EXPECT_FALSE(noResultsLabel().isVisible());
    EXPECT_TRUE(collection().isVisible());
    EXPECT_THAT(delegate.calls, IsEmpty()) << "the category is worked out later";

    fakes.time.runUntilIdle();
    EXPECT_THAT(delegate.calls, ElementsAre("scroll a"));
}

TEST_F(EmojiGridViewControllerTests, scrollingTellsOfEachVisibleCategoryOnce)
{
    show(threeCategories());
    collection().scrollTo(1);
    delegate.calls.clear();

    collection().scrollTo(headerTop(1) - 51);
    EXPECT_THAT(delegate.calls, IsEmpty());
    collection().scrollTo(headerTop(1) - 50);
    collection().scrollTo(headerTop(1) - 40);

    EXPECT_THAT(delegate.calls, ElementsAre("scroll b"));
}

TEST_F(EmojiGridViewControllerTests, scrollingBackToTheRecentEmojiTellsNobody)
{
    loadManifest(threeCategories());
    recents.addRecent("1f300");
    show(threeCategories());
    collection().scrollTo(headerTop(1));
    ASSERT_THAT(delegate.calls, ElementsAre("scroll a"));
    delegate.calls.clear();

    collection().scrollTo(0);

    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(EmojiGridViewControllerTests, scrollingWhileSearchingTellsNobody)
{
    show(threeCategories());
    grid->showSearchResults(someResults(100));

    collection().scrollTo(100);

    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(EmojiGridViewControllerTests, scrollToCategoryBringsItsHeaderToTheTopWithoutTelling)
{
    show(threeCategories());

    grid->scrollToCategory({"b", "", "", {}, {}, {}}, Animation::none);
    EXPECT_EQ(collection().visibleTop(), headerTop(1));
    EXPECT_THAT(delegate.calls, IsEmpty());

    collection().scrollTo(0);
    EXPECT_THAT(delegate.calls, ElementsAre("scroll a"));
}

TEST_F(EmojiGridViewControllerTests, aShortLastCategoryKeepsItsTabHighlighted)
{
    show(threeCategories());

    grid->scrollToCategory({"c", "", "", {}, {}, {}}, Animation::animated);

    EXPECT_EQ(collection().visibleTop(), collection().maximumVisibleTop());
    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(EmojiGridViewControllerTests, anAnimatedScrollTellsOfNothingOnItsWay)
{
    show(threeCategories());
    style::setAnimationsEnabled(true);
    grid->scrollToCategory({"c", "", "", {}, {}, {}}, Animation::animated);
    style::setAnimationsEnabled(false);

    collection().scrollTo(headerTop(1));

    EXPECT_THAT(delegate.calls, ElementsAre("scroll b")) << "the user took over";
}

TEST_F(EmojiGridViewControllerTests, aSecondAnimatedScrollTellsOfNothingOnItsWayEither)
{
    show(threeCategories());
    style::setAnimationsEnabled(true);
    grid->scrollToCategory({"b", "", "", {}, {}, {}}, Animation::animated);
    grid->scrollToCategory({"c", "", "", {}, {}, {}}, Animation::animated);
    style::setAnimationsEnabled(false);

    auto* const animation = collection().findChild<QVariantAnimation*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_TRUE(animation);
    animation->setCurrentTime(animation->duration() / 2);
    EXPECT_GT(collection().visibleTop(), 0) << "on its way";
    EXPECT_THAT(delegate.calls, IsEmpty());

    animation->setCurrentTime(animation->duration());
    EXPECT_EQ(collection().visibleTop(), collection().maximumVisibleTop());
    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(EmojiGridViewControllerTests, scrollsTakeTheirTimeAlongTheirCurves)
{
    show(threeCategories());
    style::setAnimationsEnabled(true);
    grid->scrollToCategory({"c", "", "", {}, {}, {}}, Animation::animated);
    auto* const animation = collection().findChild<QVariantAnimation*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_TRUE(animation);
    EXPECT_EQ(animation->duration(), 300);
    EXPECT_NEAR(animation->easingCurve().valueForProgress(0.25), 0.129, 0.001) << "slow at both ends";
    EXPECT_NEAR(animation->easingCurve().valueForProgress(0.75), 0.871, 0.001);

    animation->setCurrentTime(animation->duration());
    grid->scrollToTop(Animation::animated);
    EXPECT_EQ(animation->duration(), 200);
    EXPECT_NEAR(animation->easingCurve().valueForProgress(0.25), 0.378, 0.001) << "slow at its end alone";
    style::setAnimationsEnabled(false);
}

TEST_F(EmojiGridViewControllerTests, scrollToAnUnknownCategoryOrWhileSearchingDoesNothing)
{
    show(threeCategories());
    grid->scrollToCategory({"nowhere", "", "", {}, {}, {}}, Animation::none);
    EXPECT_EQ(collection().visibleTop(), 0);

    grid->showSearchResults(someResults(100));
    grid->scrollToCategory({"b", "", "", {}, {}, {}}, Animation::none);
    EXPECT_EQ(collection().visibleTop(), 0);
}

TEST_F(EmojiGridViewControllerTests, scrollToTop)
{
    show(threeCategories());
    for (const Animation animation : {Animation::none, Animation::animated}) {
        collection().scrollTo(500);
        grid->scrollToTop(animation);
        EXPECT_EQ(collection().visibleTop(), 0);
    }
}

TEST_F(EmojiGridViewControllerTests, clickPicksForTypingAndWithOptionForCopying)
{
    show(threeCategories());

    tests::click(*cell({0, 0}));
    EXPECT_THAT(delegate.calls, ElementsAre("select 1f600 type", "post 1f600 type"));
    delegate.calls.clear();

    tests::click(*cell({0, 1}), Qt::AltModifier);
    EXPECT_THAT(delegate.calls, ElementsAre("select 1f601 copy", "post 1f601 copy"));
}

TEST_F(EmojiGridViewControllerTests, aPickFlashesAndIsNotLeftSelected)
{
    show(threeCategories());

    tests::click(*cell({0, 2}));

    EXPECT_EQ(collection().selectedItem(), std::nullopt);
    EXPECT_FALSE(cell({0, 2})->isSelected());
    EXPECT_EQ(cell({0, 2})->shownBackgroundColor(), style::accent(0.4));
    fakes.time.advance(200ms);
    EXPECT_EQ(cell({0, 2})->shownBackgroundColor().alpha(), 0);
}

TEST_F(EmojiGridViewControllerTests, thePickedEmojiIsTheBaseOneWhateverTheTone)
{
    show(threeCategories());
    preferences.setPreferredSkinTone(SkinTone::dark);
    Emoji picked;
    const auto picking = fakes.notificationCenter.addObserver(
        EmojiGridViewController::emojiSelectedNotification,
        [&](const Notification& notification) { picked = *notification.value<Emoji>("emoji"); });

    tests::click(*cell({0, 0}));

    EXPECT_EQ(picked.codepoint, "1f600");
    EXPECT_EQ(picked.char_, "😀");
}

TEST_F(EmojiGridViewControllerTests, aPickOfNothingPostsNothing)
{
    show(threeCategories());
    collection().selectItem({0, 1}, ScrollPosition::none);

    grid->didSelectItems(collection(), {}, SelectionModifier::none);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 1}));
    grid->didSelectItems(collection(), {{9, 9}, {0, 1}}, SelectionModifier::none);

    EXPECT_THAT(delegate.calls, IsEmpty());
    EXPECT_EQ(collection().selectedItem(), std::nullopt);
}

TEST_F(EmojiGridViewControllerTests, firstRecentEmojiMakesASection)
{
    show(threeCategories());

    recents.addRecent("1f300");

    EXPECT_EQ(collection().numberOfSections(), 4U);
    EXPECT_EQ(title(0), "Recent");
    EXPECT_THAT(fakes.log.lines,
                testing::IsSupersetOf({"EmojiGridViewController: Loaded 1 recent emojis",
                                       "EmojiGridViewController: Recent emojis updated, count: 1"}));
}

TEST_F(EmojiGridViewControllerTests, anotherRecentEmojiReloadsTheirSectionAlone)
{
    loadManifest(threeCategories());
    recents.addRecent("1f300");
    show(threeCategories());
    EmojiCell* const untouched = cell({1, 3});
    collection().selectItem({1, 3}, ScrollPosition::none);

    recents.addRecent("1f301");

    EXPECT_EQ(collection().numberOfItems(0), 2U);
    EXPECT_EQ(cell({0, 0})->emoji()->codepoint, "1f301");
    EXPECT_EQ(cell({1, 3}), untouched);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{1, 3}));
    EXPECT_THAT(fakes.log.lines, Contains("EmojiGridViewController: Recent emojis updated, count: 2"));
}

TEST_F(EmojiGridViewControllerTests, recentEmojiThatTheManifestLacksChangeNothing)
{
    show(threeCategories());

    recents.addRecent("ffff0");

    EXPECT_EQ(collection().numberOfSections(), 3U);
    EXPECT_THAT(fakes.log.lines, Contains("EmojiGridViewController: Recent emojis updated, count: 0"));
}

TEST_F(EmojiGridViewControllerTests, recentEmojiPickedWhileSearchingAppearAfterwards)
{
    show(threeCategories());
    grid->showSearchResults(someResults(5));

    recents.addRecent("1f300");
    EXPECT_EQ(collection().numberOfSections(), 1U);
    EXPECT_EQ(collection().numberOfItems(0), 5U);
    EXPECT_THAT(fakes.log.lines, Contains("EmojiGridViewController: Recent emojis updated, count: 1"));

    grid->clearSearch();
    EXPECT_EQ(title(0), "Recent");
}

TEST_F(EmojiGridViewControllerTests, aChangedTonePreferenceIsShownAtOnce)
{
    show(threeCategories());

    preferences.setPreferredSkinTone(SkinTone::medium);

    EXPECT_EQ(cell({0, 0})->text(), "😀🏽");
    EXPECT_EQ(cell({0, 1})->text(), "😁");
}

TEST_F(EmojiGridViewControllerTests, fetchesAheadOnlyWhatItCannotDrawAndHasNot)
{
    loadManifest(threeCategories());
    const auto shown = tests::codepoints(0x1f600, 140);
    makeUnsupported(shown[60]);
    makeUnsupported(shown[61]);
    fakes.fileSystem.files[dataManager.cacheDirectory() / "emojis" / (shown[61] + ".png")] = {"PNG", {}};

    show(threeCategories());

    ASSERT_EQ(fakes.httpClient.exchanges.size(), 1U);
    EXPECT_THAT(fakes.httpClient.exchanges[0]->request.url,
                testing::EndsWith("/emojis/" + shown[60] + ".png"));

    collection().reloadData();
    fakes.time.runUntilIdle();
    EXPECT_EQ(fakes.httpClient.exchanges.size(), 1U) << "one fetch per codepoint at a time";
}

TEST_F(EmojiGridViewControllerTests, scrollingAwayCancelsTheFetch)
{
    const auto shown = tests::codepoints(0x1f600, 140);
    makeUnsupported(shown[60]);
    show(threeCategories());
    ASSERT_EQ(fakes.httpClient.exchanges.size(), 1U);

    collection().scrollTo(1e6);

    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
}

TEST_F(EmojiGridViewControllerTests, aFailedFetchAheadIsForgottenSilently)
{
    const auto shown = tests::codepoints(0x1f600, 140);
    makeUnsupported(shown[60]);
    show(threeCategories());
    ASSERT_EQ(fakes.httpClient.exchanges.size(), 1U);

    fakes.httpClient.answer(0, 404, "");
    fakes.time.runUntilIdle();
    EXPECT_THAT(fakes.log.lines, IsEmpty());

    collection().reloadData();
    fakes.time.runUntilIdle();
    EXPECT_EQ(fakes.httpClient.exchanges.size(), 2U) << "the next approach tries again";
}

TEST_F(EmojiGridViewControllerTests, callsFromOtherThreadsRunOnTheMainQueue)
{
    show(threeCategories());

    std::thread([this] {
        grid->showSearchResults(someResults(3));
        grid->scrollToTop(Animation::none);
    }).join();
    EXPECT_FALSE(grid->isSearching());
    fakes.time.runUntilIdle();

    EXPECT_EQ(collection().numberOfItems(0), 3U);
    std::thread([this] { grid->clearSearch(); }).join();
    fakes.time.runUntilIdle();
    EXPECT_FALSE(grid->isSearching());
}

TEST_F(EmojiGridViewControllerTests, callsFromOtherThreadsDoNothingOnceItIsGone)
{
    show(threeCategories());
    std::thread([this] { grid->reloadData(); }).join();

    grid.reset();
    fakes.log.lines.clear();
    fakes.time.runUntilIdle();

    EXPECT_THAT(fakes.log.lines, IsEmpty());
}

TEST_F(EmojiGridViewControllerTests, listensToNothingOnceItIsGone)
{
    show(threeCategories());
    grid.reset();

    recents.addRecent("1f300");
    fakes.notificationCenter.post({SearchBarView::searchClearedNotification, nullptr, std::nullopt});

    EXPECT_THAT(fakes.log.lines, Not(Contains(HasSubstr("EmojiGridViewController"))));
    EXPECT_TRUE(window.children().isEmpty());
}

TEST_F(EmojiGridViewControllerTests, survivesTheEndOfItsView)
{
    loadManifest(threeCategories());
    auto host = std::make_unique<QWidget>();
    grid->view()->setParent(host.get());

    host.reset();
    grid->reloadData();
    grid->showSearchResults({});
    grid->clearSearch();
    grid->scrollToTop(Animation::none);
    grid->scrollToCategory({"b", "", "", {}, {}, {}}, Animation::none);
    recents.addRecent("1f300");
    fakes.time.runUntilIdle();

    EXPECT_FALSE(grid->isSearching());
}

TEST_F(EmojiGridViewControllerTests, aNewManifestReplacesWhatIsShown)
{
    show(threeCategories());

    loadManifest(fakes::sampleManifestJson());
    grid->reloadData();

    EXPECT_EQ(collection().numberOfSections(), 2U);
    EXPECT_EQ(title(1), "People");
}

} // namespace
} // namespace glimmerwick
