#include "Managers/UpdateSchedule.h"

#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"

#include <gtest/gtest.h>

#include <any>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using Outcome = UpdateSchedule::Outcome;

class UpdateScheduleTests : public ::testing::Test {
protected:
    UpdateSchedule makeSchedule()
    {
        return {clock, defaults, [this](std::uint32_t bound) {
                    bounds.push_back(bound);
                    return randomNumber;
                }};
    }

    std::string lastCheck() { return defaults.string("lastUpdateCheck").value_or("none"); }
    void setLastCheck(const std::string& text) { defaults.values["lastUpdateCheck"] = text; }

    /// Whether it becomes due then and not a minute before.
    bool isDueIn(const UpdateSchedule& schedule, std::chrono::minutes wait)
    {
        const auto before = clock.time;
        clock.time += wait - 1min;
        const bool wasDue = schedule.isDue();
        clock.time += 1min;
        const bool isDue = schedule.isDue();
        clock.time = before;
        return isDue && !wasDue;
    }

    fakes::FakeFileClock clock;
    fakes::FakeUserDefaults defaults;
    std::uint32_t randomNumber = 17;
    std::vector<std::uint32_t> bounds;
};

TEST_F(UpdateScheduleTests, TheFirstWaitIsSomeRandomMinutes)
{
    UpdateSchedule schedule = makeSchedule();

    EXPECT_EQ(schedule.firstWait(), 27min);
    randomNumber = 0;
    EXPECT_EQ(schedule.firstWait(), 10min);
    randomNumber = 59;
    EXPECT_EQ(schedule.firstWait(), 69min);
    EXPECT_EQ(bounds, std::vector<std::uint32_t>(4, 60));
}

TEST_F(UpdateScheduleTests, WithoutAnEarlierCheckOneIsDue)
{
    EXPECT_TRUE(makeSchedule().isDue());
}

TEST_F(UpdateScheduleTests, TheNextOneIsDueADayAndSomeRandomMinutesLater)
{
    UpdateSchedule schedule = makeSchedule();

    randomNumber = 42;
    schedule.recordFinished(Outcome::succeeded);

    EXPECT_TRUE(isDueIn(schedule, 24h + 42min));
    randomNumber = 0;
    schedule.recordFinished(Outcome::succeeded);
    EXPECT_TRUE(isDueIn(schedule, 24h));
}

TEST_F(UpdateScheduleTests, ARestartedProgramKnowsOfTheLastCheck)
{
    makeSchedule().recordFinished(Outcome::succeeded);
    clock.time += 20h;

    const UpdateSchedule restarted = makeSchedule();

    EXPECT_FALSE(restarted.isDue());
    EXPECT_TRUE(isDueIn(restarted, 4h + 17min));
}

TEST_F(UpdateScheduleTests, TheTimeIsKeptInSeconds)
{
    makeSchedule().recordFinished(Outcome::succeeded);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(clock.time).time_since_epoch().count();
    EXPECT_EQ(lastCheck(), std::to_string(seconds));

    clock.time += 1500ms;
    makeSchedule().recordFinished(Outcome::failed);
    EXPECT_EQ(lastCheck(), std::to_string(seconds + 1));
}

TEST_F(UpdateScheduleTests, FailedChecksAreRepeatedSoonerButLessAndLess)
{
    UpdateSchedule schedule = makeSchedule();

    for (const auto interval : {6h, 12h, 24h, 24h, 24h}) {
        schedule.recordFinished(Outcome::failed);
        EXPECT_TRUE(isDueIn(schedule, interval + 17min));
    }
    for (int failure = 0; failure < 10000; ++failure) {
        schedule.recordFinished(Outcome::failed);
    }
    EXPECT_TRUE(isDueIn(schedule, 24h + 17min));

    schedule.recordFinished(Outcome::succeeded);
    EXPECT_TRUE(isDueIn(schedule, 24h + 17min));
    schedule.recordFinished(Outcome::failed);
    EXPECT_TRUE(isDueIn(schedule, 6h + 17min));
}

TEST_F(UpdateScheduleTests, TheWaitIsNeverShorterThanHalfAnHourNorLongerThanOne)
{
    UpdateSchedule schedule = makeSchedule();
    EXPECT_EQ(schedule.nextWait(), 30min);

    schedule.recordFinished(Outcome::succeeded);
    EXPECT_EQ(schedule.nextWait(), 60min);
    clock.time += 24h + 17min - 61min;
    EXPECT_EQ(schedule.nextWait(), 60min);
    clock.time += 16min;
    EXPECT_EQ(schedule.nextWait(), 45min);
    clock.time += 1s;
    EXPECT_EQ(schedule.nextWait(), 45min);
    clock.time += 44min;
    EXPECT_EQ(schedule.nextWait(), 30min);
    clock.time += 24h;
    EXPECT_EQ(schedule.nextWait(), 30min);
}

TEST_F(UpdateScheduleTests, AClockThatJumpsAheadMakesItDue)
{
    UpdateSchedule schedule = makeSchedule();
    schedule.recordFinished(Outcome::succeeded);

    clock.time += std::chrono::years(1);

    EXPECT_TRUE(schedule.isDue());
    EXPECT_EQ(schedule.nextWait(), 30min);
}

TEST_F(UpdateScheduleTests, AClockThatJumpsBackDoesNotPutItOffForAYear)
{
    UpdateSchedule schedule = makeSchedule();
    clock.time += std::chrono::years(1);
    schedule.recordFinished(Outcome::succeeded);

    clock.time -= std::chrono::years(1);

    EXPECT_TRUE(schedule.isDue());
    EXPECT_EQ(schedule.nextWait(), 30min);
    schedule.recordFinished(Outcome::succeeded);
    EXPECT_TRUE(isDueIn(schedule, 24h + 17min));
}

TEST_F(UpdateScheduleTests, NonsenseInTheSettingsCountsAsNoCheck)
{
    for (const std::string text :
         {"", " 5", "5 ", "-5", "+5", "5.0", "yesterday", "9223372036854775807", "9223372036854775808",
          "-9223372036854775808", "99999999999999999999999", "0x5"}) {
        setLastCheck(text);
        EXPECT_TRUE(makeSchedule().isDue()) << text;
        EXPECT_EQ(makeSchedule().nextWait(), 30min) << text;
    }
    defaults.values["lastUpdateCheck"] = true;
    EXPECT_TRUE(makeSchedule().isDue());

    setLastCheck("0");
    EXPECT_TRUE(makeSchedule().isDue());
}

} // namespace
} // namespace glimmerwick
