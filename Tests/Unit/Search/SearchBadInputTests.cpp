#include "Search/EditDistance.h"
#include "Search/SearchIndex.h"
#include "Search/Trie.h"
#include "Unit/Search/SearchTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Nothing here measures time. What would take time or memory in the square of its length does not end within
// the patience of whoever runs the tests.

namespace glimmerwick {
namespace {

using namespace std::string_literals;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t megabyte = 1024 * 1024;

/// The text over and over, at least so many bytes.
std::string repeated(const std::string& text, std::size_t bytes)
{
    std::string whole;
    while (whole.size() < bytes) {
        whole += text;
    }
    return whole;
}

class Searched {
public:
    explicit Searched(std::vector<Emoji> emojis)
        : m_emojis(std::make_shared<const SearchIndex::Emojis>(std::move(emojis))), m_index(m_emojis)
    {
    }

    const SearchIndex& index() const { return m_index; }

    std::vector<std::string> found(const std::string& query) const
    {
        std::vector<std::string> codepoints;
        for (const auto& match : m_index.search(query)) {
            codepoints.push_back(match.emoji->codepoint);
        }
        return codepoints;
    }

    std::vector<MatchType> types(const std::string& query) const
    {
        std::vector<MatchType> types;
        for (const auto& match : m_index.search(query)) {
            types.push_back(match.matchType);
        }
        return types;
    }

private:
    std::shared_ptr<const SearchIndex::Emojis> m_emojis;
    SearchIndex m_index;
};

// Queries

class BadQueryTests : public testing::Test {
protected:
    const Searched catalogue{{searchable("cat", "cat", {"chat", "קפה", "\u0301x"}),
                              searchable("zwj", "joiner", {"\u200d", "👩‍💻"}),
                              searchable("nul", "nul\0 inside"s), searchable("bad", "bad \xff byte")}};
};

TEST_F(BadQueryTests, BlankOnesOfEveryKindAndLengthFindNothing)
{
    for (const std::string blank : {"", " ", "\n", "\r\n", "\t", "\u00a0", "\u2003", "\u3000", "\u2028"}) {
        EXPECT_THAT(catalogue.found(blank), IsEmpty());
        EXPECT_THAT(catalogue.found(blank.empty() ? "" : repeated(blank, megabyte)), IsEmpty());
    }
}

TEST_F(BadQueryTests, BlanksAroundAWordMayBeMany)
{
    const std::string blanks = repeated(" \u3000\n", megabyte);

    EXPECT_THAT(catalogue.found(blanks + "cat" + blanks), ElementsAre("cat"));
}

TEST_F(BadQueryTests, MegabytesOfManyCharactersFindNothing)
{
    for (const std::string character : {"C", "e\u0301", "\u05e7", "Σ", "c\r\n"}) {
        EXPECT_THAT(catalogue.found(repeated(character, megabyte)), IsEmpty()) << character;
    }
}

TEST_F(BadQueryTests, MegabytesThatAreOneCharacterAreTyposOfWordsOfOneOrTwo)
{
    for (const std::string joined :
         {"\u0301", "\u0301\u0323", "\u0345\u0301", "\u200d", "\u0f73", "\u1100"}) {
        EXPECT_THAT(catalogue.found(repeated(joined, megabyte)), ElementsAre("zwj", "cat"));
        EXPECT_THAT(catalogue.types(repeated(joined, megabyte)),
                    ElementsAre(MatchType{MatchType::Kind::fuzzyKeyword, 1},
                                MatchType{MatchType::Kind::fuzzyKeyword, 2}));
    }
}

TEST_F(BadQueryTests, MegabytesOfIllFormedBytesFindNothing)
{
    for (const std::string bytes : {"\xff", "\xe2\x82", "\xed\xa0\x80"}) {
        EXPECT_THAT(catalogue.found(repeated(bytes, megabyte)), IsEmpty());
    }
}

TEST_F(BadQueryTests, IllFormedBytesAreReplacementCharacters)
{
    EXPECT_THAT(catalogue.found("bad \xff"), ElementsAre("bad"));
    EXPECT_THAT(catalogue.found("bad \xc3 byte"), ElementsAre("bad"));
    EXPECT_THAT(catalogue.found("bad \ufffd byte"), ElementsAre("bad"));
    EXPECT_THAT(catalogue.found("ca\xfft"), ElementsAre("cat")) << "one character too many";
    EXPECT_THAT(catalogue.found("\xff\xff\xff\xff\xff\xff"), IsEmpty());
}

TEST_F(BadQueryTests, MarksAloneAreOneCharacter)
{
    EXPECT_THAT(catalogue.found("\u0301"), ElementsAre("cat", "zwj"));
    EXPECT_THAT(
        catalogue.types("\u0301"),
        ElementsAre(MatchType{MatchType::Kind::prefixKeyword}, MatchType{MatchType::Kind::fuzzyKeyword, 1}));
    EXPECT_THAT(catalogue.found(" \u0301 "), ElementsAre("cat", "zwj")) << "blanks before it are trimmed";
    EXPECT_THAT(catalogue.found("\u0301\u0323\u0345"), ElementsAre("zwj", "cat"))
        << "another character, one edit from one and two from two";
}

TEST_F(BadQueryTests, AJoinerAloneIsACharacter)
{
    EXPECT_THAT(catalogue.types("\u200d").front(), (MatchType{MatchType::Kind::exactKeyword}));
    EXPECT_THAT(catalogue.found("\u200d").front(), "zwj");
    EXPECT_THAT(catalogue.found("joi\u200d"), IsEmpty()) << "part of the character before it";
}

TEST_F(BadQueryTests, RightToLeftWordsBeginWithTheirFirstCharacter)
{
    EXPECT_THAT(catalogue.types("קפ").front(), (MatchType{MatchType::Kind::prefixKeyword}));
    EXPECT_THAT(catalogue.types("קפה").front(), (MatchType{MatchType::Kind::exactKeyword}));
    EXPECT_THAT(catalogue.types("פה").front(), (MatchType{MatchType::Kind::fuzzyKeyword, 1}));
    EXPECT_THAT(catalogue.found("\u202eקפה"), ElementsAre("cat"));
    EXPECT_THAT(catalogue.types("\u202eקפה"), ElementsAre(MatchType{MatchType::Kind::fuzzyKeyword, 1}))
        << "controls of direction are characters";
}

TEST_F(BadQueryTests, ANulIsACharacterLikeAnyOther)
{
    EXPECT_THAT(catalogue.found("nul\0"s), ElementsAre("nul"));
    EXPECT_THAT(catalogue.found("nul inside"), ElementsAre("nul"));
    EXPECT_THAT(catalogue.types("nul inside"), ElementsAre(MatchType{MatchType::Kind::fuzzyName, 1}));
    EXPECT_THAT(catalogue.found("chat\0chat"s), IsEmpty()) << "nothing ends at a NUL";
    EXPECT_THAT(catalogue.found("\0"s + repeated("\0"s, megabyte)), IsEmpty());
}

TEST_F(BadQueryTests, AnEmojiIsACharacter)
{
    EXPECT_THAT(catalogue.types("👩‍💻").front(), (MatchType{MatchType::Kind::exactKeyword}));
    EXPECT_THAT(catalogue.types("👩").front(), (MatchType{MatchType::Kind::fuzzyKeyword, 1}));
}

// Long texts

TEST(LongTextTests, EquivalentTextsAreTheSameHoweverManyMarks)
{
    const std::string some = repeated("a", 4000);
    const std::pair<std::string, std::string> equivalents[] = {
        {"e\u0301", "\u00e9"},
        {"a\u0323\u0308", "a\u0308\u0323"},
        {"\u1100\u1161\u11a8", "\uac01"},
        {"\u0344", "\u0308\u0301"},
        {"\u0f73", "\u0f71\u0f72"},
        {"e" + repeated("\u0301\u0323", 4000), "e" + repeated("\u0323", 2000) + repeated("\u0301", 2000)},
        {repeated("\u0f73", 3000), repeated("\u0f71", 3000) + repeated("\u0f72", 3000)},
        {"\xff", "\ufffd"},
    };
    for (const auto& [one, other] : equivalents) {
        for (const std::string& begin : {""s, some}) {
            for (const std::string& end : {""s, some}) {
                EXPECT_EQ(levenshteinDistance(begin + one + end, begin + other + end, 2), 0) << one;
            }
        }
    }
}

TEST(LongTextTests, TheOrderOfMarksOfOneKindMattersHoweverMany)
{
    const std::string marks = repeated("\u0323\u0301", 4000);

    EXPECT_EQ(levenshteinDistance("e" + marks + "\u0301\u0308", "e" + marks + "\u0308\u0301", 2), 1);
    EXPECT_EQ(levenshteinDistance("e" + marks, "e" + marks + "\u0301", 2), 1);
}

TEST(LongTextTests, CharactersStayWhereTheyAre)
{
    const std::string some = repeated("ab\u0301c", 4000);

    EXPECT_EQ(levenshteinDistance(some + "xyz", some + "xz", 2), 1);
    EXPECT_EQ(levenshteinDistance(some + "👩‍💻🇩🇪", some + "🇩🇪👩‍💻", 2), 2);
    EXPECT_EQ(levenshteinDistance("x" + some, some + "y", 2), 2);
}

TEST(LongTextTests, MegabytesAreComparedWithMegabytes)
{
    const std::string whole = repeated("abcde", megabyte);

    EXPECT_EQ(levenshteinDistance(whole, whole, 2), 0);
    EXPECT_EQ(levenshteinDistance("x" + whole, whole, 2), 1);
    EXPECT_EQ(levenshteinDistance("x" + whole, whole + "y", 2), 2);
    EXPECT_EQ(levenshteinDistance("xy" + whole, whole + "yx", 2), 4)
        << "two in the last row, not in its corner";
    EXPECT_EQ(levenshteinDistance("xyz" + whole, whole + "zyx", 2), 3);
    EXPECT_EQ(levenshteinDistance(repeated("a", megabyte), repeated("b", megabyte), 2), 3);
}

// Catalogues

TEST(BadCatalogueTests, EmptyNamesAndKeywordsAreNoTyposButOfOneOrTwoCharacters)
{
    const Searched catalogue(
        {searchable("1", ""), searchable("2", "", {"", "", ""}), searchable("3", "", {"cat"})});

    EXPECT_EQ(catalogue.index().wordCount(), 7u);
    EXPECT_THAT(catalogue.found(""), IsEmpty());
    EXPECT_THAT(catalogue.found("dog"), IsEmpty());
    EXPECT_THAT(catalogue.found("cat"), ElementsAre("3"));
    EXPECT_THAT(catalogue.found("ca"), ElementsAre("3", "1", "2"));
    EXPECT_THAT(catalogue.types("c"),
                ElementsAre(MatchType{MatchType::Kind::prefixKeyword},
                            MatchType{MatchType::Kind::fuzzyName, 1},
                            MatchType{MatchType::Kind::fuzzyName, 1}));
}

TEST(BadCatalogueTests, AnEmojiMayHaveTenThousandKeywords)
{
    std::vector<std::string> keywords;
    for (int number = 0; number < 10000; ++number) {
        keywords.push_back("keyword " + std::to_string(number));
    }
    const Searched catalogue(
        {searchable("many", "many", keywords), searchable("one", "one", {"keyword 9999"})});

    EXPECT_EQ(catalogue.index().wordCount(), 10003u);
    EXPECT_THAT(catalogue.found("keyword"), ElementsAre("many", "one"));
    EXPECT_THAT(catalogue.found("keyword 9999"), ElementsAre("one", "many"));
    EXPECT_THAT(catalogue.found("keyward 5000"), ElementsAre("many"));
}

TEST(BadCatalogueTests, DuplicateKeywordsCountOnce)
{
    const Searched catalogue({searchable("1", "one", std::vector<std::string>(10000, "Cat")),
                              searchable("2", "two", {"cat", "CAT", "cats", "cat"})});

    EXPECT_EQ(catalogue.index().wordCount(), 10006u);
    EXPECT_THAT(catalogue.found("cat"), ElementsAre("1", "2"));
    EXPECT_THAT(catalogue.types("cat"), Each(MatchType{MatchType::Kind::exactKeyword}));
    EXPECT_THAT(catalogue.found("cats"), ElementsAre("2", "1"));
}

TEST(BadCatalogueTests, AKeywordMayBeAMegabyteLong)
{
    for (const std::string character : {"a", "ab\u0301\u0323"}) {
        const std::string keyword = repeated(character, megabyte);
        const Searched catalogue({searchable("long", "xyzxyzxyz", {keyword}), searchable("short", "abba")});

        EXPECT_THAT(catalogue.found(character + character + character + character + character),
                    ElementsAre("long"));
        EXPECT_THAT(catalogue.types(keyword), ElementsAre(MatchType{MatchType::Kind::exactKeyword}));
        EXPECT_THAT(catalogue.types("q" + keyword), ElementsAre(MatchType{MatchType::Kind::fuzzyKeyword, 1}));
        EXPECT_THAT(catalogue.types(keyword + "qq"),
                    ElementsAre(MatchType{MatchType::Kind::fuzzyKeyword, 2}));
        EXPECT_THAT(catalogue.found(keyword + "qqq"), IsEmpty());
    }
}

TEST(BadCatalogueTests, AKeywordMayBeAMegabyteOfMarks)
{
    const std::string inTurns = repeated("\u0301\u0323", megabyte);
    const Searched catalogue({searchable("marks", "xyzxyz", {"e" + inTurns})});

    EXPECT_THAT(catalogue.types("e" + repeated("\u0323\u0301", megabyte)),
                ElementsAre(MatchType{MatchType::Kind::exactKeyword}));
    EXPECT_THAT(catalogue.types("e"), ElementsAre(MatchType{MatchType::Kind::fuzzyKeyword, 1}));
}

/// A hundred thousand emoji that share all their words but one.
std::vector<Emoji> hundredThousand()
{
    std::vector<Emoji> emojis;
    for (int number = 0; number < 100000; ++number) {
        const std::string text = std::to_string(number);
        emojis.push_back(searchable("e" + text, "shared name", {"shared", "only " + text, "Shared"}));
    }
    return emojis;
}

TEST(BadCatalogueTests, AHundredThousandEmojiMayShareTheirWords)
{
    const Searched catalogue(hundredThousand());

    EXPECT_EQ(catalogue.index().wordCount(), 400000u);
    EXPECT_THAT(catalogue.found("shared"), SizeIs(50));
    EXPECT_THAT(catalogue.found("shared").back(), "e49");
    EXPECT_THAT(catalogue.types("shared"), Each(MatchType{MatchType::Kind::prefixName}));
    EXPECT_THAT(catalogue.found("shard"), SizeIs(50));
    EXPECT_THAT(catalogue.types("shard"), Each(MatchType{MatchType::Kind::fuzzyKeyword, 1}));
    EXPECT_THAT(catalogue.found("only 99999").front(), "e99999");
    EXPECT_THAT(catalogue.found("nothing of this"), IsEmpty());
}

TEST(BadCatalogueTests, AHundredThousandEmojiMayComeBackwards)
{
    Trie trie;
    const std::vector<Emoji> emojis = hundredThousand();
    for (const Emoji& emoji : emojis) {
        trie.insert("first", emoji);
    }
    for (auto emoji = emojis.rbegin(); emoji != emojis.rend(); ++emoji) {
        trie.insert("second", *emoji);
    }

    EXPECT_EQ(trie.search("first"), emojis);
    EXPECT_EQ(trie.search("second"), emojis);
}

} // namespace
} // namespace glimmerwick
