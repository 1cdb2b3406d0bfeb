#include "KeyEventInterceptor.h"

#include "Fakes/FakeInput.h"
#include "Fakes/FakeTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using fakes::FakeEventTap;
using fakes::FakeTime;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr std::uint16_t keyA = 0;
constexpr std::uint16_t keyF5 = 96;

constexpr std::array specialKeys{keyCode::return_,    keyCode::tab,         keyCode::delete_,
                                 keyCode::escape,     keyCode::keypadEnter, keyCode::leftArrow,
                                 keyCode::rightArrow, keyCode::downArrow,   keyCode::upArrow};

/// Every combination of the four modifiers and Caps Lock.
std::vector<EventFlags> allModifierCombinations()
{
    constexpr std::array bits{eventFlag::capsLock, eventFlag::shift, eventFlag::control, eventFlag::option,
                              eventFlag::command};
    std::vector<EventFlags> combinations;
    for (unsigned combination = 0; combination < 32; ++combination) {
        EventFlags flags = 0;
        for (std::size_t bit = 0; bit < bits.size(); ++bit) {
            flags |= (combination >> bit & 1) ? bits[bit] : 0;
        }
        combinations.push_back(flags);
    }
    return combinations;
}

enum class Treatment { passed, swallowed, reported, text };

struct Row {
    std::vector<std::uint16_t> codes;
    std::array<Treatment, 8> treatments;
};

std::size_t column(EventFlags flags)
{
    return ((flags & eventFlag::option) != 0 ? 1U : 0U) + ((flags & eventFlag::command) != 0 ? 2U : 0U)
        + ((flags & eventFlag::control) != 0 ? 4U : 0U);
}

class KeyEventInterceptorTests : public testing::Test {
protected:
    KeyEventInterceptorTests() { listen(); }

    void listen()
    {
        interceptor->onCharacterInput = [this](const std::string& characters) {
            typed.push_back(characters);
        };
        interceptor->onSpecialKey = [this](std::uint16_t keyCode, EventFlags flags) {
            special.emplace_back(keyCode, flags);
        };
    }

    /// Presses a key and returns the decision after the reports have run.
    TapDecision press(std::uint16_t keyCode, EventFlags flags = 0, std::optional<std::string> characters = {})
    {
        const TapDecision decision = tap.press(keyCode, flags, std::move(characters));
        time.runUntilIdle();
        return decision;
    }

    /// What becomes of a press that types an a; one that is reported must be so with its code and flags.
    Treatment treatment(std::uint16_t code, EventFlags flags)
    {
        typed.clear();
        special.clear();
        const bool isPassed = press(code, flags, "a") == TapDecision::pass;
        EXPECT_LE(isPassed + typed.size() + special.size(), 1U);
        if (!special.empty()) {
            EXPECT_THAT(special, ElementsAre(Pair(code, flags)));
            return Treatment::reported;
        }
        if (!typed.empty()) {
            EXPECT_THAT(typed, ElementsAre("a"));
            return Treatment::text;
        }
        return isPassed ? Treatment::passed : Treatment::swallowed;
    }

    FakeEventTap tap;
    FakeTime time;
    std::unique_ptr<KeyEventInterceptor> interceptor = std::make_unique<KeyEventInterceptor>(tap, time);
    std::vector<std::string> typed;
    std::vector<std::pair<std::uint16_t, EventFlags>> special;
};

TEST_F(KeyEventInterceptorTests, APrintableKeyIsSwallowedAndReportedLaterFromTheMainQueue)
{
    ASSERT_TRUE(interceptor->start());

    const TapDecision decision = tap.press(keyA, 0, "a");

    EXPECT_EQ(decision, TapDecision::swallow);
    EXPECT_THAT(typed, IsEmpty());
    time.runUntilIdle();
    EXPECT_THAT(typed, ElementsAre("a"));
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, SpecialKeysAreReportedWithEveryModifierExceptDeleteWithCommandOrOption)
{
    ASSERT_TRUE(interceptor->start());

    for (const std::uint16_t code : specialKeys) {
        for (const EventFlags flags : allModifierCombinations()) {
            SCOPED_TRACE(testing::Message() << "key " << code << std::hex << " flags 0x" << flags);
            const bool passes =
                code == keyCode::delete_ && (flags & (eventFlag::command | eventFlag::option)) != 0;
            special.clear();

            const TapDecision decision = press(code, flags, "\r");

            if (passes) {
                EXPECT_EQ(decision, TapDecision::pass);
                EXPECT_THAT(special, IsEmpty());
            } else {
                EXPECT_EQ(decision, TapDecision::swallow);
                EXPECT_THAT(special, ElementsAre(Pair(code, flags)));
            }
        }
    }
    EXPECT_THAT(typed, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, EveryKeyOfTheTableIsTreatedAsItsRowSays)
{
    using enum Treatment;
    ASSERT_TRUE(interceptor->start());
    // By the modifiers that decide: none, Option, Command, both, then the same with Control.
    const std::array rows{
        Row{{keyA, keyCode::v, 18, 27, 65},
            {text, text, passed, passed, swallowed, swallowed, swallowed, swallowed}},
        Row{{keyCode::space}, {text, text, passed, passed, swallowed, swallowed, passed, passed}},
        Row{{keyCode::delete_}, {reported, passed, passed, passed, reported, passed, passed, passed}},
        Row{{keyCode::return_, keyCode::tab, keyCode::escape, keyCode::keypadEnter, keyCode::leftArrow,
             keyCode::rightArrow, keyCode::downArrow, keyCode::upArrow},
            {reported, reported, reported, reported, reported, reported, reported, reported}},
    };

    for (const Row& row : rows) {
        for (const std::uint16_t code : row.codes) {
            for (const EventFlags flags : allModifierCombinations()) {
                SCOPED_TRACE(testing::Message() << "key " << code << std::hex << " flags 0x" << flags);
                EXPECT_EQ(treatment(code, flags), row.treatments.at(column(flags)));
            }
        }
    }
}

TEST_F(KeyEventInterceptorTests, SpaceIsTextPassesWithCommandAndIsSwallowedWithControlAlone)
{
    ASSERT_TRUE(interceptor->start());

    for (const EventFlags flags : allModifierCombinations()) {
        SCOPED_TRACE(testing::Message() << std::hex << "flags 0x" << flags);
        const bool command = (flags & eventFlag::command) != 0;
        const bool control = (flags & eventFlag::control) != 0;
        typed.clear();

        const TapDecision decision = press(keyCode::space, flags, " ");

        EXPECT_EQ(decision, command ? TapDecision::pass : TapDecision::swallow);
        EXPECT_EQ(typed, command || control ? std::vector<std::string>() : std::vector<std::string>{" "});
    }
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, APrintableKeyIsTextUnlessCommandOrControlIsHeld)
{
    ASSERT_TRUE(interceptor->start());

    for (const EventFlags flags : allModifierCombinations()) {
        SCOPED_TRACE(testing::Message() << std::hex << "flags 0x" << flags);
        const bool command = (flags & eventFlag::command) != 0;
        const bool control = (flags & eventFlag::control) != 0;
        typed.clear();

        const TapDecision decision = press(keyCode::v, flags, "v");

        EXPECT_EQ(decision, command && !control ? TapDecision::pass : TapDecision::swallow);
        EXPECT_EQ(typed, command || control ? std::vector<std::string>() : std::vector<std::string>{"v"});
    }
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, CharactersAreReportedWhole)
{
    ASSERT_TRUE(interceptor->start());
    const std::vector<std::string> texts{"A", "7", "é", "ß", "漢字", "😀",  "!",
                                         "€", "+", "_", "¿", " ",    "a\n"};

    for (const std::string& text : texts) {
        EXPECT_EQ(press(keyA, eventFlag::shift | eventFlag::option, text), TapDecision::swallow);
    }

    EXPECT_EQ(typed, texts);
}

TEST_F(KeyEventInterceptorTests, KeysWithoutPrintableCharactersAreSwallowedUnreported)
{
    ASSERT_TRUE(interceptor->start());
    const std::vector<std::optional<std::string>> unprintable{
        std::nullopt, "", "\t", "\x1b", "\x7f", "\xEF\x9C\x84" /* U+F704 */, "\xC2\xA0", "\nA"};

    for (const auto& characters : unprintable) {
        EXPECT_EQ(press(keyF5, 0, characters), TapDecision::swallow);
    }

    EXPECT_THAT(typed, IsEmpty());
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, ReportsThatWaitWhenItStopsAreDropped)
{
    ASSERT_TRUE(interceptor->start());
    tap.press(keyA, 0, "a");
    tap.press(keyCode::return_);

    interceptor->stop();
    listen();
    time.runUntilIdle();

    EXPECT_THAT(typed, IsEmpty());
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, ReportsThatWaitWhenItIsDestroyedAreDropped)
{
    ASSERT_TRUE(interceptor->start());
    tap.press(keyA, 0, "a");
    tap.press(keyCode::return_);

    interceptor.reset();
    time.runUntilIdle();

    EXPECT_TRUE(tap.taps.empty());
    EXPECT_THAT(typed, IsEmpty());
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, StopRemovesTheTapAndBothCallbacks)
{
    ASSERT_TRUE(interceptor->start());
    const auto installed = tap.taps.front();

    interceptor->stop();

    EXPECT_FALSE(interceptor->isActive());
    EXPECT_TRUE(tap.taps.empty());
    EXPECT_FALSE(installed->enabled);
    EXPECT_FALSE(installed->hasSource);
    EXPECT_FALSE(interceptor->onCharacterInput);
    EXPECT_FALSE(interceptor->onSpecialKey);
}

TEST_F(KeyEventInterceptorTests, StopWhenInactiveKeepsTheCallbacks)
{
    interceptor->stop();

    EXPECT_TRUE(interceptor->onCharacterInput);
    EXPECT_TRUE(interceptor->onSpecialKey);
}

TEST_F(KeyEventInterceptorTests, ASecondStopChangesNothing)
{
    ASSERT_TRUE(interceptor->start());
    interceptor->stop();
    listen();

    interceptor->stop();

    EXPECT_FALSE(interceptor->isActive());
    EXPECT_TRUE(interceptor->onCharacterInput);
    EXPECT_TRUE(interceptor->onSpecialKey);
}

TEST_F(KeyEventInterceptorTests, StartsAgainAfterAStop)
{
    ASSERT_TRUE(interceptor->start());
    interceptor->stop();

    listen();
    ASSERT_TRUE(interceptor->start());
    press(keyA, 0, "a");

    EXPECT_THAT(typed, ElementsAre("a"));
}

TEST_F(KeyEventInterceptorTests, TheCallbacksMayStopIt)
{
    const auto calls = std::make_shared<std::vector<std::string>>();
    interceptor->onSpecialKey = [this, calls](std::uint16_t, EventFlags) {
        interceptor->stop();
        calls->push_back("special");
    };
    ASSERT_TRUE(interceptor->start());
    press(keyCode::escape);

    interceptor->onCharacterInput = [this, calls](const std::string& characters) {
        interceptor->stop();
        calls->push_back(characters);
    };
    ASSERT_TRUE(interceptor->start());
    press(keyA, 0, "a");

    EXPECT_THAT(*calls, ElementsAre("special", "a"));
    EXPECT_FALSE(interceptor->isActive());
}

TEST_F(KeyEventInterceptorTests, WithoutCallbacksKeysAreStillSwallowed)
{
    interceptor->onCharacterInput = nullptr;
    interceptor->onSpecialKey = nullptr;
    ASSERT_TRUE(interceptor->start());

    EXPECT_EQ(press(keyA, 0, "a"), TapDecision::swallow);
    EXPECT_EQ(press(keyCode::escape), TapDecision::swallow);
}

TEST_F(KeyEventInterceptorTests, AsksForEveryKeyPress)
{
    ASSERT_TRUE(interceptor->start());

    ASSERT_EQ(tap.taps.size(), 1u);
    EXPECT_FALSE(tap.taps.front()->options.only.has_value());
}

TEST_F(KeyEventInterceptorTests, ASecondStartMakesNoSecondTap)
{
    ASSERT_TRUE(interceptor->start());

    EXPECT_TRUE(interceptor->start());

    EXPECT_EQ(tap.createCount, 1);
}

TEST_F(KeyEventInterceptorTests, StartFailsWhenThePlatformRefusesTheTap)
{
    tap.refuses = true;

    EXPECT_FALSE(interceptor->start());

    EXPECT_FALSE(interceptor->isActive());
}

TEST_F(KeyEventInterceptorTests, StartFailsWithoutASourceAndLeavesNoTap)
{
    tap.refusesSources = true;

    EXPECT_FALSE(interceptor->start());

    EXPECT_FALSE(interceptor->isActive());
    EXPECT_TRUE(tap.taps.empty());
}

TEST_F(KeyEventInterceptorTests, ADisabledTapIsEnabledAgain)
{
    ASSERT_TRUE(interceptor->start());
    const auto installed = tap.taps.front();

    for (const EventType type : {EventType::tapDisabledByTimeout, EventType::tapDisabledByUserInput}) {
        installed->enabled = false;

        const KeyEvent event{type, 0, 0, std::nullopt};
        EXPECT_EQ(KeyEventInterceptor::keyEventInterceptorCallback(event, interceptor.get()),
                  TapDecision::pass);

        EXPECT_TRUE(installed->enabled);
    }
}

TEST_F(KeyEventInterceptorTests, ADisabledTapOfNobodyOrOfAStoppedInterceptorIsLeftAlone)
{
    const KeyEvent event{EventType::tapDisabledByTimeout, 0, 0, std::nullopt};

    EXPECT_EQ(KeyEventInterceptor::keyEventInterceptorCallback(event, nullptr), TapDecision::pass);
    EXPECT_EQ(KeyEventInterceptor::keyEventInterceptorCallback(event, interceptor.get()), TapDecision::pass);

    EXPECT_TRUE(tap.taps.empty());
}

TEST_F(KeyEventInterceptorTests, OtherEventTypesPass)
{
    ASSERT_TRUE(interceptor->start());

    for (const EventType type : {EventType::keyUp, EventType{0}, EventType{12}}) {
        EXPECT_EQ(tap.send(KeyEvent{type, keyCode::escape, 0, "a"}), TapDecision::pass);
    }
    time.runUntilIdle();

    EXPECT_THAT(typed, IsEmpty());
    EXPECT_THAT(special, IsEmpty());
}

TEST_F(KeyEventInterceptorTests, WithoutAnInterceptorEveryKeyPasses)
{
    for (const std::int64_t code : {std::int64_t{keyA}, std::int64_t{keyCode::escape}, std::int64_t{65536}}) {
        const KeyEvent event{EventType::keyDown, code, 0, "a"};
        EXPECT_EQ(KeyEventInterceptor::keyEventInterceptorCallback(event, nullptr), TapDecision::pass);
    }
}

TEST_F(KeyEventInterceptorTests, TheLargestKeyCodeIsAKeyLikeAnyOther)
{
    ASSERT_TRUE(interceptor->start());

    EXPECT_EQ(press(keyCode::unknown, 0, "a"), TapDecision::swallow);

    EXPECT_THAT(typed, ElementsAre("a"));
}

using KeyEventInterceptorDeathTests = KeyEventInterceptorTests;

TEST_F(KeyEventInterceptorDeathTests, AKeyCodeOutsideSixteenBitsIsFatal)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const std::int64_t code : {std::int64_t{-1}, std::int64_t{65536}}) {
        const KeyEvent event{EventType::keyDown, code, 0, "a"};
        EXPECT_DEATH(KeyEventInterceptor::keyEventInterceptorCallback(event, interceptor.get()),
                     "key code " + std::to_string(code) + " is not in");
    }
}

} // namespace
} // namespace glimmerwick
