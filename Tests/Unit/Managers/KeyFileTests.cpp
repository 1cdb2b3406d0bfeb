#include "Managers/KeyFile.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace glimmerwick {
namespace {

std::optional<std::string> value(const std::string& text)
{
    return valueInKeyFile(text, "KEY");
}

TEST(KeyFile, GivesTheValueOfAKey)
{
    EXPECT_EQ(value("KEY=value"), "value");
    EXPECT_EQ(value("OTHER=1\nKEY=value\nLAST=2\n"), "value");
    EXPECT_EQ(value("KEY="), "");
}

TEST(KeyFile, HasNothingForAKeyItLacks)
{
    EXPECT_EQ(value(""), std::nullopt);
    EXPECT_EQ(value("\n\n"), std::nullopt);
    EXPECT_EQ(value("OTHER=KEY"), std::nullopt);
    EXPECT_EQ(value("KEY"), std::nullopt);
    EXPECT_EQ(value("key=value"), std::nullopt);
    EXPECT_EQ(value("KEYS=value"), std::nullopt);
    EXPECT_EQ(value("=value"), std::nullopt);
}

TEST(KeyFile, SkipsCommentsAndEmptyLines)
{
    EXPECT_EQ(value("# KEY=comment\n\n  \t\n  #KEY=comment\nKEY=value"), "value");
    EXPECT_EQ(value("KEY=a#b"), "a#b");
    EXPECT_EQ(valueInKeyFile("#KEY=value", "#KEY"), std::nullopt);
}

TEST(KeyFile, DropsSpacesAndTabsAroundALine)
{
    EXPECT_EQ(value("  \tKEY=value \t "), "value");
}

TEST(KeyFile, DropsNoOtherBlanksAroundALine)
{
    EXPECT_EQ(value("\u00a0KEY=value"), std::nullopt);
    EXPECT_EQ(value("KEY=value\u00a0"), "value\u00a0");
}

TEST(KeyFile, TakesSpacesAroundTheEqualsSignForPartOfKeyAndValue)
{
    EXPECT_EQ(value("KEY =value"), std::nullopt);
    EXPECT_EQ(value("KEY = value"), std::nullopt);
    EXPECT_EQ(value("KEY= value"), " value");
}

TEST(KeyFile, SkipsALineWithMoreThanOneEqualsSign)
{
    EXPECT_EQ(value("KEY=https://host/?a=b"), std::nullopt);
    EXPECT_EQ(value("KEY==value"), std::nullopt);
    EXPECT_EQ(value("KEY=value="), std::nullopt);
    EXPECT_EQ(value("KEY=a=b\nKEY=value"), "value");
}

TEST(KeyFile, TakesTheFirstMatchingLine)
{
    EXPECT_EQ(value("KEY=first\nKEY=second"), "first");
    EXPECT_EQ(value("KEY=\nKEY=second"), "");
}

class KeyFileNewlines : public testing::TestWithParam<std::string> { };

TEST_P(KeyFileNewlines, SeparateLines)
{
    EXPECT_EQ(value("OTHER=1" + GetParam() + "KEY=value" + GetParam() + "LAST=2"), "value");
    EXPECT_EQ(value("KEY=value" + GetParam()), "value");
    EXPECT_EQ(value(GetParam() + GetParam() + "KEY=value"), "value");
}

INSTANTIATE_TEST_SUITE_P(All, KeyFileNewlines,
                         testing::Values("\n", "\r", "\r\n", "\v", "\f", "\u0085", "\u2028", "\u2029"));

TEST(KeyFile, TakesAByteOrderMarkForPartOfTheFirstLine)
{
    EXPECT_EQ(value("\ufeffKEY=value"), std::nullopt);
    EXPECT_EQ(value("\ufeff# comment\nKEY=value"), "value");
}

TEST(KeyFile, OfManyLinesIsReadThroughOnce)
{
    std::string text(400'000, '\r');
    text += "KEY=value";

    EXPECT_EQ(value(text), "value");
}

} // namespace
} // namespace glimmerwick
