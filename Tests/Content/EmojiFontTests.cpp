#include "EmojiFont.h"
#include "Files.h"

#include "Contract/TemporaryFolder.h"
#include "TinyFont.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace glimmerwick {
namespace {

using contract::TemporaryFolder;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(InstalledEmojiFont, HasABitmapOfTheCanvasSizeForWhatBecomesOneGlyph)
{
    const auto font = EmojiFont::installed();
    ASSERT_TRUE(font) << font.error().description;

    for (const std::string_view text : {
             "\U0001F600",
             "\u261d", // without the selector that it is written with
             "\u261d\ufe0f",
             "\U0001F44D\U0001F3FD",
             "\U0001F468\u200d\U0001F469\u200d\U0001F467",
             "\U0001F1E9\U0001F1EA",
             "1\ufe0f\u20e3",
         }) {
        const auto bitmap = font.value().bitmap(text);
        ASSERT_TRUE(bitmap) << text;
        EXPECT_EQ(sizeOfPng(*bitmap), canvasSize) << text;
    }
}

TEST(InstalledEmojiFont, HasDifferentBitmapsForDifferentTones)
{
    const auto font = EmojiFont::installed();
    ASSERT_TRUE(font) << font.error().description;

    EXPECT_NE(font.value().bitmap("\U0001F44D"), font.value().bitmap("\U0001F44D\U0001F3FB"));
    EXPECT_NE(font.value().bitmap("\U0001F44D\U0001F3FB"), font.value().bitmap("\U0001F44D\U0001F3FF"));
}

TEST(InstalledEmojiFont, HasNoBitmapForTheRest)
{
    const auto font = EmojiFont::installed();
    ASSERT_TRUE(font) << font.error().description;

    for (const std::string_view text : {
             "",
             "\U0001F600\U0001F600", // two glyphs
             "\U0001F1FD\U0001F1FD", // the flag of no country
             "\U0001F1E8\U0001F1F6", // a flag that it shows as the flag of no country
             "\U0001FACD", // newer than the font
             "\U0001F9D1\u200d\U0001FA70", // a sequence newer than the font
             "\u4e2d",
         }) {
        EXPECT_EQ(font.value().bitmap(text), std::nullopt) << text;
    }
}

class EmojiFontFileTests : public ::testing::Test {
protected:
    Result<EmojiFont, GeneratorError> load(std::string_view bytes)
    {
        EXPECT_TRUE(replaceFile(file, bytes));
        return EmojiFont::load(file);
    }

    TemporaryFolder folder;
    std::filesystem::path file = folder.path() / "font.ttf";
};

TEST_F(EmojiFontFileTests, DrawsOneGlyphOfADocumentInItsBox)
{
    const auto font =
        load(tests::TinyFont::bytes(U'\U0001FACD', R"(<?xml version="1.0"?><svg><path id="glyph1"/></svg>)"));
    ASSERT_TRUE(font) << font.error().description;

    const auto drawing = font.value().drawing("\U0001FACD");

    ASSERT_TRUE(drawing);
    EXPECT_THAT(*drawing, StartsWith("<svg"));
    EXPECT_THAT(*drawing, HasSubstr(R"(width="136" height="128" viewBox="0 -800 1000 1000")"));
    EXPECT_THAT(*drawing, HasSubstr(R"(<defs><svg><path id="glyph1"/></svg></defs>)"));
    EXPECT_THAT(*drawing, HasSubstr(R"(<use xlink:href="#glyph1"/>)"));
    EXPECT_THAT(*drawing, Not(HasSubstr("<?xml")));
}

TEST_F(EmojiFontFileTests, HasNoDrawingOfWhatItLacksAndNoBitmapAtAll)
{
    const auto font = load(tests::TinyFont::bytes(U'\U0001FACD', "<svg/>"));
    ASSERT_TRUE(font) << font.error().description;

    EXPECT_EQ(font.value().drawing("\U0001F600"), std::nullopt);
    EXPECT_EQ(font.value().drawing("\U0001FACD\U0001FACD"), std::nullopt);
    EXPECT_EQ(font.value().bitmap("\U0001FACD"), std::nullopt);
}

TEST_F(EmojiFontFileTests, DoesNotTakeACompressedDrawingForADrawing)
{
    const auto font = load(tests::TinyFont::bytes(U'\U0001FACD', "\x1f\x8b compressed"));
    ASSERT_TRUE(font) << font.error().description;

    EXPECT_EQ(font.value().drawing("\U0001FACD"), std::nullopt);
}

TEST_F(EmojiFontFileTests, IsRefusedWhenItIsNoFont)
{
    EXPECT_EQ(load("no font").error().description, "cannot read the font " + file.string());
    EXPECT_FALSE(EmojiFont::load(folder.path() / "nowhere.ttf"));
}

} // namespace
} // namespace glimmerwick
