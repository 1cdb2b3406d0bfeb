#include "Platform/Qt/TerminationSignals.h"

#include "Contract/EventLoop.h"
#include "Platform/X11/X11DisplayLoss.h"

#include <QtGlobal>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

constexpr const char* displayLost = "glimmerwick: the connection to the X11 display is lost\n";

class TerminationSignalsTests : public ::testing::Test {
protected:
    int calls = 0;
    std::optional<TerminationSignals> terminationSignals{std::in_place, [this] { ++calls; }};
};

TEST_F(TerminationSignalsTests, allThatASessionSendsIsOneCallFromTheEventLoop)
{
    for (const int number : {SIGHUP, SIGTERM, SIGHUP, SIGINT, SIGHUP}) {
        std::raise(number);
    }
    EXPECT_EQ(calls, 0);

    EXPECT_TRUE(handleEventsUntil([&] { return calls > 0; }));

    std::raise(SIGHUP);
    QCoreApplication::processEvents();
    EXPECT_EQ(calls, 1);
}

TEST_F(TerminationSignalsTests, theSameSignalOnceMoreEndsTheProcess)
{
    for (const int number : {SIGTERM, SIGINT}) {
        const auto raiseTwice = [number] {
            std::raise(number);
            std::raise(number);
            std::_Exit(0);
        };
        EXPECT_EXIT(raiseTwice(), KilledBySignal(number), "");
    }
}

TEST_F(TerminationSignalsTests, signalsDoWhatTheyDidBeforeOnceItIsGone)
{
    terminationSignals.reset();

    EXPECT_EXIT((std::raise(SIGHUP), std::_Exit(0)), KilledBySignal(SIGHUP), "");
}

TEST_F(TerminationSignalsTests, aSignalThatWasIgnoredStaysSo)
{
    terminationSignals.reset();
    std::signal(SIGHUP, SIG_IGN);
    terminationSignals.emplace([this] { ++calls; });

    std::raise(SIGHUP);
    QCoreApplication::processEvents();

    EXPECT_EQ(calls, 0);
    terminationSignals.reset();
    EXPECT_EQ(std::signal(SIGHUP, SIG_DFL), SIG_IGN);
}

/// Only ever asked in processes of their own, which it ends.
class X11DisplayLossTests : public ::testing::Test {
protected:
    X11DisplayLossTests()
    {
        // A fork alone would inherit the locks of the session bus's thread, but not the thread.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    static void exitWhileItLives()
    {
        X11DisplayLoss displayLoss;
        const auto saving = displayLoss.saveBy([] { std::fputs("saved\n", stderr); });
        std::exit(7);
    }

    static void tellWhileItLives()
    {
        X11DisplayLoss displayLoss;
        const auto saving = displayLoss.saveBy([] { std::fputs("saved\n", stderr); });
        X11DisplayLoss::tell();
        std::_Exit(7);
    }

    static void hearTheToolkitsLastWords()
    {
        X11DisplayLoss displayLoss;
        const auto saving = displayLoss.saveBy([] { std::fputs("saved\n", stderr); });
        qWarning("The X11 connection broke (error 1). Did the X11 server die?");
        std::_Exit(7);
    }

    static void exitAfterwards()
    {
        {
            X11DisplayLoss displayLoss;
            const auto saving = displayLoss.saveBy([] { std::fputs("saved\n", stderr); });
        }
        std::exit(7);
    }
};

TEST_F(X11DisplayLossTests, theLossIsToldOnceEverythingIsSaved)
{
    const std::string savedAndTold = std::string("^saved\n") + displayLost + "$";

    EXPECT_EXIT(tellWhileItLives(), ExitedWithCode(EXIT_FAILURE), savedAndTold);
    EXPECT_EXIT(hearTheToolkitsLastWords(), ExitedWithCode(EXIT_FAILURE), savedAndTold);
}

TEST_F(X11DisplayLossTests, anExitForAnotherReasonSavesToo)
{
    EXPECT_EXIT(exitWhileItLives(), ExitedWithCode(EXIT_FAILURE), "^saved\n$");
}

TEST_F(X11DisplayLossTests, exitsAreLeftAloneOnceItIsGone)
{
    EXPECT_EXIT(exitAfterwards(), ExitedWithCode(7), "^$");
}

TEST_F(X11DisplayLossTests, withoutItALossIsToldAndNothingEnds)
{
    ::testing::internal::CaptureStderr();

    X11DisplayLoss::tell();

    EXPECT_EQ(::testing::internal::GetCapturedStderr(), displayLost);
}

TEST_F(X11DisplayLossTests, otherMessagesOfTheToolkitPass)
{
    static std::vector<std::string> messages;
    messages.clear();
    const auto earlier =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& message) {
            messages.push_back(message.toStdString());
        });
    {
        X11DisplayLoss displayLoss;
        qWarning("before the display is known");
        const auto saving = displayLoss.saveBy([] {});
        qWarning("while it is there");
    }
    qWarning("afterwards");
    qInstallMessageHandler(earlier);

    EXPECT_THAT(messages, ElementsAre("before the display is known", "while it is there", "afterwards"));
}

} // namespace
} // namespace glimmerwick::contract
