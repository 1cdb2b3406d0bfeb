#include "Search/Trie.h"

#include "Models/SkinTone.h"

#include "Unit/Search/SearchTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class TrieTests : public testing::Test {
protected:
    std::vector<std::string> found(const std::string& prefix) const
    {
        return codepoints(trie.search(prefix));
    }

    const Emoji grinning = searchable("1f600", "grinning face");
    const Emoji cat = searchable("1f408", "cat");
    const Emoji catFace = searchable("1f431", "cat face");
    Trie trie;
};

TEST_F(TrieTests, AnEmptyTrieFindsNothing)
{
    EXPECT_THAT(found("a"), IsEmpty());
    EXPECT_THAT(found(""), IsEmpty());
    EXPECT_FALSE(trie.contains("a"));
    EXPECT_FALSE(trie.contains(""));
    EXPECT_THAT(trie.getEmojis("a"), IsEmpty());
    EXPECT_THAT(trie.getEmojis(""), IsEmpty());
}

TEST_F(TrieTests, LetterCaseDoesNotMatterOnEitherSide)
{
    trie.insert("Grinning FACE", grinning);

    EXPECT_THAT(found("GRIN"), ElementsAre("1f600"));
    EXPECT_THAT(found("grin"), ElementsAre("1f600"));
    EXPECT_THAT(found("gRiNnInG fAcE"), ElementsAre("1f600"));
}

TEST_F(TrieTests, LowerCasingIsThatOfUnicode)
{
    trie.insert("ÄRGER", grinning);
    trie.insert("ΣΊΣΥΦΟΣ", cat);
    trie.insert("İstanbul", catFace);

    EXPECT_THAT(found("ärg"), ElementsAre("1f600"));
    EXPECT_THAT(found("σίσυφ"), ElementsAre("1f408"));
    EXPECT_THAT(found("İST"), ElementsAre("1f431"));
}

TEST_F(TrieTests, AnEmptyPrefixFindsNothing)
{
    trie.insert("cat", cat);

    EXPECT_THAT(found(""), IsEmpty());
}

TEST_F(TrieTests, AnEmptyWordChangesNothing)
{
    trie.insert("", cat);

    EXPECT_FALSE(trie.contains(""));
    EXPECT_THAT(trie.getEmojis(""), IsEmpty());
    EXPECT_THAT(found("c"), IsEmpty());
}

TEST_F(TrieTests, AWholeWordFindsItsEmojiAndThoseOfLongerWords)
{
    trie.insert("cat", cat);
    trie.insert("cat face", catFace);
    trie.insert("car", grinning);

    EXPECT_THAT(found("cat"), ElementsAre("1f408", "1f431"));
}

TEST_F(TrieTests, AnEmojiUnderSeveralWordsIsFoundOnce)
{
    trie.insert("smile", grinning);
    trie.insert("smiley", grinning);
    trie.insert("smirk", grinning);

    EXPECT_THAT(found("smi"), ElementsAre("1f600"));
}

TEST_F(TrieTests, AnEmojiInsertedTwiceUnderOneWordIsThereOnce)
{
    trie.insert("cat", cat);
    trie.insert("cat", cat);

    EXPECT_THAT(found("cat"), ElementsAre("1f408"));
    EXPECT_EQ(trie.getEmojis("cat").size(), 1u);
}

TEST_F(TrieTests, EqualCodepointsAreOneEmojiAndTheFirstValueStays)
{
    trie.insert("cat", searchable("1f408", "first"));
    trie.insert("cat", searchable("1f408", "second"));
    trie.insert("catty", searchable("1f408", "third"));

    const auto emojis = trie.search("cat");

    ASSERT_EQ(emojis.size(), 1u);
    EXPECT_EQ(emojis[0].name, "first");
}

TEST_F(TrieTests, SeveralEmojiShareAWord)
{
    trie.insert("animal", cat);
    trie.insert("animal", catFace);

    EXPECT_THAT(found("animal"), ElementsAre("1f408", "1f431"));
}

TEST_F(TrieTests, AnEmojiWithTheWordEarlierAmongItsOwnComesFirst)
{
    trie.insert("grinning face", grinning);
    trie.insert("animal", grinning);
    trie.insert("pet", grinning);
    trie.insert("cat", cat);
    trie.insert("pet", cat);
    trie.insert("pet shop", catFace);

    EXPECT_THAT(found("pet"), ElementsAre("1f431", "1f408", "1f600"));
}

TEST_F(TrieTests, AWholeWordComesBeforeTheBeginningOfOneHoweverShort)
{
    trie.insert("hotel", grinning);
    trie.insert("hot springs", cat);
    trie.insert("hot", catFace);

    EXPECT_THAT(found("hot"), ElementsAre("1f431", "1f408", "1f600"));
}

TEST_F(TrieTests, TheWordOfWhichLessIsMissingComesFirst)
{
    trie.insert("celebration", grinning);
    trie.insert("celebrate", cat);
    trie.insert("celebrating", catFace);

    EXPECT_THAT(found("celebr"), ElementsAre("1f408", "1f600", "1f431"));
}

TEST_F(TrieTests, TheEarliestWordCountsAlsoWhenALaterOneIsCloser)
{
    trie.insert("party popper", grinning);
    trie.insert("party", grinning);
    trie.insert("balloon", cat);
    trie.insert("party", cat);

    EXPECT_THAT(found("party"), ElementsAre("1f600", "1f408"));
}

TEST_F(TrieTests, EquallyCloseEmojiStandAsTheyWereFirstInserted)
{
    trie.insert("animal", catFace);
    trie.insert("animal", grinning);
    trie.insert("animal", cat);

    EXPECT_THAT(found("ani"), ElementsAre("1f431", "1f600", "1f408"));
}

TEST_F(TrieTests, APrefixBeyondEveryPathFindsNothing)
{
    trie.insert("grinning face", grinning);

    EXPECT_THAT(found("grinning faces"), IsEmpty());
    EXPECT_THAT(found("grinning facf"), IsEmpty());
}

TEST_F(TrieTests, APrefixFromTheMiddleOfAWordFindsNothing)
{
    trie.insert("grinning face", grinning);

    EXPECT_THAT(found("face"), IsEmpty());
    EXPECT_THAT(found("rinning"), IsEmpty());
}

TEST_F(TrieTests, AKeywordFindsWhatTheMiddleOfTheNameDoesNot)
{
    trie.insert("grinning face", grinning);
    trie.insert("cat face", catFace);
    trie.insert("face", grinning);

    EXPECT_THAT(found("face"), ElementsAre("1f600"));
    EXPECT_THAT(found("fac"), ElementsAre("1f600"));
}

TEST_F(TrieTests, AnEmptyWordLeavesWordsAndTheirOrderAsTheyAre)
{
    trie.insert("pet", cat);
    trie.insert("", catFace);
    trie.insert("pet", catFace);
    trie.insert("", cat);

    EXPECT_THAT(found("pet"), ElementsAre("1f408", "1f431"));
    EXPECT_THAT(found("p"), ElementsAre("1f408", "1f431"));
    EXPECT_THAT(found(""), IsEmpty());
}

TEST_F(TrieTests, OfAWordInsertedTwiceTheFirstTimeCounts)
{
    trie.insert("pet", cat);
    trie.insert("dog", catFace);
    trie.insert("pet", catFace);
    trie.insert("animal", cat);
    trie.insert("pet", cat);

    EXPECT_THAT(found("pet"), ElementsAre("1f408", "1f431"));
    EXPECT_EQ(trie.getEmojis("pet").size(), 2u);
}

TEST_F(TrieTests, SpacesAndPunctuationAreCharactersLikeAnyOther)
{
    trie.insert("o'clock: 5 (five)", cat);

    EXPECT_THAT(found("o'clock: 5 ("), ElementsAre("1f408"));
    EXPECT_THAT(found("o'clock:5"), IsEmpty());
    EXPECT_THAT(found(" o'clock"), IsEmpty());
}

TEST_F(TrieTests, ACombinedCharacterIsOneStep)
{
    trie.insert("e\u0301clair", cat);

    EXPECT_THAT(found("e"), IsEmpty()) << "the accented letter is another character than the bare one";
    EXPECT_THAT(found("e\u0301"), ElementsAre("1f408"));
}

TEST_F(TrieTests, CanonicallyEquivalentTextsAreTheSame)
{
    trie.insert("e\u0301clair", cat);
    trie.insert("\u00fcber", catFace);

    EXPECT_THAT(found("\u00e9cl"), ElementsAre("1f408"));
    EXPECT_THAT(found("u\u0308b"), ElementsAre("1f431"));
    EXPECT_TRUE(trie.contains("\u00e9clair"));
    EXPECT_TRUE(trie.contains("E\u0301CLAIR"));
}

TEST_F(TrieTests, AJoinedSequenceIsOneStep)
{
    trie.insert("👩‍💻 work", cat);

    EXPECT_THAT(found("👩"), IsEmpty());
    EXPECT_THAT(found("👩‍💻"), ElementsAre("1f408"));
}

TEST_F(TrieTests, IllFormedBytesAreIndexedWithoutHarm)
{
    trie.insert("bad \xff\xfe word", cat);

    EXPECT_THAT(found("bad"), ElementsAre("1f408"));
    EXPECT_THAT(found("bad \xff"), ElementsAre("1f408"));
}

TEST_F(TrieTests, ResultsStandInTheOrderOfFirstInsertionWhateverTheTreesShape)
{
    std::vector<std::string> order;
    for (int number = 0; number < 100; ++number) {
        const std::string codepoint = "e" + std::to_string(number * 37 % 100);
        order.push_back(codepoint);
        trie.insert("z" + std::string(1, static_cast<char>('z' - number % 26)),
                    searchable(codepoint, codepoint));
    }

    EXPECT_EQ(found("z"), order);
}

TEST_F(TrieTests, ContainsTellsWholeWordsFromTheirBeginnings)
{
    trie.insert("Cat Face", catFace);

    EXPECT_TRUE(trie.contains("cat face"));
    EXPECT_TRUE(trie.contains("CAT FACE"));
    EXPECT_FALSE(trie.contains("cat"));
    EXPECT_FALSE(trie.contains("cat faces"));
    EXPECT_FALSE(trie.contains(""));
}

TEST_F(TrieTests, TheEmojiOfAWordAreThoseOfExactlyThatWord)
{
    trie.insert("cat", cat);
    trie.insert("cat", grinning);
    trie.insert("cat face", catFace);

    EXPECT_THAT(trie.getEmojis("CAT"), UnorderedElementsAre(cat, grinning));
    EXPECT_THAT(trie.getEmojis("ca"), IsEmpty());
    EXPECT_THAT(trie.getEmojis("dog"), IsEmpty());
}

TEST_F(TrieTests, InsertingAllIsInsertingNamesAndKeywordsOneByOne)
{
    const auto emojis = std::make_shared<const std::vector<Emoji>>(
        std::vector{searchable("1", "cat face", {"pet", "Cat", "", "pet"}),
                    searchable("2", "", {"dog", "pet"}), searchable("3", ""), searchable("4", "CAT")});
    Trie oneByOne;
    for (const Emoji& emoji : *emojis) {
        oneByOne.insert(emoji.name, emoji);
        for (const std::string& keyword : emoji.keywords) {
            oneByOne.insert(keyword, emoji);
        }
    }
    trie.insertAll(emojis);

    for (const std::string prefix : {"c", "cat", "cat ", "p", "pet", "d", "x", ""}) {
        EXPECT_EQ(found(prefix), codepoints(oneByOne.search(prefix))) << prefix;
    }
    EXPECT_TRUE(trie.contains("dog"));
    EXPECT_FALSE(trie.contains("do"));
}

TEST_F(TrieTests, WordsAreInsertedAfterAllAsWellAsBefore)
{
    trie.insertAll(std::make_shared<const std::vector<Emoji>>(std::vector{cat, grinning}));
    Trie oneByOne;
    oneByOne.insert("cat", cat);
    oneByOne.insert("grinning face", grinning);
    for (Trie* each : {&trie, &oneByOne}) {
        each->insert("pet", cat);
        each->insert("Cat", grinning);
        each->insert("face", catFace);
        each->insert("pet", catFace);
    }

    EXPECT_EQ(trie.vocabulary().size(), oneByOne.vocabulary().size());
    for (const std::string prefix : {"c", "cat", "p", "pet", "g", "f", "x"}) {
        EXPECT_EQ(found(prefix), codepoints(oneByOne.search(prefix))) << prefix;
    }
    EXPECT_THAT(trie.getEmojis("pet"), UnorderedElementsAre(cat, catFace));
    EXPECT_THAT(trie.getEmojis("cat"), UnorderedElementsAre(cat, grinning));
}

TEST_F(TrieTests, InsertingAllSortsMoreCharactersThanSixteenBitsNumber)
{
    auto many = std::make_shared<std::vector<Emoji>>();
    for (const std::string mark : {"-301", "-308"}) {
        for (int ideograph = 0x20000; ideograph < 0x2A000; ++ideograph) {
            std::ostringstream codepoint;
            codepoint << std::hex << ideograph << mark;
            // What follows must not outweigh the character.
            const std::string end = ideograph % 2 == 0 ? "b" : "a";
            many->push_back(
                searchable(codepoint.str(), SkinTone::codepointToChar(codepoint.str()).value_or("") + end));
        }
    }
    trie.insertAll(many);

    for (const Emoji& emoji : *many) {
        ASSERT_TRUE(trie.contains(emoji.name)) << emoji.codepoint;
    }
}

TEST_F(TrieTests, MatchesTellTheBestWordOfEachEmoji)
{
    const auto emojis = std::make_shared<const std::vector<Emoji>>(
        std::vector{searchable("1", "hotel"), searchable("2", "stove", {"hot plate", "hot"})});
    trie.insertAll(emojis);

    const auto matches = trie.matches(trie.vocabulary().characters("hot"));

    ASSERT_EQ(matches.size(), 2u);
    EXPECT_EQ(matches[0].emoji, &emojis->at(0));
    EXPECT_EQ(matches[0].number, 0u);
    EXPECT_EQ(matches[0].closeness, (Trie::Closeness{0, true, 2}));
    EXPECT_EQ(matches[1].emoji, &emojis->at(1));
    EXPECT_EQ(matches[1].closeness, (Trie::Closeness{1, false, 6}));
    EXPECT_THAT(trie.matches({}), IsEmpty());
    EXPECT_THAT(trie.matches(trie.vocabulary().characters("dog")), IsEmpty());
}

TEST_F(TrieTests, InsertingAllSharesTheEmojiAndKeepsThemAlive)
{
    auto emojis = std::make_shared<const std::vector<Emoji>>(std::vector{cat});
    trie.insertAll(emojis);
    const Emoji* shared = &emojis->front();
    emojis.reset();

    const auto matches = trie.matches(trie.vocabulary().characters("cat"));
    ASSERT_EQ(matches.size(), 1u);
    EXPECT_EQ(matches[0].emoji, shared);
    EXPECT_THAT(found("cat"), ElementsAre("1f408"));
}

TEST_F(TrieTests, MovingTakesTheWordsAlong)
{
    trie.insert("cat", cat);

    Trie moved(std::move(trie));
    EXPECT_THAT(codepoints(moved.search("cat")), ElementsAre("1f408"));

    trie = Trie();
    trie.insert("cat face", catFace);
    EXPECT_THAT(found("cat"), ElementsAre("1f431"));
}

TEST_F(TrieTests, AWordOfAMegabyteNeedsNoDeepStack)
{
    const std::string longWord(1024 * 1024, 'a');
    {
        Trie deep;
        deep.insert(longWord, cat);

        EXPECT_THAT(codepoints(deep.search("aaa")), ElementsAre("1f408"));
        EXPECT_TRUE(deep.contains(longWord));
        EXPECT_THAT(deep.search(longWord + "a"), IsEmpty());
    }
}

} // namespace
} // namespace glimmerwick
