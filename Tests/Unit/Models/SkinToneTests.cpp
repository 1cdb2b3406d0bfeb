#include "Models/SkinTone.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>
#include <vector>

namespace glimmerwick {
namespace {

using Text = std::optional<std::string>;

TEST(SkinTone, ListsItsCasesInTheOrderOfTheSelector)
{
    std::vector<std::string> rawValues;
    for (const SkinTone tone : SkinTone::allCases()) {
        rawValues.emplace_back(tone.rawValue());
    }

    EXPECT_EQ(rawValues, (std::vector<std::string>{"", "1f3fb", "1f3fc", "1f3fd", "1f3fe", "1f3ff"}));
    EXPECT_EQ(SkinTone(SkinTone::default_).rawValue(), "");
    EXPECT_EQ(SkinTone(SkinTone::light).rawValue(), "1f3fb");
    EXPECT_EQ(SkinTone(SkinTone::mediumLight).rawValue(), "1f3fc");
    EXPECT_EQ(SkinTone(SkinTone::medium).rawValue(), "1f3fd");
    EXPECT_EQ(SkinTone(SkinTone::mediumDark).rawValue(), "1f3fe");
    EXPECT_EQ(SkinTone(SkinTone::dark).rawValue(), "1f3ff");
}

TEST(SkinTone, IsMadeFromExactlyTheSixRawValues)
{
    for (const SkinTone tone : SkinTone::allCases()) {
        EXPECT_EQ(SkinTone::fromRawValue(tone.rawValue()), tone);
    }
    EXPECT_EQ(SkinTone::fromRawValue(""), SkinTone(SkinTone::default_));
    EXPECT_EQ(SkinTone::fromRawValue("1F3FB"), std::nullopt);
    EXPECT_EQ(SkinTone::fromRawValue("1f3fa"), std::nullopt);
    EXPECT_EQ(SkinTone::fromRawValue("1f3fb "), std::nullopt);
    EXPECT_EQ(SkinTone::fromRawValue("light"), std::nullopt);
}

TEST(SkinTone, CanBeHashed)
{
    const std::unordered_set<SkinTone> tones{SkinTone::light, SkinTone::dark, SkinTone::light};

    EXPECT_EQ(tones.size(), 2u);
    EXPECT_TRUE(tones.contains(SkinTone::dark));
}

TEST(SkinTone, AppendsTheModifierToACodepointString)
{
    EXPECT_EQ(SkinTone(SkinTone::light).apply("1f44d"), "1f44d-1f3fb");
    EXPECT_EQ(SkinTone(SkinTone::default_).apply("1f44d"), "1f44d");
}

TEST(SkinTone, AppendsTheModifierAtTheVeryEndWhateverTheStringHolds)
{
    EXPECT_EQ(SkinTone(SkinTone::light).apply("1f469-200d-1f4bb"), "1f469-200d-1f4bb-1f3fb");
    EXPECT_EQ(SkinTone(SkinTone::light).apply("270c-fe0f"), "270c-fe0f-1f3fb");
    EXPECT_EQ(SkinTone(SkinTone::mediumLight).apply("1f44d-1f3fb"), "1f44d-1f3fb-1f3fc");
}

TEST(SkinTone, AppliedToNothingGivesTheLoneModifier)
{
    const std::string toned = SkinTone(SkinTone::dark).apply("");

    EXPECT_EQ(toned, "-1f3ff");
    EXPECT_EQ(SkinTone::codepointToChar(toned), "🏿");
}

TEST(CodepointText, IsMadeOfTheScalarsInOrder)
{
    EXPECT_EQ(SkinTone::codepointToChar("1f44d-1f3fb"), "👍🏻");
    EXPECT_EQ(SkinTone::codepointToChar("1f469-200d-1f4bb"), "👩‍💻");
    EXPECT_EQ(SkinTone::codepointToChar("41-42"), "AB");
    EXPECT_EQ(SkinTone::codepointToChar("e9-20ac"), "é€");
}

TEST(CodepointText, AcceptsUpperCaseDigitsPlusSignsAndLeadingZeros)
{
    EXPECT_EQ(SkinTone::codepointToChar("1F44D"), "👍");
    EXPECT_EQ(SkinTone::codepointToChar("+1f44d-+41"), "👍A");
    EXPECT_EQ(SkinTone::codepointToChar("0000000000000000000041"), "A");
}

TEST(CodepointText, IgnoresEmptyPieces)
{
    EXPECT_EQ(SkinTone::codepointToChar("-41"), "A");
    EXPECT_EQ(SkinTone::codepointToChar("41-"), "A");
    EXPECT_EQ(SkinTone::codepointToChar("--41---42--"), "AB");
}

TEST(CodepointText, ReachesTheEndsOfTheScalarRanges)
{
    EXPECT_EQ(SkinTone::codepointToChar("0"), std::string(1, '\0'));
    EXPECT_EQ(SkinTone::codepointToChar("d7ff"), "\uD7FF");
    EXPECT_EQ(SkinTone::codepointToChar("e000"), "\uE000");
    EXPECT_EQ(SkinTone::codepointToChar("10ffff"), "\U0010FFFF");
}

class InvalidCodepointText : public testing::TestWithParam<std::string> { };

TEST_P(InvalidCodepointText, IsNoText)
{
    EXPECT_EQ(SkinTone::codepointToChar(GetParam()), Text());
}

INSTANTIATE_TEST_SUITE_P(Strings, InvalidCodepointText,
                         testing::Values("", "-", "---", "zz", "d800", "dfff", "110000", "100000000",
                                         "ffffffff", "fffffffffffffffff", "0x41", "U+41", "u+41", "+", "++41",
                                         "41-+", "41-zz", "zz-41", " 41", "41 ", "4 1", "41_42", "41\n", "é",
                                         "👍"));

TEST(CodepointText, WithANulByteIsNone)
{
    EXPECT_EQ(SkinTone::codepointToChar(std::string_view("41\0", 3)), Text());
}

} // namespace
} // namespace glimmerwick
