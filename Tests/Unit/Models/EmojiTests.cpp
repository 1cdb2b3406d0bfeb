#include "Models/Emoji.h"

#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

namespace glimmerwick {
namespace {

const std::string wavingHandJson = R"({"char": "👋", "name": "waving hand", "keywords": ["hello", "bye"],
    "category": "people", "skinTones": true})";

TEST(Emoji, TakesItsFieldsInDeclarationOrder)
{
    const Emoji emoji{"1f600", "😀", "grinning face", {"smile"}, "smileys", true, "6.0"};

    EXPECT_EQ(emoji.codepoint, "1f600");
    EXPECT_EQ(emoji.char_, "😀");
    EXPECT_EQ(emoji.name, "grinning face");
    EXPECT_EQ(emoji.keywords, std::vector<std::string>{"smile"});
    EXPECT_EQ(emoji.category, "smileys");
    EXPECT_TRUE(emoji.skinTones);
    EXPECT_EQ(emoji.ios, "6.0");
}

TEST(Emoji, IsEqualAndHashesAlikeByCodepointAlone)
{
    const Emoji one{"1f600", "😀", "grinning face", {"smile"}, "smileys", false, std::nullopt};
    const Emoji other{"1f600", "x", "something else", {}, "people", true, "6.0"};

    EXPECT_EQ(one, other);
    EXPECT_EQ(std::hash<Emoji>{}(one), std::hash<Emoji>{}(other));
    EXPECT_EQ((std::unordered_set<Emoji>{one, other}).size(), 1U);
}

TEST(Emoji, DiffersByCodepointWithoutFoldingOfCase)
{
    const Emoji lower{"1f60a", "😊", "same", {}, "same", false};
    const Emoji upper{"1F60A", "😊", "same", {}, "same", false};

    EXPECT_NE(lower, upper);
    EXPECT_EQ((std::unordered_set<Emoji>{lower, upper}).size(), 2U);
}

TEST(Emoji, DecodedOnItsOwnHasAnEmptyCodepoint)
{
    const auto emoji = Emoji::decode(wavingHandJson);

    ASSERT_TRUE(emoji);
    EXPECT_EQ(emoji.value().codepoint, "");
    EXPECT_EQ(emoji.value().char_, "👋");
    EXPECT_EQ(emoji.value().name, "waving hand");
    EXPECT_EQ(emoji.value().keywords, (std::vector<std::string>{"hello", "bye"}));
    EXPECT_EQ(emoji.value().category, "people");
    EXPECT_TRUE(emoji.value().skinTones);
    EXPECT_EQ(emoji.value().ios, std::nullopt);
}

TEST(Emoji, NeverReadsItsCodepointFromTheObject)
{
    const auto emoji = Emoji::decode(
        R"({"codepoint": "1f44b", "char": "a", "name": "b", "keywords": [], "category": "c", "skinTones": false})");

    ASSERT_TRUE(emoji);
    EXPECT_EQ(emoji.value().codepoint, "");
}

TEST(Emoji, IsWrittenWithoutItsCodepointAndWithItsVersionTagOnlyWhenItHasOne)
{
    Emoji emoji{"1f600", "😀", "grinning face", {"smile"}, "smileys", false};

    EXPECT_EQ(emoji.encode().find("codepoint"), std::string::npos);
    EXPECT_EQ(emoji.encode().find("1f600"), std::string::npos);
    EXPECT_EQ(emoji.encode().find("ios"), std::string::npos);

    emoji.ios = "6.0";

    EXPECT_NE(emoji.encode().find("\"ios\": \"6.0\""), std::string::npos);
}

TEST(Emoji, ComesBackFromItsOwnEncodingButForTheCodepoint)
{
    const Emoji emoji{"1f600", "😀", "quote \" slash \\ tab \t", {"smile", ""}, "smileys", true, "6.0"};

    const auto decoded = Emoji::decode(emoji.encode());

    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded.value().codepoint, "");
    EXPECT_EQ(decoded.value().char_, emoji.char_);
    EXPECT_EQ(decoded.value().name, emoji.name);
    EXPECT_EQ(decoded.value().keywords, emoji.keywords);
    EXPECT_EQ(decoded.value().category, emoji.category);
    EXPECT_EQ(decoded.value().skinTones, emoji.skinTones);
    EXPECT_EQ(decoded.value().ios, emoji.ios);
}

TEST(Emoji, WithIllFormedTextIsStillWrittenAsJson)
{
    const Emoji emoji{"1f600", "\xff", "broken \xc3", {}, "smileys", false};

    const auto decoded = Emoji::decode(emoji.encode());

    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded.value().char_, "\uFFFD");
}

TEST(Emoji, TakesANullVersionTagForAnAbsentOne)
{
    const auto emoji = Emoji::decode(
        R"({"char": "a", "name": "b", "keywords": [], "category": "c", "skinTones": false, "ios": null})");

    ASSERT_TRUE(emoji);
    EXPECT_EQ(emoji.value().ios, std::nullopt);
}

struct BadEmoji {
    std::string json;
    std::string description;
};

class EmojiDecodingFailure : public testing::TestWithParam<BadEmoji> { };

TEST_P(EmojiDecodingFailure, NamesTheMember)
{
    const auto emoji = Emoji::decode(GetParam().json);

    ASSERT_FALSE(emoji);
    EXPECT_EQ(emoji.error().description, GetParam().description);
}

INSTANTIATE_TEST_SUITE_P(
    Members, EmojiDecodingFailure,
    testing::Values(
        BadEmoji{R"({"name": "b", "keywords": [], "category": "c", "skinTones": false})", "char: missing"},
        BadEmoji{R"({"char": "a", "keywords": [], "category": "c", "skinTones": false})", "name: missing"},
        BadEmoji{R"({"char": "a", "name": "b", "category": "c", "skinTones": false})", "keywords: missing"},
        BadEmoji{R"({"char": "a", "name": "b", "keywords": [], "skinTones": false})", "category: missing"},
        BadEmoji{R"({"char": "a", "name": "b", "keywords": [], "category": "c"})", "skinTones: missing"},
        BadEmoji{R"({"char": null, "name": "b", "keywords": [], "category": "c", "skinTones": false})",
                 "char: expected string, found null"},
        BadEmoji{R"({"char": "a", "name": "b", "keywords": ["x", 1], "category": "c", "skinTones": false})",
                 "keywords[1]: expected string, found number"},
        BadEmoji{R"({"char": "a", "name": "b", "keywords": "x", "category": "c", "skinTones": false})",
                 "keywords: expected array, found string"},
        BadEmoji{R"({"char": "a", "name": "b", "keywords": [], "category": "c", "skinTones": 1})",
                 "skinTones: expected boolean, found number"},
        BadEmoji{
            R"({"char": "a", "name": "b", "keywords": [], "category": "c", "skinTones": false, "ios": 6})",
            "ios: expected string, found number"},
        BadEmoji{R"({"Char": "a", "name": "b", "keywords": [], "category": "c", "skinTones": false})",
                 "char: missing"},
        BadEmoji{"[]", "The document: expected object, found array"}));

} // namespace
} // namespace glimmerwick
