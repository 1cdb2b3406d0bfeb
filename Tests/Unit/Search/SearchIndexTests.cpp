#include "Search/SearchIndex.h"

#include "Unit/Search/SearchTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <limits>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

void PrintTo(const MatchType& type, std::ostream* stream)
{
    *stream << "kind " << static_cast<int>(type.kind) << " distance " << type.distance;
}

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

constexpr MatchType exactName{MatchType::Kind::exactName};
constexpr MatchType exactKeyword{MatchType::Kind::exactKeyword};
constexpr MatchType prefixName{MatchType::Kind::prefixName};
constexpr MatchType prefixKeyword{MatchType::Kind::prefixKeyword};
constexpr MatchType fuzzyName(int distance)
{
    return {MatchType::Kind::fuzzyName, distance};
}
constexpr MatchType fuzzyKeyword(int distance)
{
    return {MatchType::Kind::fuzzyKeyword, distance};
}

using Matches = std::vector<std::pair<std::string, MatchType>>;

class Catalogue {
public:
    explicit Catalogue(std::vector<Emoji> emojis)
        : m_emojis(std::make_shared<const std::vector<Emoji>>(std::move(emojis))), m_index(m_emojis)
    {
    }

    const SearchIndex& index() const { return m_index; }

    Matches search(const std::string& query) const { return named(m_index.search(query)); }
    Matches rankedFuzzySearch(const std::string& query) const
    {
        return named(SearchIndex::bestOf(m_index.performFuzzySearchWithScores(query, 2)));
    }
    Matches fuzzySearch(const std::string& query, int threshold) const
    {
        return named(m_index.performFuzzySearchWithScores(query, threshold));
    }
    MatchType classify(const std::string& query) const
    {
        return m_index.classifyMatch(query, m_emojis->front());
    }

private:
    static Matches named(const std::vector<SearchIndex::ScoredEmoji>& scored)
    {
        Matches matches;
        for (const auto& [emoji, matchType] : scored) {
            matches.emplace_back(emoji->codepoint, matchType);
        }
        return matches;
    }

    std::shared_ptr<const std::vector<Emoji>> m_emojis;
    SearchIndex m_index;
};

/// As many emoji as asked for, all named alike but for a number at the end.
std::vector<Emoji> numbered(int count, const std::string& name)
{
    std::vector<Emoji> emojis;
    for (int number = 0; number < count; ++number) {
        emojis.push_back(searchable("n" + std::to_string(number), name + std::to_string(number)));
    }
    return emojis;
}

// Ranking values

TEST(MatchTypeTests, PrioritiesRankExactThenPrefixThenFuzzyByDistance)
{
    EXPECT_EQ(exactName.priority(), 0);
    EXPECT_EQ(exactKeyword.priority(), 1);
    EXPECT_EQ(prefixName.priority(), 2);
    EXPECT_EQ(prefixKeyword.priority(), 3);
    EXPECT_EQ(fuzzyName(0).priority(), 4);
    EXPECT_EQ(fuzzyName(2).priority(), 6);
    EXPECT_EQ(fuzzyKeyword(0).priority(), 5);
    EXPECT_EQ(fuzzyKeyword(3).priority(), 8);
}

TEST(MatchTypeTests, OrderIsByPriorityAndEqualityByCaseAndDistance)
{
    EXPECT_LT(exactName, exactKeyword);
    EXPECT_GT(fuzzyKeyword(0), fuzzyName(0));
    EXPECT_FALSE(fuzzyName(1) < fuzzyKeyword(0));
    EXPECT_FALSE(fuzzyName(1) > fuzzyKeyword(0));
    EXPECT_LE(fuzzyName(2), fuzzyKeyword(1));
    EXPECT_GE(fuzzyName(2), fuzzyKeyword(1));
    EXPECT_NE(fuzzyName(1), fuzzyKeyword(0));
    EXPECT_NE(fuzzyName(1), fuzzyName(2));
    EXPECT_EQ(fuzzyName(1), fuzzyName(1));
}

TEST(MatchTypeDeathTests, AnOverflowingDistanceStopsTheProgram)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(static_cast<void>(fuzzyName(std::numeric_limits<int>::max()).priority()),
                 "integer overflow");
}

// Classification

TEST(ClassifyMatchTests, TheNameDecidesBeforeTheKeywords)
{
    const Catalogue catalogue({searchable("1", "Smile", {"smile", "smi"})});

    EXPECT_EQ(catalogue.classify("smile"), exactName);
    EXPECT_EQ(catalogue.classify("smi"), prefixName);
}

TEST(ClassifyMatchTests, AnEarlierPrefixKeywordWinsOverALaterExactOne)
{
    const Catalogue prefixFirst({searchable("1", "face", {"Happily", "HAPPY", "happy"})});
    const Catalogue exactFirst({searchable("1", "face", {"sad", "happy", "happy face"})});

    EXPECT_EQ(prefixFirst.classify("happ"), prefixKeyword);
    EXPECT_EQ(prefixFirst.classify("happy"), exactKeyword);
    EXPECT_EQ(exactFirst.classify("happy"), exactKeyword);

    const Catalogue longerFirst({searchable("1", "face", {"happy face", "happy"})});
    EXPECT_EQ(longerFirst.classify("happy"), prefixKeyword);
}

TEST(ClassifyMatchTests, WithoutAPrefixTheNamesDistanceDecides)
{
    const Catalogue catalogue({searchable("1", "smile", {"smilf"})});

    EXPECT_EQ(catalogue.classify("smilr"), fuzzyName(1));
    EXPECT_EQ(catalogue.classify("smixx"), fuzzyName(2));
}

TEST(ClassifyMatchTests, ThenTheFirstKeywordNearEnoughNotTheNearest)
{
    const Catalogue catalogue({searchable("1", "face", {"unrelated", "hobby", "happy"})});

    EXPECT_EQ(catalogue.classify("hoppy"), fuzzyKeyword(2));
}

TEST(ClassifyMatchTests, WhatMatchesInNoWayRanksLast)
{
    const Catalogue catalogue({searchable("1", "face", {"happy"})});
    const Catalogue withoutKeywords({searchable("1", "face")});

    EXPECT_EQ(catalogue.classify("umbrella"), fuzzyKeyword(3));
    EXPECT_EQ(withoutKeywords.classify("umbrella"), fuzzyKeyword(3));
}

TEST(ClassifyMatchTests, ComparesUserPerceivedCharacters)
{
    const Catalogue catalogue({searchable("1", "e\u0301clair")});

    EXPECT_EQ(catalogue.classify("\u00e9clair"), exactName);
    EXPECT_EQ(catalogue.classify("\u00e9"), prefixName);
    EXPECT_EQ(catalogue.classify("eclair"), fuzzyName(1));
}

// The fuzzy stage alone

TEST(FuzzySearchTests, AnEmptyCatalogueHasNoMatches)
{
    const Catalogue catalogue({});

    EXPECT_THAT(catalogue.fuzzySearch("smile", 2), IsEmpty());
    EXPECT_THAT(catalogue.search("smile"), IsEmpty());
}

TEST(FuzzySearchTests, TheNameWinsOverCloserKeywords)
{
    const Catalogue catalogue({searchable("1", "smilxx", {"smile"})});

    EXPECT_THAT(catalogue.fuzzySearch("smile", 2), ElementsAre(Pair("1", fuzzyName(2))));
}

TEST(FuzzySearchTests, OfTheKeywordsTheNearestCounts)
{
    const Catalogue catalogue({searchable("1", "unrelated", {"hobby", "happy", "hobby"})});

    EXPECT_THAT(catalogue.fuzzySearch("hoppy", 2), ElementsAre(Pair("1", fuzzyKeyword(1))));
}

TEST(FuzzySearchTests, MatchesStandInCatalogueOrder)
{
    const Catalogue catalogue({searchable("far", "smixx"), searchable("none", "umbrella"),
                               searchable("keyword", "zzzzzzzzz", {"smile"}), searchable("near", "smile")});

    EXPECT_THAT(
        catalogue.fuzzySearch("smile", 2),
        ElementsAre(Pair("far", fuzzyName(2)), Pair("keyword", fuzzyKeyword(0)), Pair("near", fuzzyName(0))));
}

TEST(FuzzySearchTests, TheThresholdBoundsTheDistance)
{
    const Catalogue catalogue({searchable("0", "smile"), searchable("1", "smilx"), searchable("2", "smixx")});

    EXPECT_THAT(catalogue.fuzzySearch("smile", 0), SizeIs(1));
    EXPECT_THAT(catalogue.fuzzySearch("smile", 1), SizeIs(2));
    EXPECT_THAT(catalogue.fuzzySearch("smile", 2), SizeIs(3));
}

TEST(FuzzySearchTests, WordsAreLowerCased)
{
    const Catalogue catalogue({searchable("1", "SMILE"), searchable("2", "unrelated", {"SMILÉ"})});

    EXPECT_THAT(catalogue.fuzzySearch("smilé", 2),
                ElementsAre(Pair("1", fuzzyName(1)), Pair("2", fuzzyKeyword(0))));
}

TEST(FuzzySearchTests, AnEmptyNameIsAsFarAsTheQueryIsLong)
{
    const Catalogue catalogue({searchable("1", "")});

    EXPECT_THAT(catalogue.search("ab"), ElementsAre(Pair("1", fuzzyName(2))));
    EXPECT_THAT(catalogue.search("abc"), IsEmpty());
}

// Searching

TEST(SearchIndexTests, RanksByKindOfMatch)
{
    const Catalogue catalogue(
        {searchable("fuzzyKeyword", "zzzzzzzzz", {"cot"}), searchable("fuzzyName", "bat"),
         searchable("prefixKeyword", "lion", {"catlike"}), searchable("prefixName", "cat face"),
         searchable("exactKeyword", "kitten", {"cat"}), searchable("exactName", "cat")});

    EXPECT_THAT(catalogue.search("cat"),
                ElementsAre(Pair("exactName", exactName), Pair("exactKeyword", exactKeyword),
                            Pair("prefixName", prefixName), Pair("prefixKeyword", prefixKeyword),
                            Pair("fuzzyName", fuzzyName(1)), Pair("fuzzyKeyword", fuzzyKeyword(1))));
}

TEST(SearchIndexTests, TrimsAndLowerCasesTheQuery)
{
    const Catalogue catalogue({searchable("1", "grin")});

    EXPECT_THAT(catalogue.search("  GRIN\n"), ElementsAre(Pair("1", exactName)));
    EXPECT_THAT(catalogue.search("\t gr \r\n"), ElementsAre(Pair("1", prefixName)));
}

TEST(SearchIndexTests, ABlankQueryFindsNothing)
{
    const Catalogue catalogue({searchable("1", "")});

    EXPECT_THAT(catalogue.search(""), IsEmpty());
    EXPECT_THAT(catalogue.search(" \n\t"), IsEmpty());
}

TEST(SearchIndexTests, OneCharacterRunsBothStages)
{
    const Catalogue catalogue({searchable("prefix", "cat"), searchable("fuzzy", "ox")});

    EXPECT_THAT(catalogue.search("c"), ElementsAre(Pair("prefix", prefixName), Pair("fuzzy", fuzzyName(2))));
}

TEST(SearchIndexTests, ATypoFindsTheWord)
{
    const Catalogue catalogue({searchable("1", "smile")});

    EXPECT_THAT(catalogue.search("smilr"), ElementsAre(Pair("1", fuzzyName(1))));
}

TEST(SearchIndexTests, AWordThreeCharactersLongerOrShorterIsNoTypo)
{
    const Catalogue catalogue({searchable("1", "smile")});

    EXPECT_THAT(catalogue.search("sm"), SizeIs(1)) << "as a prefix";
    EXPECT_THAT(catalogue.search("le"), IsEmpty());
    EXPECT_THAT(catalogue.search("smilesss"), IsEmpty());
    EXPECT_THAT(catalogue.search("smiless"), SizeIs(1));
}

TEST(SearchIndexTests, TenPrefixMatchesNeedNoFuzzyOnes)
{
    auto emojis = numbered(10, "smile");
    emojis.push_back(searchable("typo", "smilf"));

    EXPECT_THAT(Catalogue(emojis).search("smile"), SizeIs(10));
}

TEST(SearchIndexTests, NinePrefixMatchesAreFollowedByFuzzyOnes)
{
    auto emojis = numbered(9, "smile");
    emojis.push_back(searchable("typo", "smilf"));

    const auto matches = Catalogue(emojis).search("smile");

    ASSERT_THAT(matches, SizeIs(10));
    EXPECT_THAT(matches.back(), Pair("typo", fuzzyName(1)));
}

TEST(SearchIndexTests, EqualRanksKeepCatalogueOrder)
{
    const Catalogue catalogue({searchable("z", "zebra", {"animal"}), searchable("a", "ant", {"animal"}),
                               searchable("m", "mouse", {"animal"})});

    EXPECT_THAT(catalogue.search("anim"),
                ElementsAre(Pair("z", prefixKeyword), Pair("a", prefixKeyword), Pair("m", prefixKeyword)));
}

TEST(SearchIndexTests, PrefixMatchesOfOneKindKeepTheOrderOfTheTrie)
{
    const Catalogue catalogue({searchable("part", "hotel"), searchable("whole", "hot springs"),
                               searchable("late", "sun", {"day", "hot"}),
                               searchable("early", "fire", {"hot"})});

    EXPECT_THAT(catalogue.search("hot"),
                ElementsAre(Pair("early", exactKeyword), Pair("late", exactKeyword),
                            Pair("whole", prefixName), Pair("part", prefixName)));
}

TEST(SearchIndexTests, EqualRanksOfDifferentKindsKeepTheOrderInWhichTheyWereFound)
{
    const Catalogue nameFirst({searchable("1", "hoppx"), searchable("2", "unrelated", {"hoppy"})});
    const Catalogue keywordFirst({searchable("2", "unrelated", {"hoppy"}), searchable("1", "hoppx")});

    EXPECT_THAT(nameFirst.fuzzySearch("hoppy", 2),
                ElementsAre(Pair("1", fuzzyName(1)), Pair("2", fuzzyKeyword(0))));
    EXPECT_THAT(keywordFirst.fuzzySearch("hoppy", 2),
                ElementsAre(Pair("2", fuzzyKeyword(0)), Pair("1", fuzzyName(1))));

    const Catalogue crossed({searchable("keyword1", "unrelated", {"hoppx"}), searchable("name2", "hopxx"),
                             searchable("name1", "hoppz"), searchable("other", "unrelated", {"hobpy"})});
    EXPECT_THAT(crossed.search("hoppy"),
                ElementsAre(Pair("name1", fuzzyName(1)), Pair("keyword1", fuzzyKeyword(1)),
                            Pair("name2", fuzzyName(2)), Pair("other", fuzzyKeyword(1))));
}

TEST(SearchIndexTests, TiesAcrossNameAndKeywordAreNotReordered)
{
    // A keyword at no distance ranks with a name one away, whichever was found first.
    const Emoji keyword = searchable("keyword", "unrelated", {"hoppy"});
    const Emoji name = searchable("name", "hoppx");

    EXPECT_THAT(Catalogue({keyword, name}).rankedFuzzySearch("hoppy"),
                ElementsAre(Pair("keyword", fuzzyKeyword(0)), Pair("name", fuzzyName(1))));
    EXPECT_THAT(Catalogue({name, keyword}).rankedFuzzySearch("hoppy"),
                ElementsAre(Pair("name", fuzzyName(1)), Pair("keyword", fuzzyKeyword(0))));
}

TEST(SearchIndexTests, OnlyTheFiftyBestAreReturned)
{
    auto emojis = numbered(60, "cat");
    emojis.push_back(searchable("best", "cat"));

    const auto matches = Catalogue(emojis).search("cat");

    ASSERT_THAT(matches, SizeIs(50));
    EXPECT_THAT(matches.front(), Pair("best", exactName));
    EXPECT_THAT(matches[1], Pair("n0", prefixName));
    EXPECT_THAT(matches.back(), Pair("n48", prefixName));
}

TEST(SearchIndexTests, AnEmojiThatMatchesInSeveralWaysIsFoundOnce)
{
    const Catalogue catalogue({searchable("1", "cat", {"cat", "catty", "bat"})});

    EXPECT_THAT(catalogue.search("cat"), ElementsAre(Pair("1", exactName)));
}

TEST(SearchIndexTests, CountsEveryWordRepeatedAndEmptyOnesToo)
{
    const Catalogue catalogue({searchable("1", "cat", {"cat", "", "pet"}), searchable("2", "", {"pet"})});

    EXPECT_EQ(catalogue.index().wordCount(), 6u);
}

TEST(SearchIndexTests, AQueryOfAMegabyteIsAnswered)
{
    const Catalogue catalogue({searchable("1", "cat")});

    EXPECT_THAT(catalogue.search(std::string(1024 * 1024, 'c')), IsEmpty());
}

} // namespace
} // namespace glimmerwick
