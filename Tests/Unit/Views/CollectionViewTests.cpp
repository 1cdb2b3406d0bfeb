#include "Views/CollectionView.h"

#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QCursor>
#include <QWheelEvent>
#include <QWindow>

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// Serves plain items and records what the collection view asks and tells.
class Source : public CollectionViewDataSource,
               public CollectionViewDelegate,
               public CollectionViewPrefetching {
public:
    std::size_t numberOfSections() const override { return counts.size(); }
    std::size_t numberOfItems(std::size_t section) const override { return counts[section]; }
    CollectionViewItem* itemForIndexPath(CollectionView& view, IndexPath path) override
    {
        asked.push_back(path);
        return view.makeItem(kind);
    }
    CollectionReusableView* headerForSection(CollectionView& view, std::size_t section) override
    {
        askedHeaders.push_back(section);
        return view.makeHeader("header");
    }
    double headerHeight(std::size_t) const override { return header; }
    void didSelectItems(CollectionView&, const std::vector<IndexPath>& paths,
                        SelectionModifier modifier) override
    {
        selected = paths;
        selectedWith = modifier;
    }
    void prefetchItems(const std::vector<IndexPath>& paths) override
    {
        prefetched.insert(prefetched.end(), paths.begin(), paths.end());
    }
    void cancelPrefetching(const std::vector<IndexPath>& paths) override
    {
        cancelled.insert(cancelled.end(), paths.begin(), paths.end());
    }

    std::string kind = "item";
    std::vector<std::size_t> counts{700};
    double header = 28;
    std::vector<IndexPath> asked;
    std::vector<std::size_t> askedHeaders;
    std::vector<IndexPath> selected;
    SelectionModifier selectedWith = SelectionModifier::none;
    std::vector<IndexPath> prefetched;
    std::vector<IndexPath> cancelled;
};

class CollectionViewTests : public ::testing::Test {
protected:
    CollectionViewTests()
    {
        view.registerItem("item", [this] {
            ++made;
            return new CollectionViewItem;
        });
        view.registerHeader("header", [] { return new CollectionReusableView; });
        view.setDataSource(&source);
        view.setDelegate(&source);
        view.setPrefetching(&source);
        view.onBoundsDidChange = [this] { ++boundsChanges; };
        view.resize(320, 312);
        view.show();
        view.reloadData();
    }

    void wheel(QPoint angle, QPoint pixels = {})
    {
        QWheelEvent event({100, 100}, {100, 100}, pixels, angle, Qt::NoButton, Qt::NoModifier,
                          Qt::NoScrollPhase, false);
        QApplication::sendEvent(&view, &event);
    }

    Source source;
    CollectionView view;
    int made = 0;
    int boundsChanges = 0;
};

TEST_F(CollectionViewTests, onlyWhatIsVisibleAndARowAroundItExists)
{
    EXPECT_EQ(view.visibleItems().size(), 8U * 7);
    EXPECT_NE(view.item({0, 55}), nullptr);
    EXPECT_EQ(view.item({0, 56}), nullptr);
    EXPECT_EQ(view.item({0, 3})->geometry(), QRect(140, 36, 40, 40));
}

TEST_F(CollectionViewTests, itemsThatLeaveAreUsedAgainForThoseThatCome)
{
    const int before = made;

    for (int step = 1; step <= 50; ++step) {
        view.scrollTo(step * 60);
    }

    EXPECT_LE(made, before + 2 * 7);
    EXPECT_EQ(view.item({0, 0}), nullptr);
}

TEST_F(CollectionViewTests, scrollingStaysWithinTheContent)
{
    view.scrollTo(-50);
    EXPECT_EQ(view.visibleTop(), 0);

    view.scrollTo(1e9);
    EXPECT_EQ(view.visibleTop(), view.maximumVisibleTop());
    EXPECT_NE(view.item({0, 699}), nullptr);
}

TEST_F(CollectionViewTests, boundsChangeIsToldOncePerChange)
{
    view.scrollTo(100);
    view.scrollTo(100);

    EXPECT_EQ(boundsChanges, 1);
}

TEST_F(CollectionViewTests, contentThatFitsDoesNotScroll)
{
    source.counts = {3};
    view.reloadData();

    view.scrollTo(100);

    EXPECT_EQ(view.visibleTop(), 0);
    EXPECT_EQ(boundsChanges, 0);
}

TEST_F(CollectionViewTests, selectingHighlightsOneItemAndTellsNobody)
{
    view.selectItem({0, 2}, ScrollPosition::none);
    view.selectItem({0, 4}, ScrollPosition::none);

    EXPECT_FALSE(view.item({0, 2})->isSelected());
    EXPECT_TRUE(view.item({0, 4})->isSelected());
    EXPECT_EQ(view.selectedItem(), (IndexPath{0, 4}));
    EXPECT_TRUE(source.selected.empty());
}

TEST_F(CollectionViewTests, selectionComesBackWithItsItem)
{
    view.selectItem({0, 2}, ScrollPosition::none);

    view.scrollTo(2000);
    for (const CollectionViewItem* item : view.visibleItems()) {
        EXPECT_FALSE(item->isSelected()) << "a reused view keeps no selection";
    }
    view.scrollTo(0);

    EXPECT_TRUE(view.item({0, 2})->isSelected());
}

TEST_F(CollectionViewTests, anItemThatDoesNotExistIsNotSelected)
{
    view.selectItem({0, 2}, ScrollPosition::none);

    view.selectItem({0, 700}, ScrollPosition::top);
    view.selectItem({1, 0}, ScrollPosition::top);

    EXPECT_EQ(view.selectedItem(), (IndexPath{0, 2}));
    EXPECT_EQ(view.visibleTop(), 0);
}

TEST_F(CollectionViewTests, selectedItemIsScrolledToTheTopOrTheMiddle)
{
    view.selectItem({0, 350}, ScrollPosition::top);
    EXPECT_EQ(view.visibleTop(), view.flowLayout().itemFrame({0, 350})->y);

    view.selectItem({0, 210}, ScrollPosition::centeredVertically);
    EXPECT_EQ(view.visibleTop(), view.flowLayout().itemFrame({0, 210})->midY() - 156);
    EXPECT_TRUE(view.item({0, 210})->isSelected());
}

TEST_F(CollectionViewTests, reloadDropsTheSelectionAndKeepsThePlace)
{
    view.scrollTo(500);
    view.selectItem({0, 80}, ScrollPosition::none);

    view.reloadData();

    EXPECT_EQ(view.selectedItem(), std::nullopt);
    EXPECT_EQ(view.visibleTop(), 500);
}

TEST_F(CollectionViewTests, reloadOfLessContentMovesIntoIt)
{
    view.scrollTo(3000);
    source.counts = {70};

    view.reloadData();

    EXPECT_EQ(view.visibleTop(), view.maximumVisibleTop());
    EXPECT_NE(view.item({0, 69}), nullptr);
}

TEST_F(CollectionViewTests, sectionReloadAsksForThatSectionAlone)
{
    source.counts = {3, 20};
    view.reloadData();
    view.selectItem({1, 5}, ScrollPosition::none);
    source.asked.clear();
    source.askedHeaders.clear();

    source.counts = {8, 20};
    view.reloadSection(0);

    EXPECT_EQ(source.asked.size(), 8U);
    EXPECT_THAT(source.askedHeaders, ElementsAre(0U));
    EXPECT_EQ(view.selectedItem(), (IndexPath{1, 5}));
    EXPECT_EQ(view.item({1, 5})->y(), view.flowLayout().itemFrame({1, 5})->y) << "the others make room";
}

TEST_F(CollectionViewTests, sectionReloadDropsItsSelection)
{
    view.selectItem({0, 5}, ScrollPosition::none);

    view.reloadSection(0);

    EXPECT_EQ(view.selectedItem(), std::nullopt);
}

TEST_F(CollectionViewTests, clickTellsTheDelegateWithTheModifier)
{
    tests::click(*view.item({0, 3}));
    EXPECT_THAT(source.selected, ElementsAre(IndexPath{0, 3}));
    EXPECT_EQ(source.selectedWith, SelectionModifier::none);

    tests::click(*view.item({0, 4}), Qt::AltModifier);
    EXPECT_THAT(source.selected, ElementsAre(IndexPath{0, 4}));
    EXPECT_EQ(source.selectedWith, SelectionModifier::option);
}

TEST_F(CollectionViewTests, pressReleasedOutsideIsNoClick)
{
    CollectionViewItem& item = *view.item({0, 3});

    tests::press(item, {20, 20});
    tests::release(item, {80, 20});

    EXPECT_TRUE(source.selected.empty());
}

TEST_F(CollectionViewTests, otherButtonsAreNoClick)
{
    CollectionViewItem& item = *view.item({0, 3});

    tests::press(item, {20, 20}, Qt::RightButton);
    tests::release(item, {20, 20}, Qt::RightButton);

    EXPECT_TRUE(source.selected.empty());
}

TEST_F(CollectionViewTests, rowsBeyondTheVisibleOnesAreFetchedAheadOnce)
{
    EXPECT_THAT(source.prefetched, Contains(IndexPath{0, 56}));
    EXPECT_THAT(source.prefetched, Not(Contains(IndexPath{0, 10})));
    const std::size_t before = source.prefetched.size();

    view.scrollTo(1);

    EXPECT_EQ(source.prefetched.size(), before);
    EXPECT_TRUE(source.cancelled.empty());
}

TEST_F(CollectionViewTests, rowsThatAreNoLongerNearAreCancelled)
{
    view.scrollTo(3000);

    EXPECT_THAT(source.cancelled, Contains(IndexPath{0, 56}));
    EXPECT_THAT(source.cancelled, Not(Contains(IndexPath{0, 10}))) << "it was never fetched ahead";
}

TEST_F(CollectionViewTests, rowsThatBecomeVisibleAreNotCancelled)
{
    view.scrollTo(200);

    EXPECT_NE(view.item({0, 56}), nullptr);
    EXPECT_THAT(source.cancelled, Not(Contains(IndexPath{0, 56})));
}

TEST_F(CollectionViewTests, theWheelScrollsByNotchesAndByPixels)
{
    wheel({0, -120});
    EXPECT_EQ(view.visibleTop(), 88);

    wheel({0, 120}, {0, 30});
    EXPECT_EQ(view.visibleTop(), 58);

    wheel({0, 1200});
    EXPECT_EQ(view.visibleTop(), 0);
}

TEST_F(CollectionViewTests, animatedScrollArrivesAndCompletesOnce)
{
    int completions = 0;

    view.scrollTo(300, std::chrono::milliseconds(200), QEasingCurve::OutQuad, [&] { ++completions; });

    EXPECT_EQ(view.visibleTop(), 300);
    EXPECT_EQ(completions, 1);
}

TEST_F(CollectionViewTests, interruptedAnimationCompletesWhereItIs)
{
    style::setAnimationsEnabled(true);
    int completions = 0;
    view.scrollTo(300, std::chrono::hours(1), QEasingCurve::OutQuad, [&] { ++completions; });
    style::setAnimationsEnabled(false);
    ASSERT_EQ(completions, 0);

    view.scrollTo(20);

    EXPECT_EQ(completions, 1);
    EXPECT_EQ(view.visibleTop(), 20);
}

TEST_F(CollectionViewTests, aFurtherAnimatedScrollBeginsWhereTheViewIs)
{
    style::setAnimationsEnabled(true);
    auto* const animation = view.findChild<QVariantAnimation*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_TRUE(animation);
    const auto scrollTo = [&](double top) {
        view.scrollTo(top, std::chrono::hours(1), QEasingCurve::Linear, nullptr);
    };
    scrollTo(100);
    animation->setCurrentTime(animation->duration());
    ASSERT_EQ(view.visibleTop(), 100);
    std::vector<double> tops;
    view.onBoundsDidChange = [&] { tops.push_back(view.visibleTop()); };

    scrollTo(200);
    animation->setCurrentTime(animation->duration() / 2);
    animation->setCurrentTime(animation->duration());
    style::setAnimationsEnabled(false);

    EXPECT_EQ(tops, (std::vector<double>{150, 200}));
}

TEST_F(CollectionViewTests, aHiddenViewBuildsNothingUntilItIsShown)
{
    view.hide();
    source.asked.clear();

    view.reloadData();
    EXPECT_TRUE(source.asked.empty());
    EXPECT_EQ(view.numberOfItems(0), 700U);

    view.show();
    EXPECT_EQ(source.asked.size(), 56U);
}

TEST_F(CollectionViewTests, rowsRunFromTheRightWhereTextDoes)
{
    view.setLayoutDirection(Qt::RightToLeft);

    EXPECT_EQ(view.item({0, 0})->geometry(), QRect(320 - 8 - 40, 36, 40, 40));
    EXPECT_EQ(view.item({0, 6})->geometry(), QRect(8, 36, 40, 40));
    EXPECT_EQ(view.item({0, 7})->x(), 320 - 8 - 40);

    view.setLayoutDirection(Qt::LeftToRight);

    EXPECT_EQ(view.item({0, 0})->x(), 8);
}

class HoveredItem : public CollectionViewItem {
public:
    void setMouseInside(bool isInside) override { isHovered = isInside; }
    void prepareForReuse() override
    {
        CollectionViewItem::prepareForReuse();
        isHovered = false;
    }

    bool isHovered = false;

protected:
    void enterEvent(QEnterEvent*) override { isHovered = true; }
    void leaveEvent(QEvent*) override { isHovered = false; }
};

class HoverTests : public CollectionViewTests {
protected:
    HoverTests()
    {
        view.registerItem("hovered", [] { return new HoveredItem; });
        source.kind = "hovered";
        view.reloadData();
        moveTo({28, 56});
    }

    ~HoverTests() override { moveTo({-100, -100}); }

    /// As the window system does it.
    void moveTo(QPoint point)
    {
        const QPoint global = view.mapToGlobal(point);
        QCursor::setPos(global);
        QApplication::processEvents();
        if (view.rect().contains(point)) {
            if (!view.underMouse()) {
                QEnterEvent enter(point, point, global);
                QApplication::sendEvent(view.windowHandle(), &enter);
            }
            moveWithin(point);
        } else {
            QEvent leave(QEvent::Leave);
            QApplication::sendEvent(view.windowHandle(), &leave);
        }
    }

    void moveWithin(QPoint point)
    {
        QMouseEvent move(QEvent::MouseMove, point, view.mapToGlobal(point), Qt::NoButton, Qt::NoButton,
                         Qt::NoModifier);
        QApplication::sendEvent(view.windowHandle(), &move);
    }

    std::vector<IndexPath> hovered()
    {
        QApplication::processEvents();
        std::vector<IndexPath> paths;
        for (const IndexPath path : view.flowLayout().items(0, 1e9)) {
            const auto* item = dynamic_cast<HoveredItem*>(view.item(path));
            if (item && item->isHovered) {
                paths.push_back(path);
            }
        }
        return paths;
    }
};

TEST_F(HoverTests, theItemThatComesUnderTheRestingPointerIsHovered)
{
    ASSERT_THAT(hovered(), ElementsAre(IndexPath{0, 0}));

    view.scrollTo(88);
    EXPECT_THAT(hovered(), ElementsAre(IndexPath{0, 14}));
    view.scrollTo(176);
    EXPECT_THAT(hovered(), ElementsAre(IndexPath{0, 28}));
    moveWithin({116, 56});
    EXPECT_THAT(hovered(), ElementsAre(IndexPath{0, 30})) << "the one before is left";
}

TEST_F(HoverTests, aReloadLeavesTheHoverUnderThePointer)
{
    ASSERT_THAT(hovered(), ElementsAre(IndexPath{0, 0}));

    view.reloadData();

    EXPECT_THAT(hovered(), ElementsAre(IndexPath{0, 0}));
}

TEST_F(HoverTests, nothingIsHoveredWhileThePointerIsElsewhere)
{
    moveTo({28, 500});
    ASSERT_THAT(hovered(), ElementsAre());

    view.scrollTo(88);

    EXPECT_THAT(hovered(), ElementsAre());
}

TEST_F(CollectionViewTests, withoutADataSourceThereIsNothing)
{
    CollectionView bare;
    bare.resize(320, 312);
    bare.show();
    bare.reloadData();
    bare.selectItem({0, 0}, ScrollPosition::top);

    EXPECT_EQ(bare.numberOfSections(), 0U);
    EXPECT_EQ(bare.selectedItem(), std::nullopt);
}

} // namespace
} // namespace glimmerwick
