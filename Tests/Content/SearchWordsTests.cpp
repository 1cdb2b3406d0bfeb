#include "SearchWords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(SearchWord, IsWhatSomebodyTypes)
{
    EXPECT_EQ(searchWord("Face_With  Tears"), "face with tears");
    EXPECT_EQ(searchWord("Côte d’Ivoire"), "côte d'ivoire");
    EXPECT_EQ(searchWord("e\u0301te\u0301"), "été");
    EXPECT_EQ(searchWord(" “reserved” button™ "), "reserved button");
    EXPECT_EQ(searchWord("check ✔\uFE0F"), "check");
    EXPECT_EQ(searchWord("tada:"), "tada");
    EXPECT_EQ(searchWord("ГОРОД"), "город");
    EXPECT_EQ(searchWord(""), "");
}

TEST(SearchWord, KeepsPunctuationThatMeansSomething)
{
    EXPECT_EQ(searchWord("+1"), "+1");
    EXPECT_EQ(searchWord("t-rex"), "t-rex");
    EXPECT_EQ(searchWord(":"), ":");
    EXPECT_EQ(searchWord("!"), "!");
}

TEST(PlainWord, HoldsLettersAndDigitsWithSingleBlanks)
{
    EXPECT_EQ(withoutPunctuation("flag: côte d'ivoire"), "flag côte d ivoire");
    EXPECT_EQ(withoutPunctuation(" t-rex "), "t rex");
    EXPECT_EQ(withoutPunctuation("!?"), "");
    // Marks belong to the letters of many scripts.
    EXPECT_EQ(withoutPunctuation("हिन्दी"), "हिन्दी");
}

TEST(CodepointString, IsLowerCaseHexadecimalWithDashes)
{
    EXPECT_EQ(codepointString("❤️"), "2764-fe0f");
    EXPECT_EQ(codepointString("👩‍💻"), "1f469-200d-1f4bb");
    EXPECT_EQ(codepointString("1️⃣"), "31-fe0f-20e3");
    EXPECT_EQ(codepointString(""), "");
}

TEST(SearchWords, AreCollectedInOrderEachOnce)
{
    SearchWords words("thumbs up");
    words.add({"Good", "thumbs_up", "good", "", "YES"});
    words.add({"yes", "like"});

    EXPECT_THAT(words.ordered(), ElementsAre("good", "yes", "like"));
}

TEST(SearchWords, LeaveOutWhatRepeatsTheName)
{
    SearchWords words("flag: Chile");
    words.add({"flag_chile", "Flag: Chile"});
    words.addAsTheyAre({"FLAG: chile"});

    EXPECT_THAT(words.ordered(), IsEmpty());
}

TEST(SearchWords, KeepEmoticonsAndUnderscoresWhereAsked)
{
    SearchWords words("face");
    words.addAsTheyAre({":D", " <3 ", "see_no_evil"});

    EXPECT_THAT(words.ordered(), ElementsAre(":d", "<3", "see_no_evil"));
}

TEST(SearchWords, HoldTheSubjectAndThePartsOfAName)
{
    SearchWords words("flag: Trinidad & Tobago");
    words.addSubjectOf("flag: Trinidad & Tobago");
    words.addPartsOf("flag: Trinidad & Tobago");

    // "trinidad" stands before the phrase that begins with it.
    EXPECT_THAT(words.ordered(),
                ElementsAre("flag trinidad tobago", "trinidad", "trinidad & tobago", "tobago"));
}

TEST(SearchWords, HoldANameWithAnApostropheAsItIsTyped)
{
    SearchWords words("man’s shoe");
    words.addPartsOf("man’s shoe");

    EXPECT_THAT(words.ordered(), ElementsAre("man's shoe", "man s shoe", "shoe"));
}

TEST(SearchWords, LeaveWordsOfANameOutThatTellNothing)
{
    SearchWords words("face with hand over (open) mouth");
    words.addPartsOf("face with hand over (open) mouth", {"with"});

    EXPECT_THAT(words.ordered(),
                ElementsAre("face with hand over open mouth", "hand", "over", "open", "mouth"));
}

TEST(SearchWords, APhraseWaitsForItsFirstWord)
{
    SearchWords words("smiling face");
    words.add({"heart eyes", "in love", "heart", "crush"});

    EXPECT_THAT(words.ordered(), ElementsAre("in love", "heart", "heart eyes", "crush"));
}

TEST(SearchWords, TheLongerFormOfAWordTakesTheShorterAlong)
{
    SearchWords words("prohibited");
    words.add({"forbidden", "no", "forbid", "banned"});

    EXPECT_THAT(words.ordered(), ElementsAre("forbid", "forbidden", "no", "banned"));
}

TEST(SearchWords, NoneStandsBehindALongerOneThatBeginsWithIt)
{
    SearchWords words("x");
    words.add({"abc d", "abcd", "ab", "abc", "a", "ab c"});

    const auto ordered = words.ordered();
    ASSERT_EQ(ordered.size(), 6u);
    for (std::size_t later = 0; later < ordered.size(); ++later) {
        for (std::size_t earlier = 0; earlier < later; ++earlier) {
            EXPECT_FALSE(ordered[earlier].starts_with(ordered[later]))
                << ordered[earlier] << " before " << ordered[later];
        }
    }
}

TEST(SearchWords, YieldWordsThatOthersAreMeantBy)
{
    SearchWords words("balloon");
    words.add({"birthday", "party", "helium"});
    words.yield({"party"}, {});

    EXPECT_THAT(words.ordered(), ElementsAre("birthday", "party balloon", "helium"));
}

TEST(SearchWords, DoNotYieldTheClaimNorWhatTheNameBeginsWith)
{
    SearchWords claiming("face blowing a kiss");
    claiming.add({"kiss"});
    claiming.yield({"kiss"}, {"kiss"});
    SearchWords named("party popper");
    named.add({"party"});
    named.yield({"party"}, {});

    EXPECT_THAT(claiming.ordered(), ElementsAre("kiss"));
    EXPECT_THAT(named.ordered(), ElementsAre("party"));
}

} // namespace
} // namespace glimmerwick
