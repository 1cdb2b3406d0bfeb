#include "Views/Logic/ArrowKeyNavigation.h"

#include "Platform/KeyEvent.h"

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

constexpr double sevenColumns = 320;

std::optional<IndexPath> move(const std::vector<std::size_t>& counts, IndexPath from, ArrowKey key)
{
    return ArrowKeyNavigation(counts, sevenColumns).target(from, key);
}

TEST(ArrowKeyNavigationTests, knowsTheArrowKeysAlone)
{
    EXPECT_EQ(arrowKey(keyCode::leftArrow), ArrowKey::left);
    EXPECT_EQ(arrowKey(keyCode::rightArrow), ArrowKey::right);
    EXPECT_EQ(arrowKey(keyCode::downArrow), ArrowKey::down);
    EXPECT_EQ(arrowKey(keyCode::upArrow), ArrowKey::up);
    EXPECT_EQ(arrowKey(keyCode::tab), std::nullopt);
    EXPECT_EQ(arrowKey(0x10000 + keyCode::leftArrow), std::nullopt);
}

TEST(ArrowKeyNavigationTests, firstItemIsInTheFirstSectionThatHasItems)
{
    EXPECT_EQ(ArrowKeyNavigation({0, 0, 3}, sevenColumns).firstItem(), (IndexPath{2, 0}));
    EXPECT_EQ(ArrowKeyNavigation({0, 0}, sevenColumns).firstItem(), std::nullopt);
    EXPECT_EQ(ArrowKeyNavigation({}, sevenColumns).firstItem(), std::nullopt);
}

TEST(ArrowKeyNavigationTests, leftAndRightMoveByOneItem)
{
    EXPECT_EQ(move({20}, {0, 8}, ArrowKey::left), (IndexPath{0, 7}));
    EXPECT_EQ(move({20}, {0, 6}, ArrowKey::right), (IndexPath{0, 7}));
}

TEST(ArrowKeyNavigationTests, leftAndRightCrossSectionsPastEmptyOnes)
{
    EXPECT_EQ(move({3, 0, 5}, {0, 2}, ArrowKey::right), (IndexPath{2, 0}));
    EXPECT_EQ(move({3, 0, 5}, {2, 0}, ArrowKey::left), (IndexPath{0, 2}));
}

TEST(ArrowKeyNavigationTests, theVeryFirstAndTheVeryLastItemAreTheEnds)
{
    EXPECT_EQ(move({0, 3, 5, 0}, {1, 0}, ArrowKey::left), std::nullopt);
    EXPECT_EQ(move({0, 3, 5, 0}, {2, 4}, ArrowKey::right), std::nullopt);
    EXPECT_EQ(move({0, 3, 5, 0}, {1, 2}, ArrowKey::up), std::nullopt);
    EXPECT_EQ(move({0, 3, 5, 0}, {2, 0}, ArrowKey::down), std::nullopt);
}

TEST(ArrowKeyNavigationTests, downMovesToTheSameColumnOfTheNextRow)
{
    EXPECT_EQ(move({20}, {0, 3}, ArrowKey::down), (IndexPath{0, 10}));
}

TEST(ArrowKeyNavigationTests, downIntoAShortLastRowTakesItsLastItem)
{
    EXPECT_EQ(move({9}, {0, 5}, ArrowKey::down), (IndexPath{0, 8}));
}

TEST(ArrowKeyNavigationTests, downFromTheLastRowEntersTheNextSectionInTheSameColumn)
{
    EXPECT_EQ(move({9, 0, 20}, {0, 8}, ArrowKey::down), (IndexPath{2, 1}));
    EXPECT_EQ(move({7, 3}, {0, 6}, ArrowKey::down), (IndexPath{1, 2})) << "a short row's last item";
    EXPECT_EQ(move({7, 8}, {0, 6}, ArrowKey::down), (IndexPath{1, 6}));
}

TEST(ArrowKeyNavigationTests, upMovesToTheSameColumnOfTheRowAbove)
{
    EXPECT_EQ(move({20}, {0, 15}, ArrowKey::up), (IndexPath{0, 8}));
}

TEST(ArrowKeyNavigationTests, upFromTheFirstRowEntersTheLastRowOfTheSectionAbove)
{
    EXPECT_EQ(move({10, 0, 7}, {2, 1}, ArrowKey::up), (IndexPath{0, 8}));
    EXPECT_EQ(move({10, 0, 7}, {2, 6}, ArrowKey::up), (IndexPath{0, 9})) << "beyond a short last row";
    EXPECT_EQ(move({14, 7}, {1, 6}, ArrowKey::up), (IndexPath{0, 13}));
}

TEST(ArrowKeyNavigationTests, aNarrowViewHasOneColumn)
{
    EXPECT_EQ(ArrowKeyNavigation({3}, 10).target({0, 0}, ArrowKey::down), (IndexPath{0, 1}));
    EXPECT_EQ(ArrowKeyNavigation({3}, 10).target({0, 2}, ArrowKey::up), (IndexPath{0, 1}));
}

TEST(ArrowKeyNavigationTests, aSelectionThatIsGoneDoesNotMove)
{
    EXPECT_EQ(move({3}, {0, 3}, ArrowKey::left), std::nullopt);
    EXPECT_EQ(move({3}, {1, 0}, ArrowKey::right), std::nullopt);
}

} // namespace
} // namespace glimmerwick
