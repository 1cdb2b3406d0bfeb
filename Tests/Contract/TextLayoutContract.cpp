#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include "Fakes/FakeServices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace glimmerwick::contract {
namespace {

constexpr double pointSize = 16;

std::vector<std::uint32_t> glyphs(TextLayout& layout, std::string_view text)
{
    std::vector<std::uint32_t> result;
    const auto runs = layout.layOut(text, pointSize);
    if (!runs) {
        ADD_FAILURE() << "no colour emoji font; fonts-noto-color-emoji must be installed";
        return result;
    }
    for (const GlyphRun& run : *runs) {
        result.insert(result.end(), run.glyphs.begin(), run.glyphs.end());
    }
    return result;
}

bool isDrawnAsOneGlyph(TextLayout& layout, std::string_view text)
{
    const auto found = glyphs(layout, text);
    return found.size() == 1 && found.front() != 0;
}

bool hasMissingGlyph(TextLayout& layout, std::string_view text)
{
    const auto found = glyphs(layout, text);
    return std::find(found.begin(), found.end(), 0U) != found.end();
}

template <typename Subject> class TextLayoutContract : public ::testing::Test {
protected:
    Subject layout;
};

using Subjects = ::testing::Types<fakes::FakeTextLayout, HarfBuzzTextLayout>;
TYPED_TEST_SUITE(TextLayoutContract, Subjects);

TYPED_TEST(TextLayoutContract, anEmojiOfTheFontIsOneGlyphInOneRun)
{
    const auto runs = this->layout.layOut("\U0001F600", pointSize);

    ASSERT_TRUE(runs);
    ASSERT_EQ(runs->size(), 1U);
    ASSERT_EQ(runs->front().glyphs.size(), 1U);
    EXPECT_NE(runs->front().glyphs.front(), 0U);
}

TYPED_TEST(TextLayoutContract, theEmptyTextHasNoRuns)
{
    const auto runs = this->layout.layOut("", pointSize);

    ASSERT_TRUE(runs);
    EXPECT_TRUE(runs->empty());
}

class HarfBuzzTextLayoutTests : public ::testing::Test {
protected:
    HarfBuzzTextLayout layout;
};

TEST_F(HarfBuzzTextLayoutTests, theFontHasAName)
{
    EXPECT_EQ(layout.colourEmojiFontFamily(), "Noto Color Emoji");
}

TEST_F(HarfBuzzTextLayoutTests, aTextOfInvisibleCharactersHasNoRuns)
{
    const auto runs = layout.layOut("\u200d\ufe0f", pointSize);

    ASSERT_TRUE(runs);
    EXPECT_TRUE(runs->empty());
}

TEST_F(HarfBuzzTextLayoutTests, sequencesThatTheFontKnowsAreOneGlyph)
{
    for (const std::string_view text : {
             "\u2764\ufe0f", // with a variation selector
             "\U0001F44D\U0001F3FD", // with a tone
             "\U0001F468\u200d\U0001F469\u200d\U0001F467", // a family
             "\U0001F3F3\ufe0f\u200d\u26a7\ufe0f", // with selectors inside
             "\U0001F1E9\U0001F1EA", // a flag
             "1\ufe0f\u20e3", // a key cap
             "\U0001F3F4\U000E0067\U000E0062\U000E0073\U000E0063\U000E0074\U000E007F", // a flag of tags
         }) {
        EXPECT_TRUE(isDrawnAsOneGlyph(layout, text)) << text;
    }
}

TEST_F(HarfBuzzTextLayoutTests, twoEmojiAreTwoGlyphs)
{
    EXPECT_EQ(glyphs(layout, "\U0001F600\U0001F601").size(), 2U);
}

TEST_F(HarfBuzzTextLayoutTests, aSequenceThatTheFontDoesNotKnowFallsApart)
{
    EXPECT_GT(glyphs(layout, "\U0001F600\u200d\U0001F680").size(), 1U);
}

TEST_F(HarfBuzzTextLayoutTests, emojiNewerThanTheFontAreMissing)
{
    for (const std::string_view text : {
             "\U0001FAE9",
             "\U0001FAC6",
             "\U0001FABE",
             "\U0001FADC",
             "\U0001FA89",
             "\U0001FA8F",
             "\U0001FADF",
             "\U0001F1E8\U0001F1F6",
             "\U0001FAEA",
             "\U0001FAEF",
             "\U0001FAC8",
             "\U0001FACD",
             "\U0001F6D8",
             "\U0001FA8A",
             "\U0001FA8E",
         }) {
        EXPECT_TRUE(hasMissingGlyph(layout, text)) << text;
    }
    EXPECT_FALSE(isDrawnAsOneGlyph(layout, "\U0001F9D1\u200d\U0001FA70"));
}

TEST_F(HarfBuzzTextLayoutTests, theFlagOfNoCountryIsMissingAlsoBesideOthers)
{
    EXPECT_TRUE(hasMissingGlyph(layout, "\U0001F1FD\U0001F1FD"));
    EXPECT_TRUE(hasMissingGlyph(layout, "\U0001F600\U0001F1FD\U0001F1FD"));
}

TEST_F(HarfBuzzTextLayoutTests, textWithoutEmojiAndBytesThatAreNoTextAreMissing)
{
    EXPECT_TRUE(hasMissingGlyph(layout, "\u00e9\u4e2d"));
    EXPECT_TRUE(hasMissingGlyph(layout, "\xff\xfe\xc3"));
}

TEST_F(HarfBuzzTextLayoutTests, theSizeDoesNotMatter)
{
    EXPECT_EQ(layout.layOut("\U0001F600", 16)->front().glyphs,
              layout.layOut("\U0001F600", 0)->front().glyphs);
}

TEST_F(HarfBuzzTextLayoutTests, theFontHasPicturesOfItsEmoji)
{
    for (const std::string_view text :
         {"\U0001F600", "\u2764\ufe0f", "\U0001F44D\U0001F3FD", "\U0001F1E9\U0001F1EA"}) {
        const auto picture = layout.glyphPicture(text);

        ASSERT_TRUE(picture) << text;
        ASSERT_GT(picture->png.size(), 8U);
        EXPECT_EQ(std::memcmp(picture->png.data(), "\x89PNG\r\n\x1a\n", 8), 0);
        // 136 by 128 pixels, as high as the line.
        EXPECT_NEAR(picture->width, 136. / 128, 0.01);
        EXPECT_NEAR(picture->height, 1, 0.01);
        EXPECT_NEAR(picture->lineWidth, picture->width, 0.01);
        EXPECT_NEAR(picture->left, 0, 0.01);
        EXPECT_NEAR(picture->top, 0, 0.01);
    }
    EXPECT_NE(layout.glyphPicture("\U0001F600")->png.data(), layout.glyphPicture("\U0001F601")->png.data());
}

TEST_F(HarfBuzzTextLayoutTests, whatIsNotOneGlyphOfTheFontHasNoPicture)
{
    for (const std::string_view text : {
             "", "a", "\xff", "\u200d",
             "\U0001F600\U0001F601", // two emoji
             "\U0001F600\u200d\U0001F680", // a sequence that falls apart
             "\U0001FAE9", // newer than the font
             "\U0001F1FD\U0001F1FD", // the flag of no country
         }) {
        EXPECT_FALSE(layout.glyphPicture(text)) << text;
    }
}

TEST_F(HarfBuzzTextLayoutTests, threadsMayShareIt)
{
    const std::string text = "\U0001F468\u200d\U0001F469\u200d\U0001F467";
    std::vector<std::vector<std::uint32_t>> results(4);

    std::vector<std::thread> threads;
    for (auto& result : results) {
        threads.emplace_back([this, &result, &text] {
            for (int round = 0; round < 100; ++round) {
                result = layout.layOut(text, pointSize)->front().glyphs;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    for (const auto& result : results) {
        EXPECT_EQ(result, results.front());
        EXPECT_EQ(result.size(), 1U);
    }
}

} // namespace
} // namespace glimmerwick::contract
