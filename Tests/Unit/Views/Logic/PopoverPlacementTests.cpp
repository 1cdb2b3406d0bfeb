#include "Views/Logic/PopoverPlacement.h"

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

constexpr Size bubble{252, 52};
constexpr Rect bounds{0, 0, 320, 400};

TEST(PopoverPlacementTests, liesAboveItsAnchorAndPointsAtIt)
{
    const auto placement = placePopover(bubble, {140, 200, 40, 40}, bounds, PopoverEdge::above);

    EXPECT_EQ(placement.edge, PopoverEdge::above);
    EXPECT_EQ(placement.bubble, (Rect{160 - 126, 200 - 6 - 52, 252, 52}));
    EXPECT_EQ(placement.arrowTip, (Point{160, 200}));
}

TEST(PopoverPlacementTests, staysInsideTheBoundsAtTheSides)
{
    const auto left = placePopover(bubble, {8, 200, 40, 40}, bounds, PopoverEdge::above);
    const auto right = placePopover(bubble, {272, 200, 40, 40}, bounds, PopoverEdge::above);

    EXPECT_EQ(left.bubble.x, 4);
    EXPECT_EQ(left.arrowTip.x, 28);
    EXPECT_EQ(right.bubble.maxX(), 316);
    EXPECT_EQ(right.arrowTip.x, 292);
}

TEST(PopoverPlacementTests, changesSidesWhereItDoesNotFit)
{
    const auto below = placePopover(bubble, {140, 52, 40, 40}, bounds, PopoverEdge::above);
    const auto above = placePopover(bubble, {140, 330, 40, 40}, bounds, PopoverEdge::below);

    EXPECT_EQ(below.edge, PopoverEdge::below);
    EXPECT_EQ(below.bubble.y, 98);
    EXPECT_EQ(below.arrowTip.y, 92);
    EXPECT_EQ(above.edge, PopoverEdge::above);
}

TEST(PopoverPlacementTests, keepsItsSideWhereItFitsOnNeither)
{
    EXPECT_EQ(placePopover(bubble, {0, 20, 40, 40}, {0, 0, 320, 80}, PopoverEdge::above).edge,
              PopoverEdge::above);
}

} // namespace
} // namespace glimmerwick
