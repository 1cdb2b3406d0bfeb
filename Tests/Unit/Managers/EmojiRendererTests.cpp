#include "Managers/EmojiRenderer.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

namespace glimmerwick {
namespace {

/// Draws nothing and remembers what it was asked for.
class RecordingImageCodec : public ImageCodec {
public:
    bool isDecodableImage(std::string_view) override { return true; }
    TextExtent measureText(std::string_view, double pointSize) override
    {
        measuredSize = pointSize;
        ++measureCount;
        return extent;
    }
    Image drawText(std::string_view text, double pointSize, int width, int height) override
    {
        drawnText = text;
        drawnSize = pointSize;
        ++drawCount;
        return drawsNothing ? Image() : Image{width, height, {}};
    }

    bool drawsNothing = false;

    TextExtent extent{10, 10};
    double measuredSize = 0;
    int measureCount = 0;
    std::string drawnText;
    double drawnSize = 0;
    int drawCount = 0;
};

class EmojiRendererTests : public testing::Test {
protected:
    RecordingImageCodec codec;
    EmojiRenderer renderer{codec};
};

TEST_F(EmojiRendererTests, DrawsATextAtTheSizeAskedFor)
{
    const auto image = renderer.renderEmoji("😀", 32.5);

    ASSERT_TRUE(image);
    EXPECT_EQ(codec.drawnText, "😀");
    EXPECT_EQ(codec.measuredSize, 32.5);
    EXPECT_EQ(codec.drawnSize, 32.5);
}

TEST_F(EmojiRendererTests, RoundsTheExtentUpToWholePoints)
{
    codec.extent = {30.01, 32};

    const auto image = renderer.renderEmoji("😀", 32);

    ASSERT_TRUE(image);
    EXPECT_EQ(image->width, 31);
    EXPECT_EQ(image->height, 32);
}

TEST_F(EmojiRendererTests, GivesTheSamePictureForTheSameTextAndWholeSize)
{
    const auto first = renderer.renderEmoji("😀", 32.0);

    EXPECT_EQ(renderer.renderEmoji("😀", 32.0), first);
    EXPECT_EQ(renderer.renderEmoji("😀", 32.5), first);
    EXPECT_EQ(renderer.renderEmoji("😀", 32.9), first);
    EXPECT_EQ(codec.drawCount, 1);
    EXPECT_EQ(codec.measureCount, 1);
}

TEST_F(EmojiRendererTests, KeepsOtherTextsAndSizesApart)
{
    const auto first = renderer.renderEmoji("😀", 32);

    EXPECT_NE(renderer.renderEmoji("😀", 33), first);
    EXPECT_NE(renderer.renderEmoji("😁", 32), first);
    EXPECT_NE(renderer.renderEmoji("😀_3", 2), renderer.renderEmoji("😀", 3));
    EXPECT_EQ(codec.drawCount, 5);
}

TEST_F(EmojiRendererTests, TruncatesSizesTowardZero)
{
    const auto image = renderer.renderEmoji("😀", 0.9);

    EXPECT_EQ(renderer.renderEmoji("😀", -0.9), image);
    EXPECT_EQ(codec.drawCount, 1);
}

TEST_F(EmojiRendererTests, DrawsAndKeepsNothingWithoutAnExtent)
{
    codec.extent = {0, 10};
    EXPECT_EQ(renderer.renderEmoji("😀", 32), nullptr);
    codec.extent = {10, 0};
    EXPECT_EQ(renderer.renderEmoji("😀", 32), nullptr);
    codec.extent = {-5, -5};
    EXPECT_EQ(renderer.renderEmoji("😀", 32), nullptr);
    codec.extent = {std::numeric_limits<double>::quiet_NaN(), 10};
    EXPECT_EQ(renderer.renderEmoji("😀", 32), nullptr);
    EXPECT_EQ(codec.drawCount, 0);

    codec.extent = {10, 10};
    EXPECT_NE(renderer.renderEmoji("😀", 32), nullptr);
}

TEST_F(EmojiRendererTests, DrawsNothingAtSizeZero)
{
    fakes::FakeImageCodec measuring;
    EmojiRenderer measuringRenderer(measuring);

    EXPECT_EQ(measuringRenderer.renderEmoji("😀", 0), nullptr);
    EXPECT_NE(measuringRenderer.renderEmoji("😀", 32), nullptr);
}

TEST_F(EmojiRendererTests, RefusesAnExtentThatNoPictureCanHave)
{
    codec.extent = {1e12, 1e12};

    EXPECT_EQ(renderer.renderEmoji("😀", 1e12), nullptr);
    EXPECT_EQ(codec.drawCount, 0);
}

TEST_F(EmojiRendererTests, GivesAndKeepsNothingWhereThePictureCannotBeDrawn)
{
    codec.drawsNothing = true;
    EXPECT_EQ(renderer.renderEmoji("😀", 5000), nullptr);

    codec.drawsNothing = false;
    EXPECT_NE(renderer.renderEmoji("😀", 5000), nullptr);
}

TEST_F(EmojiRendererTests, TakesTheEndsOfTheIntegerRangeForSizes)
{
    EXPECT_NE(renderer.renderEmoji("😀", -0x1p63), nullptr);
    EXPECT_NE(renderer.renderEmoji("😀", 0x1.fffffffffffffp62), nullptr);
}

TEST_F(EmojiRendererTests, IsOneForTheInstalledPlatform)
{
    fakes::FakePlatform fakes;
    const InstalledPlatform installed(fakes.platform);

    const auto first = EmojiRenderer::shared().renderEmoji("😀", 32);

    EXPECT_EQ(EmojiRenderer::shared().renderEmoji("😀", 32), first);
    EXPECT_EQ(fakes.imageCodec.drawCount, 1);
}

using EmojiRendererDeathTest = EmojiRendererTests;

TEST_F(EmojiRendererDeathTest, StopsTheProgramAtASizeThatIsNoInteger)
{
    for (const double size :
         {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
          -std::numeric_limits<double>::infinity(), 0x1p63, -0x1.0000000000001p63}) {
        EXPECT_DEATH(renderer.renderEmoji("😀", size), "an emoji cannot be drawn at a size of") << size;
    }
}

} // namespace
} // namespace glimmerwick
