#include "Views/Logic/FlowLayout.h"

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

FlowLayout makeLayout(double width, std::vector<FlowLayout::Section> sections)
{
    FlowLayout layout;
    layout.setWidth(width);
    layout.setSections(std::move(sections));
    return layout;
}

TEST(FlowLayoutTests, panelWidthHoldsSevenColumnsEdgeToEdge)
{
    const FlowLayout layout = makeLayout(320, {{8, 28}});

    EXPECT_EQ(layout.columns(), 7U);
    EXPECT_EQ(layout.itemFrame({0, 0}), (Rect{8, 36, 40, 40}));
    EXPECT_EQ(layout.itemFrame({0, 1}), (Rect{52, 36, 40, 40}));
    EXPECT_EQ(layout.itemFrame({0, 6}), (Rect{272, 36, 40, 40}));
    EXPECT_EQ(layout.itemFrame({0, 7}), (Rect{8, 80, 40, 40}));
}

TEST(FlowLayoutTests, leftOverWidthIsSpreadEvenlyAlsoOverTheLastRow)
{
    const FlowLayout layout = makeLayout(340, {{9, 28}});

    ASSERT_EQ(layout.columns(), 7U);
    const double spacing = (340.0 - 16 - 7 * 40) / 6;
    EXPECT_DOUBLE_EQ(layout.itemFrame({0, 6})->maxX(), 332);
    EXPECT_DOUBLE_EQ(layout.itemFrame({0, 8})->x, 8 + 40 + spacing);
}

TEST(FlowLayoutTests, columnsAreAtLeastOne)
{
    EXPECT_EQ(makeLayout(0, {{3, 28}}).columns(), 1U);
    EXPECT_EQ(makeLayout(-100, {{3, 28}}).columns(), 1U);
    EXPECT_EQ(makeLayout(55, {{3, 28}}).columns(), 1U);
    EXPECT_EQ(makeLayout(99, {{3, 28}}).columns(), 1U);
    EXPECT_EQ(makeLayout(100, {{3, 28}}).columns(), 2U);
}

TEST(FlowLayoutTests, sectionsFollowEachOtherWithHeaderAndInsets)
{
    const FlowLayout layout = makeLayout(320, {{7, 28}, {8, 28}});

    EXPECT_EQ(layout.headerFrame(0), (Rect{0, 0, 320, 28}));
    EXPECT_EQ(layout.headerFrame(1), (Rect{0, 84, 320, 28}));
    EXPECT_EQ(layout.itemFrame({1, 0})->y, 84 + 28 + 8);
    EXPECT_DOUBLE_EQ(layout.contentHeight(), 84 + 28 + 8 + 40 + 4 + 40 + 8);
}

TEST(FlowLayoutTests, emptySectionKeepsItsHeaderAndInsets)
{
    const FlowLayout layout = makeLayout(320, {{0, 28}, {1, 28}});

    EXPECT_EQ(layout.headerFrame(1)->y, 44);
    EXPECT_EQ(layout.itemFrame({0, 0}), std::nullopt);
}

TEST(FlowLayoutTests, headerWithoutHeightDoesNotExist)
{
    const FlowLayout layout = makeLayout(320, {{1, 0}});

    EXPECT_EQ(layout.headerFrame(0), std::nullopt);
    EXPECT_EQ(layout.itemFrame({0, 0})->y, 8);
    EXPECT_THAT(layout.headers(0, 100), IsEmpty());
}

TEST(FlowLayoutTests, placesOutOfRangeHaveNoFrame)
{
    const FlowLayout layout = makeLayout(320, {{2, 28}});

    EXPECT_EQ(layout.headerFrame(1), std::nullopt);
    EXPECT_EQ(layout.itemFrame({0, 2}), std::nullopt);
    EXPECT_EQ(layout.itemFrame({1, 0}), std::nullopt);
    EXPECT_EQ(layout.numberOfItems(1), 0U);
}

TEST(FlowLayoutTests, findsTheItemsWithAPartBetweenTwoHeights)
{
    const FlowLayout layout = makeLayout(100, {{4, 28}, {1, 28}});

    EXPECT_THAT(layout.items(0, 37), ElementsAre(IndexPath{0, 0}, IndexPath{0, 1}));
    EXPECT_THAT(layout.items(75, 81),
                ElementsAre(IndexPath{0, 0}, IndexPath{0, 1}, IndexPath{0, 2}, IndexPath{0, 3}));
    EXPECT_THAT(layout.items(76, 80), IsEmpty()) << "between two rows";
    EXPECT_THAT(layout.items(76, 200), ElementsAre(IndexPath{0, 2}, IndexPath{0, 3}, IndexPath{1, 0}));
    EXPECT_THAT(layout.items(-500, 36), IsEmpty()) << "above the first row";
    EXPECT_THAT(layout.items(5000, 6000), IsEmpty());
}

TEST(FlowLayoutTests, findsTheHeadersWithAPartBetweenTwoHeights)
{
    const FlowLayout layout = makeLayout(320, {{1, 28}, {1, 28}, {1, 28}});

    EXPECT_THAT(layout.headers(0, 84), ElementsAre(0U));
    EXPECT_THAT(layout.headers(0, 85), ElementsAre(0U, 1U));
    EXPECT_THAT(layout.headers(28, 300), ElementsAre(1U, 2U));
}

TEST(FlowLayoutTests, layoutWithoutSectionsIsEmpty)
{
    const FlowLayout layout = makeLayout(320, {});

    EXPECT_EQ(layout.contentHeight(), 0);
    EXPECT_THAT(layout.items(0, 1000), IsEmpty());
    EXPECT_THAT(layout.headers(0, 1000), IsEmpty());
}

} // namespace
} // namespace glimmerwick
