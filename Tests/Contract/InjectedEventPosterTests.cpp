#include "Platform/Qt/InjectedEventPoster.h"

#include "Fakes/FakeTime.h"
#include "Platform/PasteSurroundings.h"
#include "Platform/Qt/XkbKeyCodes.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// What was done to the keyboard and the clipboard, in order.
using Steps = std::vector<std::string>;

std::string joined(const std::string& verb, const KeySymbols& symbols)
{
    std::ostringstream text;
    text << verb << std::hex;
    for (const auto symbol : symbols) {
        text << ' ' << symbol;
    }
    return text.str();
}

class FakeKeyboard : public InjectedKeyboard {
public:
    explicit FakeKeyboard(Steps& steps) : m_steps(steps) { }

    bool isReady() override { return ready; }
    bool canType(std::uint32_t symbol) override { return symbol != XKB_KEY_q; }
    bool press(const KeySymbols& symbols) override
    {
        m_steps.push_back(joined("press", symbols));
        return takesKeys;
    }
    void release(const KeySymbols& symbols) override { m_steps.push_back(joined("release", symbols)); }

    bool ready = true;
    bool takesKeys = true;

private:
    Steps& m_steps;
};

class FakeSurroundings : public PasteSurroundings {
public:
    explicit FakeSurroundings(Steps& steps) : m_steps(steps) { }

    std::optional<std::string> obstacle() override { return inTheWay; }
    std::string frontmostApplication() override { return application; }
    bool pasteWillBegin(PasteSelections selections) override
    {
        m_steps.push_back(selections == PasteSelections::clipboard ? "begin" : "begin with selected text");
        if (whileBeginning) {
            whileBeginning();
        }
        return ownsClipboard;
    }
    void pasteWasCancelled() override { m_steps.push_back("cancel"); }

    std::optional<std::string> inTheWay;
    std::string application = "editor";
    bool ownsClipboard = true;
    std::function<void()> whileBeginning;

private:
    Steps& m_steps;
};

PasteChords chords()
{
    PasteChords loaded;
    std::istringstream lines("old-terminal Shift+Insert\nterminal Ctrl+Shift+V\n");
    loaded.load(lines, "test");
    return loaded;
}

class InjectedEventPosterTests : public ::testing::Test {
protected:
    void post(std::uint16_t code, EventFlags flags)
    {
        const auto source = poster.makeSource();
        for (const KeyDirection direction : {KeyDirection::down, KeyDirection::up}) {
            if (const auto event = source->makeKeyboardEvent(code, direction)) {
                event->setFlags(flags);
                event->post();
            }
        }
    }
    void paste() { post(keyCode::v, eventFlag::command); }

    Steps steps;
    FakeKeyboard keyboard{steps};
    FakeSurroundings surroundings{steps};
    fakes::FakeTime clock;
    InjectedEventPoster poster{keyboard, surroundings, chords(), clock};
};

TEST_F(InjectedEventPosterTests, aPasteIsToldOfBeforeItsKeysArePressed)
{
    paste();

    EXPECT_THAT(steps, ElementsAre("begin", "press ffe3 76", "release ffe3 76"));
}

TEST_F(InjectedEventPosterTests, theKeysThatPasteAreTheApplications)
{
    surroundings.application = "terminal";
    paste();
    surroundings.application = "old-terminal";
    paste();

    EXPECT_THAT(steps,
                ElementsAre("begin", "press ffe3 ffe1 76", "release ffe3 ffe1 76", "begin with selected text",
                            "press ffe1 ff63", "release ffe1 ff63"));
}

TEST_F(InjectedEventPosterTests, aPasteWhoseKeysAreNotTakenIsCancelledAndLetGo)
{
    keyboard.takesKeys = false;

    paste();

    EXPECT_THAT(steps, ElementsAre("begin", "press ffe3 76", "release ffe3 76", "cancel"));
}

TEST_F(InjectedEventPosterTests, aPasteIsCancelledWhenSomethingGetsInItsWay)
{
    surroundings.whileBeginning = [this] { surroundings.inTheWay = "a test"; };

    paste();

    EXPECT_THAT(steps, ElementsAre("begin", "cancel"));
}

TEST_F(InjectedEventPosterTests, nothingIsPressedWithoutTheClipboard)
{
    surroundings.ownsClipboard = false;

    paste();

    EXPECT_THAT(steps, ElementsAre("begin"));
}

TEST_F(InjectedEventPosterTests, nothingIsPressedWhileSomethingIsInTheWay)
{
    surroundings.inTheWay = "a test";

    EXPECT_EQ(poster.makeSource()->makeKeyboardEvent(keyCode::v, KeyDirection::down), nullptr);
    paste();

    EXPECT_THAT(steps, IsEmpty());
}

TEST_F(InjectedEventPosterTests, otherKeysAreThoseOfAUsKeyboard)
{
    constexpr std::uint16_t backslash = 42;
    constexpr std::uint16_t q = 12;

    post(backslash, 0);
    post(keyCode::leftArrow, eventFlag::shift | eventFlag::option);
    post(q, 0);
    post(keyCode::unknown, 0);

    EXPECT_THAT(steps,
                ElementsAre("press 5c", "release 5c", "press ffe9 ffe1 ff51", "release ffe9 ffe1 ff51"));
}

TEST_F(InjectedEventPosterTests, keysThatNobodyReleasesAreReleasedWithTheirSource)
{
    auto source = poster.makeSource();
    auto event = source->makeKeyboardEvent(keyCode::space, KeyDirection::down);
    event->post();
    EXPECT_THAT(steps, ElementsAre("press 20"));

    event.reset();
    source.reset();

    EXPECT_THAT(steps, ElementsAre("press 20", "release 20"));
}

TEST_F(InjectedEventPosterTests, withoutAKeyboardThereIsNothingToMakeEventsFrom)
{
    keyboard.ready = false;

    EXPECT_EQ(poster.makeSource(), nullptr);
}

TEST(UsKeySymbolTests, everyCharactersKeyHasOne)
{
    constexpr std::uint16_t a = 0;
    constexpr std::uint16_t one = 18;
    constexpr std::uint16_t slash = 44;
    constexpr std::uint16_t f1 = 122;

    EXPECT_EQ(xkb::usKeySymbol(a), XKB_KEY_a);
    EXPECT_EQ(xkb::usKeySymbol(one), XKB_KEY_1);
    EXPECT_EQ(xkb::usKeySymbol(slash), XKB_KEY_slash);
    EXPECT_EQ(xkb::usKeySymbol(keyCode::v), XKB_KEY_v);
    EXPECT_EQ(xkb::usKeySymbol(keyCode::escape), XKB_KEY_Escape);
    EXPECT_EQ(xkb::usKeySymbol(f1), std::nullopt);
}

} // namespace
} // namespace glimmerwick::contract
