#include "Models/Manifest.h"
#include "Models/UnicodeText.h"
#include "Search/EditDistance.h"
#include "Search/Trie.h"
#include "Unit/Search/RandomCatalogue.h"
#include "Unit/Search/ReferenceSearch.h"
#include "Unit/Search/SearchEquality.h"
#include "Unit/Search/SearchTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using testing::IsEmpty;
using testing::Key;
using testing::UnorderedElementsAre;

constexpr std::uint64_t seed = 20260101;
constexpr std::size_t queriesEach = 50;

/// What an environment variable says, or else the default. Nonsense fails the test that asks.
std::size_t countFrom(const char* variable, std::size_t default_)
{
    const char* text = std::getenv(variable);
    if (!text) {
        return default_;
    }
    std::size_t count = 0;
    const char* end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, count);
    EXPECT_TRUE(error == std::errc() && rest == end && count > 0) << variable << " is no count: " << text;
    return count;
}

std::vector<Emoji> bundledEmojis()
{
    std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json");
    std::stringstream json;
    json << file.rdbuf();
    const auto manifest = Manifest::decode(json.str());
    EXPECT_TRUE(manifest.isSuccess());
    return manifest.isSuccess() ? manifest.value().allEmojis() : std::vector<Emoji>();
}

void expectNoDifferences(const Comparison& comparison)
{
    for (const std::string& difference : comparison.differences) {
        ADD_FAILURE() << difference;
    }
}

// The tools of the other tests

TEST(SearchEqualityTests, SeesWhatIsMissingWhatIsRankedOtherwiseAndWhatStandsInAnotherOrder)
{
    const std::vector<Emoji> emojis{searchable("1", "cat"), searchable("2", "cat face"),
                                    searchable("3", "cat box")};

    EXPECT_EQ(ComparedSearch(emojis).found("cat"), ComparedSearch(emojis).expected("cat"));

    for (const auto& others : std::vector<std::vector<Emoji>>{
             {emojis[0], emojis[1]},
             {searchable("1", "ox", {"cat"}), emojis[1], emojis[2]},
             {emojis[0], searchable("2", "cat den"), searchable("3", "cat face")}}) {
        const ComparedSearch search(emojis, others);
        EXPECT_NE(search.found("cat"), search.expected("cat"));
    }
}

TEST(SearchEqualityTests, LiteralsGiveTheTextBack)
{
    using namespace std::string_literals;

    EXPECT_EQ(literal("a \"b\" \\"), "\"a \\\"b\\\" \\\\\"s");
    EXPECT_EQ(literal("\0001\xff\n"s), "\"\\0001\\377\\012\"s");
}

TEST(RandomCatalogueTests, EqualSeedsMakeEqualTexts)
{
    RandomCatalogue first(seed);
    RandomCatalogue second(seed);
    RandomCatalogue other(seed + 1);
    std::vector<std::string> words[3];
    for (int number = 0; number < 100; ++number) {
        words[0].push_back(first.word());
        words[1].push_back(second.word());
        words[2].push_back(other.word());
    }

    EXPECT_EQ(words[0], words[1]);
    EXPECT_NE(words[0], words[2]);
}

// Searching

TEST(SearchPropertyTests, RandomCataloguesAreSearchedByTheRules)
{
    const std::size_t queries = countFrom("GLIMMERWICK_RANDOM_QUERIES", 5000);

    const Comparison comparison = compareOnRandomCatalogues(queries, queriesEach, seed);

    expectNoDifferences(comparison);
    EXPECT_EQ(comparison.compared, queries);
}

TEST(SearchPropertyTests, TheBundledCatalogueIsSearchedByTheRules)
{
    const std::vector<Emoji> emojis = bundledEmojis();
    ASSERT_GT(emojis.size(), 1000u);
    const std::size_t queries = countFrom("GLIMMERWICK_BUNDLED_QUERIES", 50);

    const Comparison comparison = compareOn(emojis, queries, seed);

    expectNoDifferences(comparison);
    EXPECT_EQ(comparison.compared, queries);
}

TEST(SearchPropertyTests, RandomQueriesReachEveryKindOfMatch)
{
    const Comparison comparison = compareOnRandomCatalogues(2000, queriesEach, seed);

    EXPECT_THAT(comparison.kinds,
                UnorderedElementsAre(Key("exactName"), Key("exactKeyword"), Key("prefixName"),
                                     Key("prefixKeyword"), Key("fuzzyName(1)"), Key("fuzzyName(2)"),
                                     Key("fuzzyKeyword(1)"), Key("fuzzyKeyword(2)")));
    EXPECT_GT(comparison.fullResults, 20u);
    EXPECT_GT(comparison.withoutResults, 20u);
}

TEST(SearchPropertyTests, EveryEmojiIsClassifiedByTheRules)
{
    for (std::uint64_t each = seed; each < seed + 20; ++each) {
        RandomCatalogue random(each);
        const std::vector<Emoji> emojis = random.emojis(40);
        const ComparedSearch search(emojis);
        for (int number = 0; number < 20; ++number) {
            const std::string query = unicode::lowercased(random.query(emojis));
            const auto characters = reference::charactersOf(query);
            for (std::size_t emoji = 0; emoji < emojis.size(); ++emoji) {
                EXPECT_EQ(description(search.index().classifyMatch(query, search.emoji(emoji))),
                          search.reference().classify(characters, emoji).description())
                    << "seed " << each << ", query " << literal(query) << ", emoji " << emoji;
            }
        }
    }
}

TEST(SearchPropertyTests, TheFuzzyStageGoesByTheRulesAtEveryThreshold)
{
    for (std::uint64_t each = seed; each < seed + 20; ++each) {
        RandomCatalogue random(each);
        const std::vector<Emoji> emojis = random.emojis(40);
        const ComparedSearch search(emojis);
        for (int number = 0; number < 40; ++number) {
            const std::string query = unicode::lowercased(random.query(emojis));
            const int threshold = number % 4;
            std::vector<std::string> found;
            for (const auto& match : search.index().performFuzzySearchWithScores(query, threshold)) {
                found.push_back(match.emoji->codepoint + " " + description(match.matchType));
            }
            std::vector<std::string> expected;
            for (const auto& match :
                 search.reference().fuzzyMatches(reference::charactersOf(query), threshold)) {
                expected.push_back(emojis[match.emoji].codepoint + " " + match.matchClass.description());
            }
            EXPECT_EQ(found, expected) << "seed " << each << ", query " << literal(query);
        }
    }
}

// The parts

TEST(TriePropertyTests, FindsWhatLookingAtEveryWordFinds)
{
    std::size_t foundInAll = 0;
    for (std::uint64_t each = seed; each < seed + 200; ++each) {
        RandomCatalogue random(each);
        Trie trie;
        std::vector<Emoji> emojis;
        std::vector<std::string> words{"a"};
        std::vector<reference::IndexedWord> inserted;
        for (std::size_t number = random.below(60); number > 0; --number) {
            const std::size_t emoji = random.below(20);
            const std::string known = words[random.below(words.size())];
            words.push_back(random.below(2) == 0 ? random.word() : random.inOtherForm(known + random.word()));
            trie.insert(words.back(), searchable("e" + std::to_string(emoji), "any"));
            if (auto characters = reference::lowercaseCharactersOf(words.back()); !characters.empty()) {
                inserted.push_back({std::move(characters), emoji});
            }
        }
        for (int number = 0; number < 40; ++number) {
            const std::string prefix = random.query({searchable("1", words[random.below(words.size())])});

            const std::vector<std::string> found = codepoints(trie.search(prefix));

            std::vector<std::string> expected;
            for (const std::size_t emoji :
                 reference::emojisWithPrefix(inserted, reference::lowercaseCharactersOf(prefix))) {
                expected.push_back("e" + std::to_string(emoji));
            }
            EXPECT_EQ(found, expected) << "seed " << each << ", prefix " << literal(prefix);
            foundInAll += found.size();
        }
    }
    EXPECT_GT(foundInAll, 5000u);
}

TEST(EditDistancePropertyTests, IsWhatTheWholeTableSays)
{
    RandomCatalogue random(seed);
    std::size_t beyondJustTooFar = 0;
    for (int number = 0; number < 20000; ++number) {
        std::string left = random.word();
        if (number % 10 == 0) {
            left += random.word() + random.word() + random.word() + random.word();
        }
        const std::string right =
            random.below(4) == 0 ? random.word() : random.withTypos(left, random.below(7));
        for (int threshold = 0; threshold <= 3; ++threshold) {
            const int distance = levenshteinDistance(left, right, threshold);

            EXPECT_EQ(distance,
                      reference::editDistance(reference::charactersOf(left), reference::charactersOf(right),
                                              threshold))
                << literal(left) << ", " << literal(right) << ", threshold " << threshold;
            beyondJustTooFar += distance > threshold + 1 ? 1 : 0;
        }
    }
    EXPECT_GT(beyondJustTooFar, 100u);
}

TEST(EditDistancePropertyTests, OfEveryPairOfShortTextsIsWhatTheWholeTableSays)
{
    std::vector<std::string> texts{""};
    for (std::size_t begin = 0; texts.back().size() < 7;) {
        const std::size_t end = texts.size();
        for (; begin < end; ++begin) {
            texts.push_back(texts[begin] + "a");
            texts.push_back(texts[begin] + "b");
        }
    }
    for (const std::string& left : texts) {
        for (const std::string& right : texts) {
            for (int threshold = 0; threshold <= 3; ++threshold) {
                ASSERT_EQ(levenshteinDistance(left, right, threshold),
                          reference::editDistance(reference::charactersOf(left),
                                                  reference::charactersOf(right), threshold))
                    << left << ", " << right << ", threshold " << threshold;
            }
        }
    }
}

TEST(MatchTypePropertyTests, OrderIsThatOfThePriorities)
{
    using Kind = reference::MatchClass::Kind;
    std::vector<reference::MatchClass> classes{
        {Kind::exactName}, {Kind::exactKeyword}, {Kind::prefixName}, {Kind::prefixKeyword}};
    for (int distance = 0; distance <= 3; ++distance) {
        classes.push_back({Kind::fuzzyName, distance});
        classes.push_back({Kind::fuzzyKeyword, distance});
    }
    const auto typeOf = [](const reference::MatchClass& each) {
        return MatchType{static_cast<MatchType::Kind>(each.kind), each.distance};
    };

    for (const auto& left : classes) {
        ASSERT_EQ(description(typeOf(left)), left.description());
        EXPECT_EQ(typeOf(left).priority(), left.priority());
        for (const auto& right : classes) {
            SCOPED_TRACE(left.description() + " and " + right.description());
            EXPECT_EQ(typeOf(left) < typeOf(right), left.priority() < right.priority());
            EXPECT_EQ(typeOf(left) > typeOf(right), left.priority() > right.priority());
            EXPECT_EQ(typeOf(left) <= typeOf(right), left.priority() <= right.priority());
            EXPECT_EQ(typeOf(left) >= typeOf(right), left.priority() >= right.priority());
            EXPECT_EQ(typeOf(left) == typeOf(right), left.description() == right.description());
        }
    }
}

} // namespace
} // namespace glimmerwick
