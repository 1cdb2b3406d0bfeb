#include "CatalogueCheck.h"
#include "Files.h"

#include "Models/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace glimmerwick {
namespace {

using std::filesystem::path;
using testing::IsEmpty;
using testing::IsSupersetOf;

const path sourceFolder = GLIMMERWICK_SOURCE_DIR;

bool isDrawn(const std::string& symbol)
{
    return exists(sourceFolder / "Resources" / "symbols" / (symbol + ".svg"));
}

RecommendedSequences loadSequences()
{
    auto loaded = RecommendedSequences::load(sourceFolder / "Content" / "sequences.txt");
    return std::move(loaded).value();
}

Manifest decode(const std::string& document)
{
    auto decoded = Manifest::decode(document);
    return std::move(decoded).value();
}

class BundledManifestTests : public testing::Test {
protected:
    const std::string document = readFile(sourceFolder / "Resources/catalogue/manifest.json").value();
    const RecommendedSequences sequences = loadSequences();
    const Manifest manifest = decode(document);
};

TEST_F(BundledManifestTests, KeepsEveryRuleOfTheCatalogue)
{
    const auto report = CatalogueCheck::run(document, sequences);

    EXPECT_THAT(report.breaches, IsEmpty());
    EXPECT_EQ(report.emojiCount, 1914u);
    EXPECT_EQ(report.tonedCount, 133u);
}

TEST_F(BundledManifestTests, GivesEveryEmojiANameOfItsOwn)
{
    std::set<std::string> names;
    for (const Emoji& emoji : manifest.allEmojis()) {
        EXPECT_TRUE(names.insert(emoji.name).second) << emoji.name;
    }
}

TEST_F(BundledManifestTests, HasTheSymbolOfEveryCategory)
{
    for (const EmojiCategory& category : manifest.categories()) {
        EXPECT_TRUE(isDrawn(category.sfSymbol.value_or(""))) << category.id;
        EXPECT_TRUE(isDrawn(category.sfSymbolFallback.value_or(""))) << category.id;
    }
}

TEST_F(BundledManifestTests, GivesTheNineBareKeysAQualifiedText)
{
    for (const char* key : {"261d", "26f9", "270c", "270d", "1f3cb", "1f3cc", "1f574", "1f575", "1f590"}) {
        const auto emoji = manifest.emoji(key);
        ASSERT_TRUE(emoji) << key;
        EXPECT_TRUE(emoji->skinTones) << key;
        EXPECT_TRUE(emoji->char_.ends_with("\uFE0F")) << key;
        EXPECT_FALSE(manifest.emoji(std::string(key) + "-fe0f")) << key;
    }
}

TEST_F(BundledManifestTests, HoldsTheEmojiOfThisYear)
{
    for (const char* key :
         {"1faea", "1faef", "1fac8", "1f9d1-200d-1fa70", "1facd", "1f6d8", "1fa8a", "1fa8e"}) {
        EXPECT_TRUE(manifest.emoji(key)) << key;
    }
}

TEST_F(BundledManifestTests, FindsFlagsByCountryCodeAndPeople)
{
    const auto keywords = [&](const std::string& key) { return manifest.emoji(key)->keywords; };

    EXPECT_THAT(keywords("1f1e9-1f1ea"), IsSupersetOf({"germany", "de", "german"}));
    EXPECT_THAT(keywords("1f1ec-1f1e7"), IsSupersetOf({"united kingdom", "uk", "gb", "british"}));
    EXPECT_THAT(keywords("1f1fa-1f1f8"), IsSupersetOf({"united states", "usa", "us", "american"}));
}

TEST_F(BundledManifestTests, NamesTheEditionThatTheGeneratorWrites)
{
    const std::string edition = readFile(sourceFolder / "Content/edition.json").value();

    EXPECT_NE(edition.find("\"" + manifest.version() + "\""), std::string::npos);
    EXPECT_NE(edition.find("\"" + manifest.lastUpdated() + "\""), std::string::npos);
}

} // namespace
} // namespace glimmerwick
