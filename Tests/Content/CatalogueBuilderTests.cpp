#include "CatalogueBuilder.h"

#include "Models/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* slugs[] = {"smileys_emotion", "people_body",   "animals_nature",
                                 "food_drink",      "travel_places", "activities",
                                 "objects",         "symbols",       "flags"};

/// The nine groups with a few emoji, and what the builder says of them.
class CatalogueBuilderTests : public testing::Test {
protected:
    CatalogueBuilderTests()
    {
        for (const char* slug : slugs) {
            english.push_back({slug, "", {}});
        }
        add(0, {"😀", "grinning face", {"grin"}, {"grinning"}, {":)"}, {"grinning_face", "happy"}});
        add(1, {"👋", "waving hand", {"wave"}, {"wave"}, {}, {"hello", "wave"}});
        add(1, {"☝️", "index pointing up", {}, {"point_up"}, {}, {}});
        add(1, {"👩‍💻", "woman technologist", {}, {}, {}, {}});
        add(5, {"🎉", "party popper", {"party"}, {"tada"}, {}, {"party"}});
        add(5, {"🎈", "balloon", {"party"}, {"balloon"}, {}, {"party", "red"}});
        add(8, {"🇨🇱", "flag: Chile", {"CL", "flag"}, {"chile", "flag_cl"}, {}, {"country"}});
    }

    void add(std::size_t group, EmojiRecord emoji) { english[group].emojis.push_back(std::move(emoji)); }

    Result<std::string, GeneratorError> build(std::string_view synonyms = "") const
    {
        return build(english, synonyms);
    }

    Result<std::string, GeneratorError> build(const std::vector<EmojiGroup>& local,
                                              std::string_view synonyms) const
    {
        const auto words = Synonyms::parse(synonyms, "synonyms");
        return CatalogueBuilder(english, local, words.value(), sequences).build({"9.1", "2026-09-01"});
    }

    Manifest manifest(std::string_view synonyms = "") const
    {
        return Manifest::decode(build(synonyms).value()).value();
    }

    static RecommendedSequences recommended()
    {
        std::unordered_set<std::string> all = {"1f600", "1f44b", "261d-fe0f",  "1f469-200d-1f4bb",
                                               "1f389", "1f388", "1f1e8-1f1f1"};
        for (const std::string tone : {"1f3fb", "1f3fc", "1f3fd", "1f3fe", "1f3ff"}) {
            all.insert("1f44b-" + tone);
            all.insert("261d-" + tone);
            all.insert("1f469-" + tone + "-200d-1f4bb");
        }
        return RecommendedSequences(std::move(all));
    }

    std::vector<EmojiGroup> english;
    const RecommendedSequences sequences = recommended();
};

TEST_F(CatalogueBuilderTests, WritesTheEditionAndTheNineCategories)
{
    const Manifest built = manifest();

    EXPECT_EQ(built.version(), "9.1");
    EXPECT_EQ(built.lastUpdated(), "2026-09-01");
    std::vector<std::string> names;
    for (const EmojiCategory& category : built.categories()) {
        names.push_back(category.name);
        EXPECT_NE(category.icon, "");
        EXPECT_TRUE(category.sfSymbol && category.sfSymbolFallback) << category.id;
    }
    EXPECT_THAT(names,
                ElementsAre("Smileys & Emotion", "People & Body", "Animals & Nature", "Food & Drink",
                            "Travel & Places", "Activities", "Objects", "Symbols", "Flags"));
    EXPECT_THAT(built.categories()[1].emojis, ElementsAre("1f44b", "261d", "1f469-200d-1f4bb"));
}

TEST_F(CatalogueBuilderTests, OffersTonesOnlyWhereAppendingMakesARecommendedSequence)
{
    const Manifest built = manifest();

    EXPECT_TRUE(built.emoji("1f44b")->skinTones);
    EXPECT_FALSE(built.emoji("1f600")->skinTones);
    // Its tones stand in the middle.
    EXPECT_FALSE(built.emoji("1f469-200d-1f4bb")->skinTones);
}

TEST_F(CatalogueBuilderTests, GivesABareKeyAndAQualifiedTextWhereOnlyThatCanBeToned)
{
    const auto emoji = manifest().emoji("261d");

    ASSERT_TRUE(emoji);
    EXPECT_EQ(emoji->char_, "☝️");
    EXPECT_TRUE(emoji->skinTones);
}

TEST_F(CatalogueBuilderTests, PutsTheMostTellingWordsFirst)
{
    const auto emoji = manifest("😀 smile, yay\n").emoji("1f600");

    EXPECT_THAT(emoji->keywords,
                ElementsAre("smile", "yay", ":)", ":-)", "grin", "grinning", "face", "happy"));
}

TEST_F(CatalogueBuilderTests, FindsAFlagByItsCountryFirst)
{
    const auto keywords = manifest("🇨🇱 chilean\n").emoji("1f1e8-1f1f1")->keywords;

    EXPECT_THAT(keywords, ElementsAre("chile", "chilean", "country", "cl", "flag", "flag cl", "flag chile"));
}

TEST_F(CatalogueBuilderTests, LeavesAWordToTheEmojiWhoseNameBeginsWithIt)
{
    const Manifest built = manifest("🎉 party, celebrate\n");

    EXPECT_THAT(built.emoji("1f389")->keywords, Contains("party"));
    EXPECT_THAT(built.emoji("1f388")->keywords, Contains("party balloon"));
    EXPECT_THAT(built.emoji("1f388")->keywords, Not(Contains("party")));
}

TEST_F(CatalogueBuilderTests, LeavesAWordToTheOnlyEmojiThatClaimsIt)
{
    const Manifest built = manifest("🎈 party, red\n");

    EXPECT_THAT(built.emoji("1f388")->keywords, Contains("party"));
    // The name decides there.
    EXPECT_THAT(built.emoji("1f389")->keywords, Contains("party"));

    const Manifest greeting = manifest("👋 happy\n");
    EXPECT_THAT(greeting.emoji("1f44b")->keywords, Contains("happy"));
    EXPECT_THAT(greeting.emoji("1f600")->keywords, Contains("happy grinning face"));

    const Manifest both = manifest("👋 happy\n🎈 happy\n");
    EXPECT_THAT(both.emoji("1f600")->keywords, Contains("happy"));
}

TEST_F(CatalogueBuilderTests, LeavesTheCountryToItsFlag)
{
    add(0, {"❤️", "red heart", {"chile", "chilean"}, {}, {}, {}});
    const Manifest built = manifest("🇨🇱 cl, chilean\n");

    EXPECT_THAT(built.emoji("2764-fe0f")->keywords,
                ElementsAre("heart", "chile red heart", "chilean red heart"));
}

TEST_F(CatalogueBuilderTests, TakesUnwantedWordsAndFragmentsAway)
{
    add(0, {"❤️", "red heart", {"for", "car's", "AT", "love"}, {}, {}, {"you", "odd"}});
    const Manifest built = manifest("❤️ not:odd\n");

    EXPECT_THAT(built.emoji("2764-fe0f")->keywords, ElementsAre("heart", "at", "love"));
}

TEST_F(CatalogueBuilderTests, LeavesWordsOutThatJoinOthersInALanguage)
{
    std::vector<EmojiGroup> local = english;
    for (int number = 0; number < 12; ++number) {
        const std::string text = "emoji " + std::to_string(number);
        english[4].emojis.push_back({text, "thing " + std::to_string(number), {}, {}, {}, {}});
        local[4].emojis.push_back({text, "cosa de rojo " + std::to_string(number), {"rojo"}, {}, {}, {}});
    }

    const Manifest built = Manifest::decode(build(local, "").value()).value();

    const auto keywords = built.emojis(built.categories()[4]).at(0).keywords;
    EXPECT_THAT(keywords, Contains("rojo"));
    EXPECT_THAT(keywords, Not(Contains("de")));
}

TEST_F(CatalogueBuilderTests, MergesTheEnglishWordsBehindThoseOfALocale)
{
    std::vector<EmojiGroup> local = english;
    local[0].name = "smileys & emotionen";
    local[0].emojis[0] = {"😀", "grinsendes Gesicht", {"lustig"}, {"grinsendes_gesicht"}, {}, {}};

    const auto built = build(local, "😀 smile\n");

    ASSERT_TRUE(built) << built.error().description;
    const Manifest decoded = Manifest::decode(built.value()).value();
    EXPECT_EQ(decoded.categories()[0].name, "Smileys & emotionen");
    EXPECT_EQ(decoded.categories()[1].name, "People & Body");
    EXPECT_EQ(decoded.emoji("1f600")->name, "grinsendes Gesicht");
    EXPECT_THAT(decoded.emoji("1f600")->keywords,
                ElementsAre("gesicht", "lustig", "grin", "smile", ":)", ":-)", "grinning", "grinning face",
                            "face", "happy"));
}

TEST_F(CatalogueBuilderTests, WritesAnEmojiALineAndTheSameBytesEachTime)
{
    const std::string document = build().value();

    EXPECT_THAT(document,
                HasSubstr("\n    \"1f44b\": {\"char\":\"👋\",\"name\":\"waving hand\",\"keywords\":["));
    EXPECT_THAT(document, StartsWith("{\n  \"version\": \"9.1\",\n"));
    EXPECT_EQ(document, build().value());
}

TEST_F(CatalogueBuilderTests, RefusesSynonymsOfWhatIsNoEmojiOfTheCatalogue)
{
    // Without its variation selector it is another text.
    EXPECT_EQ(build("☝ this\n").error().description,
              "synonyms for ☝ (261d), which is no emoji of the catalogue");
}

TEST_F(CatalogueBuilderTests, RefusesGroupsThatNoCategoryIsMadeOf)
{
    english[3].slug = "meals";
    EXPECT_EQ(build().error().description, "the data has no group food_drink");

    english.push_back({"new_group", "", {}});
    EXPECT_EQ(build().error().description, "the data has another number of groups than there are categories");
}

} // namespace
} // namespace glimmerwick
