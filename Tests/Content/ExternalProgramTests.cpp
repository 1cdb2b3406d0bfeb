#include "ExternalProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using ::testing::StartsWith;

TEST(RunProgram, SucceedsWithAProgramThatDoes)
{
    EXPECT_TRUE(runProgram({"sh", "-c", "test \"$0\" = 'two words'", "two words"}));
}

TEST(RunProgram, FailsWithAProgramThatFailsOrIsKilled)
{
    EXPECT_EQ(runProgram({"false"}).error().description, "false failed");
    EXPECT_EQ(runProgram({"sh", "-c", "kill -9 $$"}).error().description, "sh failed");
}

TEST(RunProgram, FailsWithAProgramThatIsNotThere)
{
    EXPECT_THAT(runProgram({"glimmerwick-no-such-program"}).error().description,
                StartsWith("cannot start glimmerwick-no-such-program: "));
}

TEST(RunProgram, GivesNothingToReadAndTakesWhatIsWritten)
{
    testing::internal::CaptureStdout();
    const auto outcome = runProgram({"sh", "-c", "! read line && echo unheard"});

    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_TRUE(outcome);
}

} // namespace
} // namespace glimmerwick
