#include "CatalogueCheck.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <functional>

namespace glimmerwick {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using Json = nlohmann::ordered_json;

/// A small catalogue that keeps every rule, and what is said when a rule is broken.
class CatalogueCheckTests : public testing::Test {
protected:
    CatalogueCheckTests()
    {
        manifest = {{"version", "1"}, {"lastUpdated", "today"}};
        for (const char* id : {"smileys", "people", "animals", "food", "travel", "activities", "objects",
                               "symbols", "flags"}) {
            manifest["categories"].push_back({{"id", id},
                                              {"name", id},
                                              {"icon", "1f600"},
                                              {"sfSymbol", "circle"},
                                              {"sfSymbolFallback", "circle"},
                                              {"emojis", Json::array()}});
        }
        add("1f600", "😀", "grinning face", "smileys", 0, false);
        add("2764-fe0f", "❤️", "red heart", "smileys", 0, false);
        add("1f44b", "👋", "waving hand", "people", 1, true);
        add("261d", "☝️", "index pointing up", "people", 1, true);
    }

    void add(const std::string& key, const char* text, const char* name, const char* category,
             int categoryNumber, bool skinTones)
    {
        manifest["emojis"][key] = {{"char", text},
                                   {"name", name},
                                   {"keywords", {"one", "two"}},
                                   {"category", category},
                                   {"skinTones", skinTones}};
        manifest["categories"][categoryNumber]["emojis"].push_back(key);
    }

    static RecommendedSequences recommended()
    {
        // A tone and a hair style are emoji of their own, but no emoji of the catalogue.
        std::unordered_set<std::string> all = {"1f600", "2764-fe0f", "1f44b", "261d-fe0f", "1f3fb", "1f9b0"};
        for (const std::string tone : {"1f3fb", "1f3fc", "1f3fd", "1f3fe", "1f3ff"}) {
            all.insert("1f44b-" + tone);
            all.insert("261d-" + tone);
        }
        return RecommendedSequences(std::move(all));
    }

    std::vector<std::string> breaches() const
    {
        return CatalogueCheck::run(manifest.dump(), sequences).breaches;
    }

    Json& emoji(const char* key) { return manifest["emojis"][key]; }

    Json manifest;
    const RecommendedSequences sequences = recommended();
};

TEST_F(CatalogueCheckTests, AGoodCatalogueBreaksNoRule)
{
    const auto report = CatalogueCheck::run(manifest.dump(), sequences);

    EXPECT_THAT(report.breaches, IsEmpty());
    EXPECT_EQ(report.emojiCount, 4u);
    EXPECT_EQ(report.tonedCount, 2u);
    EXPECT_EQ(report.keywordCount, 8u);
}

TEST_F(CatalogueCheckTests, ADocumentThatDoesNotDecodeIsOneBreach)
{
    EXPECT_EQ(CatalogueCheck::run("{", sequences).breaches.size(), 1u);

    emoji("1f600")["skinTones"] = "true";
    EXPECT_EQ(breaches().size(), 1u);
}

TEST_F(CatalogueCheckTests, ARepeatedMemberIsABreach)
{
    std::string document = manifest.dump();
    const std::string member = R"("emojis":{)";
    document.insert(document.rfind(member) + member.size(), R"("1f600":)" + emoji("1f600").dump() + ",");

    EXPECT_THAT(CatalogueCheck::run(document, sequences).breaches,
                ElementsAre("the member 1f600 is there twice"));
}

TEST_F(CatalogueCheckTests, TheEditionIsNamed)
{
    manifest["version"] = "";

    EXPECT_THAT(breaches(), ElementsAre("the version or its date is empty"));
}

TEST_F(CatalogueCheckTests, TheCategoriesAreTheNineInOrder)
{
    manifest["categories"][8]["id"] = "banners";

    EXPECT_THAT(breaches(), ElementsAre("the categories are not the nine of the picker in their order"));
}

TEST_F(CatalogueCheckTests, ACategoryHasANameSymbolsAndAnIcon)
{
    manifest["categories"][2].erase("sfSymbolFallback");
    manifest["categories"][3]["icon"] = "1f354";

    EXPECT_THAT(breaches(),
                ElementsAre("category animals lacks a name, a symbol or a fallback",
                            "category food has an icon that is no emoji: 1f354"));
}

TEST_F(CatalogueCheckTests, EveryEntryOfACategoryIsThere)
{
    manifest["categories"][2]["emojis"].push_back("1f43b");

    EXPECT_THAT(breaches(), ElementsAre("category animals lists 1f43b, which is not there"));
}

TEST_F(CatalogueCheckTests, EveryEmojiIsListedOnceInTheCategoryItNames)
{
    manifest["categories"][0]["emojis"] = {"1f600"};
    manifest["categories"][2]["emojis"].push_back("1f44b");

    EXPECT_THAT(breaches(),
                ElementsAre("1f44b is listed in animals but names people", "1f44b is listed 2 times",
                            "2764-fe0f is listed 0 times"));
}

TEST_F(CatalogueCheckTests, EveryRecommendedEmojiIsThere)
{
    manifest["categories"][0]["emojis"] = {"1f600"};
    manifest["emojis"].erase("2764-fe0f");

    EXPECT_THAT(breaches(), ElementsAre("2764-fe0f is a recommended emoji and not there"));
}

TEST_F(CatalogueCheckTests, EveryEmojiHasAName)
{
    emoji("1f600")["name"] = " ";

    EXPECT_THAT(breaches(), ElementsAre("1f600 has no name"));
}

TEST_F(CatalogueCheckTests, KeysAreTheCodepointsOfAFullyQualifiedText)
{
    emoji("2764-fe0f")["char"] = "❤";
    EXPECT_THAT(breaches(), Contains("2764-fe0f has a text that is no recommended emoji: 2764"));
    EXPECT_THAT(breaches(), Contains("2764-fe0f is no key of the text 2764"));
}

TEST_F(CatalogueCheckTests, AKeyIsBareExactlyWhereItsTonesNeedIt)
{
    emoji("1f600")["char"] = "❤️";
    EXPECT_THAT(breaches(), Contains("1f600 is no key of the text 2764-fe0f"));

    add("261d-fe0f", "☝️", "another", "people", 1, false);
    EXPECT_THAT(breaches(), Contains("261d-fe0f is no key of the text 261d-fe0f"));
}

TEST_F(CatalogueCheckTests, TonesAreOfferedExactlyWhereEveryOneIsRecommended)
{
    emoji("1f600")["skinTones"] = true;
    emoji("1f44b")["skinTones"] = false;

    EXPECT_THAT(breaches(),
                ElementsAre("1f600 takes tones that make no recommended sequence",
                            "1f44b takes no tones, though every one is recommended"));
}

TEST_F(CatalogueCheckTests, KeywordsAreLowerCaseTrimmedComposedAndNonEmpty)
{
    for (const char* bad : {"One", " one", "", "e\u0301"}) {
        emoji("1f600")["keywords"] = {bad};
        EXPECT_THAT(breaches(),
                    ElementsAre("1f600: the keyword \"" + std::string(bad)
                                + "\" is not lower case, trimmed, composed and non-empty"));
    }
}

TEST_F(CatalogueCheckTests, KeywordsDifferInAnyCaseAndFromTheName)
{
    emoji("1f600")["keywords"] = {"one", "one", "grinning face"};

    EXPECT_THAT(breaches(),
                ElementsAre("1f600: the keyword \"one\" is there twice",
                            "1f600: the keyword \"grinning face\" repeats the name"));
}

TEST_F(CatalogueCheckTests, AKeywordStandsBeforeThoseThatBeginWithIt)
{
    emoji("1f600")["keywords"] = {"party hat", "party"};

    EXPECT_THAT(breaches(),
                ElementsAre("1f600: the keyword \"party\" stands behind a longer one that begins with it"));
}

} // namespace
} // namespace glimmerwick
