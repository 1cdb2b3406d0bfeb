#include "Views/Logic/PanelPlacement.h"

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

constexpr Size panel{320, 400};
// A bar of 30 points at the top and a dock of 60 at the bottom.
const ScreenArea mainScreen{{0, 0, 1920, 1080}, {0, 30, 1920, 990}};
const ScreenArea rightScreen{{1920, 100, 1280, 1024}, {1920, 100, 1280, 1024}};
const std::vector<ScreenArea> bothScreens{mainScreen, rightScreen};

Point place(Point pointer)
{
    return panelOrigin(pointer, panel, bothScreens, mainScreen);
}

TEST(PanelPlacementTests, opensTenPointsBelowThePointerAndCentredOnIt)
{
    EXPECT_EQ(place({900, 300}), (Point{740, 310}));
}

TEST(PanelPlacementTests, keepsEightPointsFromTheSides)
{
    EXPECT_EQ(place({1910, 300}).x, 1920 - 320 - 8);
    EXPECT_EQ(place({3, 300}).x, 8);
}

TEST(PanelPlacementTests, isRaisedOverThePointerNearTheBottom)
{
    EXPECT_EQ(place({900, 1000}).y, 1020 - 400 - 8);
}

TEST(PanelPlacementTests, staysBelowABarAtTheTop)
{
    EXPECT_EQ(place({900, 0}).y, 30 + 8);
}

TEST(PanelPlacementTests, usesTheVisibleFrameOfTheScreenWithThePointer)
{
    EXPECT_EQ(place({1925, 1120}), (Point{1928, 1124 - 400 - 8}));
    EXPECT_EQ(place({1919, 500}).x, 1920 - 320 - 8) << "the last point of the left screen";
    EXPECT_EQ(place({1920, 500}).x, 1928) << "the first point of the right one";
}

TEST(PanelPlacementTests, takesTheFirstOfOverlappingScreens)
{
    const ScreenArea mirror{{0, 0, 800, 600}, {0, 0, 800, 600}};

    EXPECT_EQ(panelOrigin({790, 100}, panel, {mirror, mainScreen}, mainScreen).x, 800 - 320 - 8);
}

TEST(PanelPlacementTests, takesTheMainScreenForAPointerOnNone)
{
    EXPECT_EQ(place({5000, 5000}), (Point{1920 - 320 - 8, 1020 - 400 - 8}));
}

TEST(PanelPlacementTests, leftAndBottomMarginsWinWhereThePanelDoesNotFit)
{
    const ScreenArea small{{0, 0, 300, 350}, {0, 0, 300, 350}};

    EXPECT_EQ(panelOrigin({150, 100}, panel, {small}, small), (Point{8, 350 - 400 - 8}));
}

TEST(PanelPlacementTests, withoutAScreenTheOriginIsZero)
{
    EXPECT_EQ(panelOrigin({100, 100}, panel, {}, std::nullopt), (Point{0, 0}));
}

} // namespace
} // namespace glimmerwick
