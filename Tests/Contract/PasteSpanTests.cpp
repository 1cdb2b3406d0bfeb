#include "Platform/Linux/PasteSpan.h"

#include <gtest/gtest.h>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;

constexpr PasteSpan::Duration usual = 250ms;

class PasteSpanTest : public ::testing::Test {
protected:
    const PasteSpan::Time begin = PasteSpan::Time() + 1h;
    PasteSpan span{begin, usual};
};

TEST_F(PasteSpanTest, aTargetThatAsksForNothingIsWaitedFor)
{
    EXPECT_FALSE(span.isTaken());
    EXPECT_EQ(span.end(), begin + PasteSpan::patience);
}

TEST_F(PasteSpanTest, endsSoonAfterItIsTaken)
{
    span.noteTaking(begin + 20ms);

    EXPECT_TRUE(span.isTaken());
    EXPECT_EQ(span.end(), begin + 20ms + usual);
}

TEST_F(PasteSpanTest, aSecondTakingMakesItLastAndAThirdDoesNot)
{
    span.noteTaking(begin + 20ms);
    span.noteTaking(begin + 70ms);
    EXPECT_EQ(span.end(), begin + 70ms + usual);

    span.noteTaking(begin + 120ms);
    EXPECT_EQ(span.end(), begin + 70ms + usual);
}

TEST_F(PasteSpanTest, aTargetThatWasSlowToAskIsGivenMoreTime)
{
    span.noteTaking(begin + 300ms);
    EXPECT_EQ(span.end(), begin + 300ms + 1200ms);

    span.noteTaking(begin + 700ms);
    EXPECT_EQ(span.end(), begin + 700ms + 1600ms);
}

TEST_F(PasteSpanTest, aTargetThatAsksWhatThereIsIsWaitedForLonger)
{
    span.noteQuestion(begin + 1900ms);

    EXPECT_FALSE(span.isTaken());
    EXPECT_EQ(span.end(), begin + PasteSpan::longest);
}

TEST_F(PasteSpanTest, aTargetThatGoesOnAskingTakesItTwice)
{
    span.noteQuestion(begin + 20ms);
    span.noteTaking(begin + 21ms);
    span.noteQuestion(begin + 30ms);
    EXPECT_EQ(span.end(), begin + PasteSpan::longest);

    span.noteTaking(begin + 80ms);
    EXPECT_EQ(span.end(), begin + 80ms + usual);

    span.noteQuestion(begin + 81ms);
    EXPECT_EQ(span.end(), begin + 80ms + usual);
}

TEST_F(PasteSpanTest, whateverTheTargetDoesItEndsInTheEnd)
{
    span.noteTaking(begin + 1900ms);
    EXPECT_EQ(span.end(), begin + PasteSpan::longest);

    span.noteQuestion(begin + 2000ms);
    EXPECT_EQ(span.end(), begin + PasteSpan::longest);

    span.noteTaking(begin + 2900ms);
    EXPECT_EQ(span.end(), begin + PasteSpan::longest);
}

} // namespace
} // namespace glimmerwick::contract
