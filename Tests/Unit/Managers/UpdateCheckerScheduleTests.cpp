#include "Unit/Managers/UpdateCheckerFixture.h"

#include <algorithm>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::IsEmpty;

class UpdateCheckerScheduleTests : public UpdateCheckerFixture { };

TEST_F(UpdateCheckerScheduleTests, TheFirstCheckComesSomeRandomMinutesAfterTheStart)
{
    randomNumber = 42;
    checker->start();

    pass(51min);
    EXPECT_EQ(requestCount(), 0U);
    pass(1min);
    EXPECT_EQ(requestCount(), 1U);
    EXPECT_EQ(exchange().request.url, settings.feedAddress);
    EXPECT_THAT(presenter.calls, IsEmpty());
}

TEST_F(UpdateCheckerScheduleTests, NothingIsScheduledBeforeTheStartAndNothingTwice)
{
    pass(48h);
    EXPECT_EQ(requestCount(), 0U);

    checker->start();
    pass(5min);
    checker->start();
    EXPECT_EQ(time.pendingCount(), 1U);
    pass(5min);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerScheduleTests, AnIdleProgramWakesAtMostTwiceAnHour)
{
    checker->start();
    pass(10min);
    answerWithFeed();
    presenter.answer(UpdateAnswer::later);
    time.mainQueueDelays.clear();

    pass(23h);

    EXPECT_THAT(time.mainQueueDelays, Each(Ge(30min)));
    EXPECT_LE(time.mainQueueDelays.size(), 24U);
    EXPECT_EQ(time.timersStarted, 0);
}

TEST_F(UpdateCheckerScheduleTests, AnUpdateIsOfferedWithoutBeingAskedFor)
{
    checkOnSchedule();

    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0"));
    EXPECT_EQ(presenter.attention, Attention::unasked);
    EXPECT_EQ(setting("updateFeedSerial"), "7");
}

TEST_F(UpdateCheckerScheduleTests, EverythingElseIsSilent)
{
    offer("0.1.0");
    checkOnSchedule();
    EXPECT_THAT(presenter.calls, IsEmpty());

    offer("0.2.0");
    reader.feed.items[0].minimumSystemVersion = ReleaseVersion::parse("3");
    pass(25h);
    ASSERT_EQ(requestCount(), 2U);
    answerWithFeed();

    EXPECT_THAT(presenter.calls, IsEmpty());
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(UpdateCheckerScheduleTests, AFailureIsOneLineAndNoWindow)
{
    checker->start();
    pass(10min);
    answer(503, "");

    EXPECT_THAT(lines, ElementsAre("update check failed: the server answered with status 503"));
    EXPECT_THAT(presenter.calls, IsEmpty());
}

TEST_F(UpdateCheckerScheduleTests, ChecksFollowEachOtherDaily)
{
    offer("0.1.0");
    checkOnSchedule();

    pass(23h + 59min);
    EXPECT_EQ(requestCount(), 1U);
    pass(61min);
    ASSERT_EQ(requestCount(), 2U);
    answerWithFeed();
    pass(23h + 59min);
    EXPECT_EQ(requestCount(), 2U);
    pass(61min);
    EXPECT_EQ(requestCount(), 3U);
}

TEST_F(UpdateCheckerScheduleTests, AFailedCheckIsRepeatedAfterSixHours)
{
    checker->start();
    pass(10min);
    answer(503, "");

    pass(5h + 59min);
    EXPECT_EQ(requestCount(), 1U);
    pass(61min);
    ASSERT_EQ(requestCount(), 2U);
    answer(503, "");
    pass(11h + 59min);
    EXPECT_EQ(requestCount(), 2U);
    pass(61min);
    EXPECT_EQ(requestCount(), 3U);
}

TEST_F(UpdateCheckerScheduleTests, ARestartDoesNotCheckAnew)
{
    offer("0.1.0");
    checkOnSchedule();

    makeChecker();
    checker->start();
    pass(23h);

    EXPECT_EQ(requestCount(), 1U);
    pass(2h);
    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(UpdateCheckerScheduleTests, ARequestedCheckCountsAsTheDaysOwn)
{
    offer("0.1.0");
    checkOnRequest();

    checker->start();
    pass(23h);

    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerScheduleTests, AfterASuspensionTheCheckFollowsWithinAnHour)
{
    offer("0.1.0");
    checkOnSchedule();
    pass(2h);

    // Timers stand still meanwhile.
    fileClock.time += 40h;
    pass(60min);

    EXPECT_EQ(requestCount(), 2U);
}

TEST_F(UpdateCheckerScheduleTests, AClockThatJumpsBringsOneCheckAndNoMore)
{
    offer("0.1.0");
    checkOnSchedule();

    fileClock.time -= 24h;
    pass(60min);
    ASSERT_EQ(requestCount(), 2U);
    answerWithFeed();
    pass(23h);
    EXPECT_EQ(requestCount(), 2U);

    fileClock.time += std::chrono::years(1);
    pass(60min);
    ASSERT_EQ(requestCount(), 3U);
    answerWithFeed();
    pass(23h);
    EXPECT_EQ(requestCount(), 3U);
}

TEST_F(UpdateCheckerScheduleTests, ASkippedVersionIsNotOfferedButTheNextOneIs)
{
    checkOnSchedule();
    presenter.answer(UpdateAnswer::skipThisVersion);
    newCalls();

    pass(25h);
    ASSERT_EQ(requestCount(), 2U);
    answerWithFeed();
    EXPECT_THAT(newCalls(), IsEmpty());

    offer("0.2.1");
    pass(25h);
    ASSERT_EQ(requestCount(), 3U);
    answerWithFeed();
    EXPECT_THAT(newCalls(), ElementsAre("offer 0.2.1"));
}

TEST_F(UpdateCheckerScheduleTests, AVersionThatTheInstallerHasIsOfferedOnRequestAlone)
{
    checkOnSchedule();
    presenter.answer(UpdateAnswer::download);
    answer(200, package);
    newCalls();

    pass(25h);
    answerWithFeed();
    EXPECT_THAT(newCalls(), IsEmpty());

    checkOnRequest();
    EXPECT_THAT(newCalls(), ElementsAre("checking", "offer 0.2.0"));
}

TEST_F(UpdateCheckerScheduleTests, LaterAsksAgainADayAfterTheAnswer)
{
    checkOnSchedule();
    // Nobody is there for three days.
    pass(72h);
    EXPECT_EQ(requestCount(), 1U);
    presenter.answer(UpdateAnswer::later);
    newCalls();

    pass(23h + 59min);
    EXPECT_EQ(requestCount(), 1U);
    pass(61min);
    ASSERT_EQ(requestCount(), 2U);
    answerWithFeed();
    EXPECT_THAT(newCalls(), ElementsAre("offer 0.2.0"));
}

TEST_F(UpdateCheckerScheduleTests, WhileThePickerIsShownNoCheckBegins)
{
    checker->start();
    checker->setPickerShown(true);
    pass(3h);
    EXPECT_EQ(requestCount(), 0U);

    checker->setPickerShown(false);
    time.advance(29s);
    EXPECT_EQ(requestCount(), 0U) << "the pick may still be going on";
    time.advance(1s);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerScheduleTests, WhileThePickerIsShownNoOfferAppears)
{
    checker->start();
    pass(10min);
    checker->setPickerShown(true);
    answerWithFeed();
    pass(2h);
    EXPECT_THAT(presenter.calls, IsEmpty());

    checker->setPickerShown(false);
    time.advance(20s);
    checker->setPickerShown(true);
    time.advance(20s);
    EXPECT_THAT(presenter.calls, IsEmpty());

    checker->setPickerShown(false);
    time.advance(30s);
    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0"));
    pass(2h);
    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerScheduleTests, JustAfterThePickerIsHiddenNoOfferAppears)
{
    checker->start();
    pass(10min);
    checker->setPickerShown(true);
    checker->setPickerShown(false);
    time.advance(1s);
    answerWithFeed();
    EXPECT_THAT(presenter.calls, IsEmpty());

    time.advance(29s);
    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0"));
}

TEST_F(UpdateCheckerScheduleTests, WhatThePickerDoesStartsNoCheckThatIsNotDue)
{
    checker->start();
    for (int turn = 0; turn < 5; ++turn) {
        checker->setPickerShown(true);
        checker->setPickerShown(false);
        checker->setPickerShown(false);
        time.advance(31s);
    }

    EXPECT_EQ(requestCount(), 0U);
    EXPECT_EQ(time.pendingCount(), 1U) << "only the next waking";
}

TEST_F(UpdateCheckerScheduleTests, APickerHiddenSoonAfterACheckBringsNoOther)
{
    checkOnSchedule();
    presenter.answer(UpdateAnswer::later);

    checker->setPickerShown(true);
    checker->setPickerShown(false);
    time.advance(31s);

    EXPECT_EQ(requestCount(), 1U);
}

TEST_F(UpdateCheckerScheduleTests, APickerThatWasHiddenAllAlongHoldsNothingUp)
{
    checker->start();
    pass(10min);

    checker->setPickerShown(false);
    answerWithFeed();

    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0"));
}

TEST_F(UpdateCheckerScheduleTests, WhoAsksMeanwhileIsAnsweredWithThePickerShownOrNot)
{
    checker->setPickerShown(true);
    checkOnRequest();

    EXPECT_THAT(presenter.calls, ElementsAre("checking", "offer 0.2.0"));
}

TEST_F(UpdateCheckerScheduleTests, ACheckUnderWayBecomesTheUsersWhoAsks)
{
    checker->start();
    pass(10min);

    checker->checkForUpdates();
    EXPECT_THAT(newCalls(), ElementsAre("checking"));
    checker->checkForUpdates();
    EXPECT_THAT(newCalls(), ElementsAre("raise"));
    EXPECT_EQ(requestCount(), 1U);

    offer("0.1.0");
    answerWithFeed();
    EXPECT_THAT(newCalls(), ElementsAre("up to date 0.1.0"));
}

TEST_F(UpdateCheckerScheduleTests, ACheckThatBecameTheUsersCanBeCancelled)
{
    checker->start();
    pass(10min);
    checker->checkForUpdates();

    presenter.cancel();

    EXPECT_TRUE(exchange().cancelled);
    EXPECT_THAT(newCalls(), ElementsAre("checking", "close"));
    pass(60min);
    EXPECT_EQ(requestCount(), 2U) << "the day's check is still to be made";
}

TEST_F(UpdateCheckerScheduleTests, AnOfferThatWaitsIsShownToWhoAsks)
{
    checker->start();
    pass(10min);
    checker->setPickerShown(true);
    answerWithFeed();

    checker->checkForUpdates();

    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0", "raise"));
    EXPECT_EQ(presenter.attention, Attention::asked);
    EXPECT_EQ(requestCount(), 1U);
    checker->setPickerShown(false);
    time.advance(31s);
    EXPECT_THAT(presenter.calls, ElementsAre("offer 0.2.0", "raise"));
}

TEST_F(UpdateCheckerScheduleTests, NoCheckBeginsDuringADownload)
{
    checkOnSchedule();
    presenter.answer(UpdateAnswer::download);

    pass(72h);

    EXPECT_EQ(requestCount(), 2U);
    EXPECT_EQ(exchange().request.url, enclosure().url);
}

} // namespace
} // namespace glimmerwick
