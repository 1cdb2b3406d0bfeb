#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include "EmojiFontConfiguration.h"
#include "TinyEmojiFont.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick::contract {
namespace {

using Colours = TinyEmojiFont::Colours;
using Glyphs = std::vector<std::uint32_t>;

constexpr double pointSize = 16;
constexpr std::u32string_view grinningFace = U"\U0001F600";
constexpr const char* bestFamily = "Noto Color Emoji";

std::string contentsOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class EmojiFontChoiceTests : public ::testing::Test {
protected:
    void linkSystemFont(const char* family)
    {
        const auto file = EmojiFontConfiguration::fileOf(family);
        ASSERT_TRUE(file) << family << " must be installed";
        fonts.link(*file);
    }

    void write(const std::string& family, Colours colours, std::u32string_view characters = grinningFace)
    {
        fonts.write(family + ".ttf", TinyEmojiFont::bytes(family, characters, colours));
    }

    /// A font that is not seen would be passed over for the wrong reason.
    static bool isSeenAsColourEmojiFont(const char* family)
    {
        return EmojiFontConfiguration::fileOf(family)
            && EmojiFontConfiguration::colourFileWith(U'\U0001F600');
    }

    /// The glyphs of the only run.
    Glyphs glyphs(std::string_view text)
    {
        const auto runs = layout.layOut(text, pointSize);
        if (!runs || runs->size() != 1) {
            ADD_FAILURE() << "not one run: " << text;
            return {};
        }
        return runs->front().glyphs;
    }

    EmojiFontConfiguration fonts;
    HarfBuzzTextLayout layout;
};

TEST_F(EmojiFontChoiceTests, withoutAnyFontNothingIsLaidOut)
{
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), std::nullopt);
    EXPECT_FALSE(layout.layOut("\U0001F600", pointSize));
    EXPECT_FALSE(layout.glyphPicture("\U0001F600"));
}

TEST_F(EmojiFontChoiceTests, emojiInBlackAndWhiteDoNotCount)
{
    linkSystemFont("DejaVu Sans");
    ASSERT_TRUE(fonts.use());
    ASSERT_TRUE(EmojiFontConfiguration::fileOf("DejaVu Sans"));

    EXPECT_EQ(layout.colourEmojiFontFamily(), std::nullopt);
    EXPECT_FALSE(layout.layOut("\U0001F600", pointSize)); // DejaVu Sans has a glyph for it
    EXPECT_FALSE(layout.layOut("a", pointSize));
}

TEST_F(EmojiFontChoiceTests, aColourFontWithoutEmojiDoesNotCount)
{
    write("Colourful Letters", Colours::layers, U"abc");
    ASSERT_TRUE(fonts.use());
    ASSERT_TRUE(EmojiFontConfiguration::colourFileWith(U'a'));

    EXPECT_EQ(layout.colourEmojiFontFamily(), std::nullopt);
}

TEST_F(EmojiFontChoiceTests, aFontOfPaintsAloneDoesNotCount)
{
    write("Painted", Colours::paints);
    ASSERT_TRUE(fonts.use());
    ASSERT_TRUE(isSeenAsColourEmojiFont("Painted"));

    EXPECT_EQ(layout.colourEmojiFontFamily(), std::nullopt);
    EXPECT_FALSE(layout.layOut("\U0001F600", pointSize));
}

TEST_F(EmojiFontChoiceTests, aFontOfLayersCounts)
{
    write("Layered", Colours::layers);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Layered");
    EXPECT_EQ(glyphs("\U0001F600"), Glyphs{1});
    EXPECT_EQ(glyphs("\U0001F601"), Glyphs{0});
    EXPECT_FALSE(layout.glyphPicture("\U0001F600")) << "layers are no picture";
}

TEST_F(EmojiFontChoiceTests, aFontOfLayersAndPaintsCounts)
{
    write("Layered and Painted", Colours::layersAndPaints);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Layered and Painted");
}

TEST_F(EmojiFontChoiceTests, aFontOfLayersIsFoundBesideOneOfPaints)
{
    write("A Painted", Colours::paints);
    write("B Layered", Colours::layers);
    write("C Painted", Colours::paints);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), "B Layered");
}

TEST_F(EmojiFontChoiceTests, theBestFamilyWinsOverOthers)
{
    write("A Painted", Colours::paints);
    write("B Layered", Colours::layers);
    linkSystemFont(bestFamily);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), bestFamily);
    EXPECT_NE(glyphs("\U0001F601"), Glyphs{0}); // the tiny fonts have none
}

TEST_F(EmojiFontChoiceTests, aFontOfPaintsThatBearsTheBestFamilysNameIsPassedOver)
{
    linkSystemFont(bestFamily);
    write(bestFamily, Colours::paints);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), bestFamily);
    EXPECT_NE(glyphs("\U0001F601"), Glyphs{0});
    const auto file = layout.ambiguousFontFile();
    ASSERT_TRUE(file) << "whoever draws by the family's name must be told which file is meant";
    EXPECT_GT(std::filesystem::file_size(*file), 1024U * 1024) << "the tiny font has a few hundred bytes";
}

TEST_F(EmojiFontChoiceTests, aFontWhoseFamilyIsItsAloneIsNotAmbiguous)
{
    linkSystemFont(bestFamily);
    write("Other Emoji", Colours::layers);
    ASSERT_TRUE(fonts.use());

    ASSERT_EQ(layout.colourEmojiFontFamily(), bestFamily);
    EXPECT_EQ(layout.ambiguousFontFile(), std::nullopt);
}

TEST_F(EmojiFontChoiceTests, filesThatAreNoFontsAreSkipped)
{
    const auto best = EmojiFontConfiguration::fileOf(bestFamily);
    ASSERT_TRUE(best);
    const std::string whole = contentsOf(*best);
    fonts.write("Empty.ttf", "");
    fonts.write("Garbage.ttf", std::string(100'000, '\x5a'));
    fonts.write("Header.ttf", whole.substr(0, 12));
    fonts.write("Half.ttf", whole.substr(0, whole.size() / 2));
    const std::string tiny = TinyEmojiFont::bytes("Cut off", grinningFace, Colours::layers);
    fonts.write("Cut off.ttf", tiny.substr(0, tiny.size() / 2));
    write("Whole", Colours::layers);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Whole");
    EXPECT_EQ(glyphs("\U0001F600"), Glyphs{1});
}

TEST_F(EmojiFontChoiceTests, filesThatAreNoFontsAreNoFontWhenTheyAreAlone)
{
    fonts.write("Empty.ttf", "");
    fonts.write("Garbage.ttf", std::string(100'000, '\x5a'));
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), std::nullopt);
}

/// What may become of a font's file between fontconfig's look at it and the first layout.
class EmojiFontDamageTests : public EmojiFontChoiceTests {
protected:
    EmojiFontDamageTests()
    {
        write("Plain", Colours::layers);
        fonts.write("Damaged.ttf", whole);
    }

    /// As the best family, the font comes before the other.
    const std::string whole = TinyEmojiFont::bytes(bestFamily, grinningFace, Colours::layers);
};

TEST_F(EmojiFontDamageTests, theFontIsTakenWhenItIsNotDamaged)
{
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(layout.colourEmojiFontFamily(), bestFamily);
}

TEST_F(EmojiFontDamageTests, aFontThatHasBecomeGarbageIsSkipped)
{
    ASSERT_TRUE(fonts.use());
    fonts.write("Damaged.ttf", std::string(100'000, '\x5a'));

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Plain");
}

TEST_F(EmojiFontDamageTests, aFontThatHasGoneIsSkipped)
{
    ASSERT_TRUE(fonts.use());
    std::filesystem::remove(fonts.write("Damaged.ttf", ""));

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Plain");
}

TEST_F(EmojiFontDamageTests, aFontThatEndsBehindItsColoursIsSkipped)
{
    ASSERT_TRUE(fonts.use());
    // Behind the directory of ten tables, the colours come first and the characters later.
    constexpr std::size_t colours = 12 + 10 * 16;
    constexpr std::size_t coloursSize = 34 + 6 + 4;
    fonts.write("Damaged.ttf", whole.substr(0, colours + coloursSize));

    EXPECT_EQ(layout.colourEmojiFontFamily(), "Plain");
}

TEST_F(EmojiFontChoiceTests, aFontThatDrawsNoUnknownFlagsHasNoneMissing)
{
    write("Without Flags", Colours::layers, U"\U0001F600\U0001F601");
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(glyphs("\U0001F600"), Glyphs{1});
    EXPECT_EQ(glyphs("\U0001F601"), Glyphs{2});
    EXPECT_EQ(glyphs("\U0001F1FD\U0001F1FD"), (Glyphs{0, 0}));
    EXPECT_EQ(glyphs("\U0001F1E9\U0001F1EA"), (Glyphs{0, 0}));
}

TEST_F(EmojiFontChoiceTests, lettersOfFlagsThatDoNotJoinStayLetters)
{
    write("Letters of Flags", Colours::layers, U"\U0001F1E9\U0001F1EA\U0001F1FD\U0001F600");
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(glyphs("\U0001F1FD\U0001F1FD"), (Glyphs{3, 3}));
    EXPECT_EQ(glyphs("\U0001F1E9\U0001F1EA"), (Glyphs{1, 2}));
}

TEST_F(EmojiFontChoiceTests, selectorsAndJoinersThatAreLeftOverAreNoGlyphs)
{
    // With a space in the font, HarfBuzz would show them as spaces.
    write("Spaced", Colours::layers, U" \U0001F3F4\U0001F600");
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(glyphs("\U0001F3F4\ufe0f"), Glyphs{2});
    EXPECT_EQ(glyphs("\U0001F3F4\u200d\U0001F600"), (Glyphs{2, 3}));
}

TEST_F(EmojiFontChoiceTests, tagsThatTheFontHasNoRuleForAddAMissingGlyph)
{
    write("Black Flag", Colours::layers, U"\U0001F3F4\U0001F600");
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(glyphs("\U0001F3F4"), Glyphs{1});
    EXPECT_EQ(glyphs("\U0001F3F4\U000E0067\U000E0062\U000E0073\U000E0063\U000E0074\U000E007F"),
              (Glyphs{1, 0}));
}

} // namespace
} // namespace glimmerwick::contract
