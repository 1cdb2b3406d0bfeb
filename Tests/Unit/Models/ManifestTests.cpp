#include "Models/Manifest.h"

#include "Fakes/SampleManifest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using fakes::sampleManifest;
using fakes::sampleManifestJson;

std::vector<std::string> codepoints(const std::vector<Emoji>& emojis)
{
    std::vector<std::string> result;
    for (const Emoji& emoji : emojis) {
        result.push_back(emoji.codepoint);
    }
    return result;
}

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    const auto position = text.find(what);
    EXPECT_NE(position, std::string::npos) << what;
    return text.replace(position, what.size(), by);
}

std::string failureOf(const std::string& json)
{
    const auto manifest = Manifest::decode(json);
    return manifest ? "decoded" : manifest.error().description;
}

std::string readFile(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(Manifest, HoldsWhatTheDocumentSays)
{
    const Manifest manifest = sampleManifest();

    EXPECT_EQ(manifest.version(), "1.0.0");
    EXPECT_EQ(manifest.lastUpdated(), "2026-01-01T00:00:00Z");
    ASSERT_EQ(manifest.categories().size(), 2U);
    const EmojiCategory& smileys = manifest.categories()[0];
    EXPECT_EQ(smileys.id, "smileys");
    EXPECT_EQ(smileys.name, "Smileys");
    EXPECT_EQ(smileys.icon, "1f600");
    EXPECT_EQ(smileys.sfSymbol, "face.smiling");
    EXPECT_EQ(smileys.sfSymbolFallback, "circle");
    EXPECT_EQ(smileys.emojis, (std::vector<std::string>{"1f600", "1f601"}));
    const auto emoji = manifest.emoji("1f600");
    ASSERT_TRUE(emoji);
    EXPECT_EQ(emoji->codepoint, "1f600");
    EXPECT_EQ(emoji->char_, "😀");
    EXPECT_EQ(emoji->name, "grinning face");
    EXPECT_EQ(emoji->keywords, (std::vector<std::string>{"smile", "happy"}));
    EXPECT_EQ(emoji->category, "smileys");
    EXPECT_FALSE(emoji->skinTones);
    EXPECT_EQ(emoji->ios, "6.0");
}

TEST(Manifest, HasAbsentSymbolsWhereTheCategoryNamesNone)
{
    const EmojiCategory people = sampleManifest().categories()[1];

    EXPECT_EQ(people.sfSymbol, std::nullopt);
    EXPECT_EQ(people.sfSymbolFallback, std::nullopt);
}

TEST(Manifest, TakesNullSymbolsForAbsentOnes)
{
    const std::string json =
        replaced(sampleManifestJson(), R"("sfSymbol": "face.smiling")", R"("sfSymbol": null)");

    const auto manifest = Manifest::decode(json);

    ASSERT_TRUE(manifest);
    EXPECT_EQ(manifest.value().categories()[0].sfSymbol, std::nullopt);
    EXPECT_EQ(manifest.value().categories()[0].sfSymbolFallback, "circle");
}

TEST(Manifest, WithoutEmojiDecodesAndListsNone)
{
    const auto manifest =
        Manifest::decode(R"({"version": "1", "lastUpdated": "", "emojis": {}, "categories": [
        {"id": "a", "name": "A", "icon": "1f600", "emojis": ["1f600", "1f601"]}]})");

    ASSERT_TRUE(manifest);
    EXPECT_TRUE(manifest.value().allEmojis().empty());
    EXPECT_TRUE(manifest.value().emojis(manifest.value().categories()[0]).empty());
}

TEST(Manifest, IgnoresUnknownMembersEverywhere)
{
    std::string json =
        replaced(sampleManifestJson(), R"("version":)", R"("more": [{"a": null}], "version":)");
    json = replaced(json, R"("id": "smileys",)", R"("id": "smileys", "codepoint": 7,)");
    json = replaced(json, R"("char": "😀",)", R"("char": "😀", "unicode": {"deep": [1.5e3, true]},)");

    const auto manifest = Manifest::decode(json);

    ASSERT_TRUE(manifest) << manifest.error().description;
    EXPECT_EQ(manifest.value(), sampleManifest());
}

TEST(Manifest, FailsAsAWholeWithoutAnyRequiredKey)
{
    const std::string json = sampleManifestJson();

    EXPECT_EQ(failureOf(replaced(json, "\"version\"", "\"x\"")), "version: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"lastUpdated\"", "\"x\"")), "lastUpdated: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"categories\"", "\"x\"")), "categories: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"emojis\": {", "\"x\": {")), "emojis: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"id\": \"people\"", "\"x\": 0")), "categories[1].id: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"name\": \"People\"", "\"x\": 0")), "categories[1].name: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"icon\": \"1f44b\"", "\"x\": 0")), "categories[1].icon: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"emojis\": [\"1f44b\"", "\"x\": [\"1f44b\"")),
              "categories[1].emojis: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"char\": \"👋\"", "\"x\": 0")), "emojis.1f44b.char: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"name\": \"waving hand\"", "\"x\": 0")),
              "emojis.1f44b.name: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"keywords\": [\"hello\"]", "\"x\": 0")),
              "emojis.1f44b.keywords: missing");
    EXPECT_EQ(failureOf(replaced(json, "\"skinTones\": true", "\"x\": 0")),
              "emojis.1f44b.skinTones: missing");
}

TEST(Manifest, FailsAsAWholeOnAnyWrongType)
{
    const std::string json = sampleManifestJson();

    EXPECT_EQ(failureOf(replaced(json, R"("skinTones": true)", R"("skinTones": "true")")),
              "emojis.1f44b.skinTones: expected boolean, found string");
    EXPECT_EQ(failureOf(replaced(json, R"("version": "1.0.0")", R"("version": 1)")),
              "version: expected string, found number");
    EXPECT_EQ(failureOf(replaced(json, R"("lastUpdated": "2026-01-01T00:00:00Z")", R"("lastUpdated": null)")),
              "lastUpdated: expected string, found null");
    EXPECT_EQ(failureOf(replaced(json, R"("sfSymbol": "face.smiling")", R"("sfSymbol": [])")),
              "categories[0].sfSymbol: expected string, found array");
    EXPECT_EQ(failureOf(replaced(json, R"(["1f600", "1f601"])", R"(["1f600", {}])")),
              "categories[0].emojis[1]: expected string, found object");
    EXPECT_EQ(failureOf(replaced(json, R"(["hello"])", R"([null])")),
              "emojis.1f44b.keywords[0]: expected string, found null");
    EXPECT_EQ(failureOf(R"({"version": "", "lastUpdated": "", "categories": {}, "emojis": {}})"),
              "categories: expected array, found object");
    EXPECT_EQ(failureOf(R"({"version": "", "lastUpdated": "", "categories": [7], "emojis": {}})"),
              "categories[0]: expected object, found number");
    EXPECT_EQ(failureOf(R"({"version": "", "lastUpdated": "", "categories": [], "emojis": []})"),
              "emojis: expected object, found array");
    EXPECT_EQ(failureOf(R"({"version": "", "lastUpdated": "", "categories": [], "emojis": {"1f600": "😀"}})"),
              "emojis.1f600: expected object, found string");
}

TEST(Manifest, MatchesMemberNamesWithTheirCase)
{
    EXPECT_EQ(failureOf(replaced(sampleManifestJson(), "\"version\"", "\"Version\"")), "version: missing");
}

TEST(Manifest, ShortensLongNamesInDescriptions)
{
    const std::string name(1'000'000, 'f');

    const std::string description =
        failureOf(R"({"version": "", "lastUpdated": "", "categories": [], "emojis": {")" + name + "\": 1}}");

    EXPECT_LT(description.size(), 200U);
    EXPECT_NE(description.find("expected object, found number"), std::string::npos);
}

TEST(Manifest, KeepsDescriptionsOnOneLine)
{
    EXPECT_EQ(
        failureOf(
            R"({"version": "", "lastUpdated": "", "categories": [], "emojis": {"a\nb\u2028\u0001": 1}})"),
        R"(emojis.a\nb\u{2028}\u{1}: expected object, found number)");
}

TEST(Manifest, KeepsTheOrderOfACategoryAndDropsUnknownCodepoints)
{
    const Manifest manifest = sampleManifest();
    EmojiCategory category;
    category.emojis = {"1f600", "ffff0", "1f601"};

    EXPECT_EQ(codepoints(manifest.emojis(category)), (std::vector<std::string>{"1f600", "1f601"}));
}

TEST(Manifest, KeepsDuplicatesOfACategory)
{
    const Manifest manifest = sampleManifest();
    EmojiCategory category;
    category.emojis = {"1f601", "1f600", "1f601"};

    EXPECT_EQ(codepoints(manifest.emojis(category)), (std::vector<std::string>{"1f601", "1f600", "1f601"}));
}

TEST(Manifest, FindsAnEmojiByItsExactCodepointOnly)
{
    const Manifest manifest = sampleManifest();

    EXPECT_TRUE(manifest.emoji("2764-fe0f"));
    EXPECT_FALSE(manifest.emoji("2764-FE0F"));
    EXPECT_FALSE(manifest.emoji("2764"));
    EXPECT_FALSE(manifest.emoji(""));
}

TEST(Manifest, ListsEveryEmojiOnceInCatalogueOrderThenTheUnlistedByCodepoint)
{
    const auto manifest = Manifest::decode(R"({"version": "1", "lastUpdated": "", "categories": [
        {"id": "a", "name": "A", "icon": "", "emojis": ["1f602", "ffff0", "1f600"]},
        {"id": "b", "name": "B", "icon": "", "emojis": ["1f600", "1f601", "1f602"]}], "emojis": {
        "1f600": {"char": "", "name": "", "keywords": [], "category": "a", "skinTones": false},
        "1f601": {"char": "", "name": "", "keywords": [], "category": "b", "skinTones": false},
        "1f602": {"char": "", "name": "", "keywords": [], "category": "a", "skinTones": false},
        "1f604": {"char": "", "name": "", "keywords": [], "category": "nowhere", "skinTones": false},
        "1f603": {"char": "", "name": "", "keywords": [], "category": "a", "skinTones": false}}})");

    ASSERT_TRUE(manifest);
    EXPECT_EQ(codepoints(manifest.value().allEmojis()),
              (std::vector<std::string>{"1f602", "1f600", "1f601", "1f603", "1f604"}));
}

TEST(Manifest, KeepsInvalidCodepointStringsAsTheyAre)
{
    const auto manifest =
        Manifest::decode(R"({"version": "1", "lastUpdated": "", "categories": [], "emojis": {
        "../etc": {"char": "x", "name": "", "keywords": [], "category": "", "skinTones": true}}})");

    ASSERT_TRUE(manifest);
    EXPECT_EQ(codepoints(manifest.value().allEmojis()), std::vector<std::string>{"../etc"});
}

TEST(Manifest, ComesBackEqualFromItsOwnEncoding)
{
    const Manifest manifest = sampleManifest("quotes \\\" and \\u0001 and \\u0000");

    const auto decoded = Manifest::decode(manifest.encode());

    ASSERT_TRUE(decoded) << decoded.error().description;
    EXPECT_EQ(decoded.value(), manifest);
    EXPECT_EQ(decoded.value().encode(), manifest.encode());
}

TEST(Manifest, DiffersWhenAnyPartDiffers)
{
    const std::string json = sampleManifestJson();

    const auto otherKeyword = Manifest::decode(replaced(json, "\"hello\"", "\"hi\""));
    const auto otherOrder = Manifest::decode(replaced(json, "\"1f600\", \"1f601\"", "\"1f601\", \"1f600\""));

    EXPECT_NE(otherKeyword.value(), sampleManifest());
    EXPECT_NE(otherOrder.value(), sampleManifest());
    EXPECT_NE(sampleManifest("2"), sampleManifest("1"));
}

TEST(Manifest, IsWrittenOverSeveralLinesAndWithoutAbsentMembers)
{
    const std::string json = sampleManifest().encode();

    EXPECT_GT(std::count(json.begin(), json.end(), '\n'), 20);
    EXPECT_EQ(json.find("null"), std::string::npos);
    const auto occurrences = [&json](const std::string& text) {
        int count = 0;
        for (auto at = json.find(text); at != std::string::npos; at = json.find(text, at + 1)) {
            ++count;
        }
        return count;
    };
    EXPECT_EQ(occurrences("\"sfSymbol\""), 1);
    EXPECT_EQ(occurrences("\"sfSymbolFallback\""), 1);
    EXPECT_EQ(occurrences("\"ios\""), 1);
}

TEST(Manifest, BundledWithTheProgramDecodesAndComesBack)
{
    const std::string json = readFile(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json");

    const auto manifest = Manifest::decode(json);

    ASSERT_TRUE(manifest) << manifest.error().description;
    EXPECT_FALSE(manifest.value().allEmojis().empty());
    EXPECT_EQ(Manifest::decode(manifest.value().encode()).value(), manifest.value());
}

TEST(MalformedManifest, SaysWhereTheTextStopsBeingJson)
{
    EXPECT_EQ(failureOf(""), "The document is not valid JSON: unexpected end at line 1, column 1");
    EXPECT_EQ(failureOf("  "), "The document is not valid JSON: unexpected end at line 1, column 3");
    EXPECT_EQ(failureOf("{\n  \"version\": ?}"),
              "The document is not valid JSON: unexpected text at line 2, column 14");
    EXPECT_EQ(failureOf("<!DOCTYPE html><html></html>"),
              "The document is not valid JSON: unexpected text at line 1, column 1");
}

TEST(MalformedManifest, NeverQuotesTheDocument)
{
    const std::string description = failureOf("\"" + std::string(1'000'000, 'x'));

    EXPECT_LT(description.size(), 200U);
}

TEST(MalformedManifest, IsRefusedAtEveryTruncation)
{
    const std::string json = sampleManifestJson();

    for (std::size_t length = 0; length < json.size(); ++length) {
        ASSERT_FALSE(Manifest::decode(json.substr(0, length))) << length;
    }
}

TEST(MalformedManifest, IsRefusedWithAnythingBehindTheDocument)
{
    const std::string json = sampleManifestJson();

    EXPECT_FALSE(Manifest::decode(json + "x"));
    EXPECT_FALSE(Manifest::decode(json + json));
    EXPECT_FALSE(Manifest::decode(json + '\0'));
    EXPECT_FALSE(Manifest::decode(json + '\0' + "x"));
    EXPECT_TRUE(Manifest::decode(json + " \r\n\t"));
}

TEST(MalformedManifest, WithIllFormedUtf8IsRefused)
{
    EXPECT_FALSE(Manifest::decode(replaced(sampleManifestJson(), "waving", "wav\xffing")));
    EXPECT_FALSE(Manifest::decode(replaced(sampleManifestJson(), "waving", "\xed\xa0\x80")));
    EXPECT_FALSE(Manifest::decode(replaced(sampleManifestJson(), "waving", "\\ud800")));
    EXPECT_FALSE(Manifest::decode(std::string("\xff\xfe{\0}\0", 6)));
}

TEST(MalformedManifest, SurvivesEveryByteBeingChanged)
{
    const std::string json = sampleManifestJson();

    for (std::size_t index = 0; index < json.size(); ++index) {
        for (const char byte : {'\0', '"', '\\', '[', '}', '7', '\x80', '\xff'}) {
            std::string changed = json;
            changed[index] = byte;
            const auto manifest = Manifest::decode(changed);
            if (manifest) {
                ASSERT_TRUE(Manifest::decode(manifest.value().encode())) << index;
            } else {
                ASSERT_FALSE(manifest.error().description.empty()) << index;
            }
        }
    }
}

TEST(MalformedManifest, NestedAMillionDeepIsRefused)
{
    const std::string tooDeep = "The document is nested more than 64 levels deep";
    const std::string arrays(1'000'000, '[');
    std::string objects;
    for (int depth = 0; depth < 1'000'000; ++depth) {
        objects += "{\"a\":";
    }

    EXPECT_EQ(failureOf(arrays), tooDeep);
    EXPECT_EQ(failureOf(arrays + std::string(1'000'000, ']')), tooDeep);
    EXPECT_EQ(failureOf(objects), tooDeep);
    EXPECT_EQ(failureOf(replaced(sampleManifestJson(), "{", "{\"more\": " + arrays)), tooDeep);
}

TEST(MalformedManifest, WithMillionsOfValuesIsRefused)
{
    std::string values = "[0";
    for (int count = 0; count < 1'000'000; ++count) {
        values += ",0";
    }

    EXPECT_EQ(failureOf(values), "The document has more than 1000000 values");
    EXPECT_TRUE(Manifest::decode(
        replaced(sampleManifestJson(), "{", "{\"more\": \"" + std::string(2'000'000, ',') + "\", ")));
}

TEST(MalformedManifest, WithTextsThatNobodyCouldBeShownIsRefused)
{
    constexpr std::size_t longest = 1024;
    const auto withText = [](const std::string& what, std::size_t size) {
        return failureOf(
            replaced(sampleManifestJson(), '"' + what + '"', '"' + std::string(size, '1') + '"'));
    };

    EXPECT_EQ(withText("😁", longest + 1), "emojis.1f601.char: longer than 1024 bytes");
    EXPECT_EQ(withText("beaming face", longest + 1), "emojis.1f601.name: longer than 1024 bytes");
    EXPECT_EQ(withText("Smileys", longest + 1), "categories[0].name: longer than 1024 bytes");
    EXPECT_EQ(withText("1f44b", longest + 1), "categories[1].icon: longer than 1024 bytes");
    for (const std::string text : {"😁", "beaming face", "Smileys", "1f44b"}) {
        EXPECT_EQ(withText(text, longest), "decoded") << text;
    }
    EXPECT_EQ(withText("eye", 100'000), "decoded");
}

TEST(MalformedManifest, WithALongCodepointIsRefused)
{
    const auto withCodepoint = [](std::size_t size) {
        return failureOf(
            replaced(sampleManifestJson(), "\"1f601\": ", '"' + std::string(size, '1') + "\": "));
    };

    EXPECT_EQ(withCodepoint(1025), "emojis." + std::string(64, '1') + "...: longer than 1024 bytes");
    EXPECT_EQ(withCodepoint(1024), "decoded");
}

TEST(MalformedManifest, WithHundredsOfCategoriesIsRefused)
{
    const auto withCategories = [](int count) {
        std::string categories;
        for (int category = 0; category < count; ++category) {
            categories += R"({"id": "", "name": "", "icon": "", "emojis": []}, )";
        }
        return failureOf(
            replaced(sampleManifestJson(), "\"categories\": [", "\"categories\": [" + categories));
    };

    EXPECT_EQ(withCategories(254), "decoded");
    EXPECT_EQ(withCategories(255), "categories: more than 256 elements");
}

TEST(MalformedManifest, MayHoldBracketsInStringsAndSomeNesting)
{
    const std::string brackets = "\"\\\\\\\"" + std::string(1000, '[') + "\"";
    const std::string nested = std::string(60, '[') + std::string(60, ']');

    EXPECT_TRUE(Manifest::decode(replaced(sampleManifestJson(), "{", "{\"more\": " + brackets + ", ")));
    EXPECT_TRUE(Manifest::decode(replaced(sampleManifestJson(), "{", "{\"more\": " + nested + ", ")));
    EXPECT_TRUE(Manifest::decode(replaced(
        sampleManifestJson(), "{", "{\"more\": [" + std::string(1000, ' ') + "[],[],[],[],[],[],[],[]], ")));
}

TEST(MalformedManifest, WithANumberBeyondAllRangesIsRefused)
{
    EXPECT_EQ(failureOf(replaced(sampleManifestJson(), "{", "{\"more\": 1e999, ")),
              "The document is not valid JSON: a number is too large");
}

} // namespace
} // namespace glimmerwick
