#include "HotkeyManager.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace glimmerwick {
namespace {

using fakes::FakeEventTap;
using fakes::FakeTime;

constexpr EventFlags hotkeyFlags = eventFlag::control | eventFlag::command;

class HotkeyManagerTests : public testing::Test {
protected:
    HotkeyManagerTests()
    {
        manager->onHotkeyTriggered = [this] { ++triggered; };
    }

    FakeEventTap tap;
    FakeTime time;
    std::unique_ptr<HotkeyManager> manager = std::make_unique<HotkeyManager>(tap, time);
    int triggered = 0;
};

TEST_F(HotkeyManagerTests, SwallowsTheShortcutAndReportsItLaterFromTheMainQueue)
{
    ASSERT_TRUE(manager->start());

    const TapDecision decision = tap.press(keyCode::space, hotkeyFlags);

    EXPECT_EQ(decision, TapDecision::swallow);
    EXPECT_EQ(triggered, 0);
    time.runUntilIdle();
    EXPECT_EQ(triggered, 1);
}

TEST_F(HotkeyManagerTests, DecidesByControlCommandShiftAndOptionAlone)
{
    ASSERT_TRUE(manager->start());

    for (const EventFlags ignored :
         {EventFlags{0}, eventFlag::capsLock, EventFlags{0x800000 | 0x200000 | 0x108}}) {
        for (unsigned combination = 0; combination < 16; ++combination) {
            const bool control = combination & 1;
            const bool command = combination & 2;
            const bool shift = combination & 4;
            const bool option = combination & 8;
            const EventFlags flags = ignored | (control ? eventFlag::control : 0)
                | (command ? eventFlag::command : 0) | (shift ? eventFlag::shift : 0)
                | (option ? eventFlag::option : 0);
            const bool isHotkey = control && command && !shift && !option;
            SCOPED_TRACE(testing::Message() << std::hex << "flags 0x" << flags);
            triggered = 0;

            EXPECT_EQ(tap.press(keyCode::space, flags), isHotkey ? TapDecision::swallow : TapDecision::pass);
            time.runUntilIdle();

            EXPECT_EQ(triggered, isHotkey ? 1 : 0);
        }
    }
}

TEST_F(HotkeyManagerTests, PassesEveryOtherKey)
{
    ASSERT_TRUE(manager->start());

    for (int code = 0; code < 128; ++code) {
        if (code != keyCode::space) {
            EXPECT_EQ(tap.press(static_cast<std::uint16_t>(code), hotkeyFlags), TapDecision::pass) << code;
        }
    }
    time.runUntilIdle();

    EXPECT_EQ(triggered, 0);
}

TEST_F(HotkeyManagerTests, AKeyCodeOutsideSixteenBitsIsNotSpace)
{
    const KeyEvent event{EventType::keyDown, 0x10000 + keyCode::space, hotkeyFlags, std::nullopt};

    EXPECT_EQ(HotkeyManager::hotkeyEventCallback(event, manager.get()), TapDecision::pass);
}

TEST_F(HotkeyManagerTests, EveryRepeatOfAHeldShortcutTriggers)
{
    ASSERT_TRUE(manager->start());

    for (int repeat = 0; repeat < 3; ++repeat) {
        tap.press(keyCode::space, hotkeyFlags);
    }
    time.runUntilIdle();

    EXPECT_EQ(triggered, 3);
}

TEST_F(HotkeyManagerTests, AsksThePlatformForTheOneCombination)
{
    ASSERT_TRUE(manager->start());

    ASSERT_EQ(tap.taps.size(), 1u);
    const auto& only = tap.taps.front()->options.only;
    ASSERT_TRUE(only.has_value());
    EXPECT_EQ(only->keyCode, keyCode::space);
    EXPECT_EQ(only->required, eventFlag::control | eventFlag::command);
    EXPECT_EQ(only->forbidden, eventFlag::shift | eventFlag::option);
}

TEST_F(HotkeyManagerTests, ASecondStartMakesNoSecondTap)
{
    ASSERT_TRUE(manager->start());

    EXPECT_TRUE(manager->start());

    EXPECT_EQ(tap.createCount, 1);
    EXPECT_TRUE(manager->isRunning());
}

TEST_F(HotkeyManagerTests, StartFailsWhenThePlatformRefusesTheTapAndCanBeTriedAgain)
{
    tap.refuses = true;

    EXPECT_FALSE(manager->start());
    EXPECT_FALSE(manager->isRunning());

    tap.refuses = false;
    EXPECT_TRUE(manager->start());
    EXPECT_TRUE(manager->isRunning());
}

TEST_F(HotkeyManagerTests, StartFailsWithoutASourceAndLeavesNoTap)
{
    tap.refusesSources = true;

    EXPECT_FALSE(manager->start());

    EXPECT_FALSE(manager->isRunning());
    EXPECT_TRUE(tap.taps.empty());
}

TEST_F(HotkeyManagerTests, StopRemovesTheTapAndKeepsTheCallback)
{
    ASSERT_TRUE(manager->start());
    const auto installed = tap.taps.front();

    manager->stop();

    EXPECT_FALSE(manager->isRunning());
    EXPECT_TRUE(tap.taps.empty());
    EXPECT_FALSE(installed->enabled);
    EXPECT_FALSE(installed->hasSource);
    EXPECT_EQ(tap.press(keyCode::space, hotkeyFlags), TapDecision::pass);

    ASSERT_TRUE(manager->start());
    tap.press(keyCode::space, hotkeyFlags);
    time.runUntilIdle();
    EXPECT_EQ(triggered, 1);
}

TEST_F(HotkeyManagerTests, StopWhenStoppedChangesNothing)
{
    manager->stop();

    EXPECT_FALSE(manager->isRunning());
    EXPECT_TRUE(manager->onHotkeyTriggered);
}

TEST_F(HotkeyManagerTests, DestructionRemovesTheTapAndDropsAScheduledTrigger)
{
    ASSERT_TRUE(manager->start());
    tap.press(keyCode::space, hotkeyFlags);

    manager.reset();

    EXPECT_TRUE(tap.taps.empty());
    time.runUntilIdle();
    EXPECT_EQ(triggered, 0);
}

TEST_F(HotkeyManagerTests, ATriggerThatIsScheduledSurvivesAStop)
{
    ASSERT_TRUE(manager->start());
    tap.press(keyCode::space, hotkeyFlags);

    manager->stop();
    time.runUntilIdle();

    EXPECT_EQ(triggered, 1);
}

TEST_F(HotkeyManagerTests, TheShortcutIsSwallowedWithoutACallback)
{
    manager->onHotkeyTriggered = nullptr;
    ASSERT_TRUE(manager->start());

    EXPECT_EQ(tap.press(keyCode::space, hotkeyFlags), TapDecision::swallow);
    time.runUntilIdle();
}

TEST_F(HotkeyManagerTests, TheCallbackMayReplaceItself)
{
    ASSERT_TRUE(manager->start());
    auto kept = std::make_shared<int>(0);
    manager->onHotkeyTriggered = [this, kept] {
        manager->onHotkeyTriggered = nullptr;
        ++*kept;
    };

    tap.press(keyCode::space, hotkeyFlags);
    tap.press(keyCode::space, hotkeyFlags);
    time.runUntilIdle();

    EXPECT_EQ(*kept, 1);
}

TEST_F(HotkeyManagerTests, ADisabledTapIsEnabledAgain)
{
    ASSERT_TRUE(manager->start());
    const auto installed = tap.taps.front();

    for (const EventType type : {EventType::tapDisabledByTimeout, EventType::tapDisabledByUserInput}) {
        const int before = installed->enableCount;
        installed->enabled = false;

        const KeyEvent event{type, keyCode::space, hotkeyFlags, std::nullopt};
        EXPECT_EQ(HotkeyManager::hotkeyEventCallback(event, manager.get()), TapDecision::pass);

        EXPECT_TRUE(installed->enabled);
        EXPECT_EQ(installed->enableCount, before + 1);
    }
}

TEST_F(HotkeyManagerTests, ADisabledTapOfNobodyOrOfAStoppedManagerIsLeftAlone)
{
    for (const EventType type : {EventType::tapDisabledByTimeout, EventType::tapDisabledByUserInput}) {
        const KeyEvent event{type, 0, 0, std::nullopt};

        EXPECT_EQ(HotkeyManager::hotkeyEventCallback(event, nullptr), TapDecision::pass);
        EXPECT_EQ(HotkeyManager::hotkeyEventCallback(event, manager.get()), TapDecision::pass);
    }
    EXPECT_TRUE(tap.taps.empty());
}

TEST_F(HotkeyManagerTests, OtherEventTypesPass)
{
    ASSERT_TRUE(manager->start());

    for (const EventType type : {EventType::keyUp, EventType{0}, EventType{12}}) {
        const KeyEvent event{type, keyCode::space, hotkeyFlags, std::nullopt};
        EXPECT_EQ(tap.send(event), TapDecision::pass);
    }
    time.runUntilIdle();

    EXPECT_EQ(triggered, 0);
}

TEST_F(HotkeyManagerTests, WithoutAManagerTheShortcutIsSwallowedAndNothingHappens)
{
    const KeyEvent shortcut{EventType::keyDown, keyCode::space, hotkeyFlags, std::nullopt};
    const KeyEvent other{EventType::keyDown, keyCode::space, eventFlag::command, std::nullopt};

    EXPECT_EQ(HotkeyManager::hotkeyEventCallback(shortcut, nullptr), TapDecision::swallow);
    EXPECT_EQ(HotkeyManager::hotkeyEventCallback(other, nullptr), TapDecision::pass);

    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST(HotkeyManagerSharedTests, SharedIsOneInstanceOnTheInstalledPlatform)
{
    fakes::FakePlatform fakes;
    const InstalledPlatform installed(fakes.platform);

    ASSERT_TRUE(HotkeyManager::shared().start());

    EXPECT_EQ(&HotkeyManager::shared(), &HotkeyManager::shared());
    EXPECT_EQ(fakes.eventTap.taps.size(), 1u);
}

} // namespace
} // namespace glimmerwick
