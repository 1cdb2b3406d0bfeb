#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11Platform.h"

#include "Contract/SelectionClients.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/X11Clients.h"
#include "Platform/Clock.h"
#include "Platform/EventPoster.h"
#include "Platform/PanelHost.h"
#include "Platform/Pasteboard.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Workspace.h"
#include "Platform/X11/X11KeyMap.h"

#include <QRasterWindow>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace glimmerwick::contract {
namespace {

constexpr xcb_keysym_t symbolCapsLock = 0xffe5;
constexpr xcb_keysym_t symbolNumLock = 0xff7f;
constexpr xcb_keysym_t symbolInsert = 0xff63;
constexpr xcb_keysym_t symbolControl = 0xffe3;

// Positions, whatever the layout has put there.
constexpr xcb_keycode_t keyOfV = 55;
constexpr xcb_keycode_t keyOfDvoraksV = 60;
constexpr xcb_keycode_t keyOfCapsLock = 66;
constexpr xcb_keycode_t keyOfShift = 50;
constexpr xcb_keycode_t keyOfAltGr = 108;

/// Real time that can be intervened in whenever somebody waits.
class InterruptedClock : public Clock {
public:
    std::chrono::steady_clock::time_point now() override { return std::chrono::steady_clock::now(); }
    void sleep(std::chrono::nanoseconds duration) override
    {
        std::this_thread::sleep_for(duration);
        if (onSleep) {
            onSleep();
        }
    }

    std::function<void()> onSleep;
};

class X11PasteKeysTest : public ::testing::Test {
protected:
    ~X11PasteKeysTest() override
    {
        X11KeyMap::switchLocks(connection, XCB_MOD_MASK_SHIFT, X11KeyMap::Switch::off);
        connection.roundTrip();
        setLayout("us");
    }

    static void setLayout(const std::string& options)
    {
        ASSERT_EQ(std::system(("setxkbmap -option '' -layout " + options).c_str()), 0) << options;
    }

    /// After the layout has been set.
    void start()
    {
        std::ofstream(folder.path() / "chords") << "terminal Ctrl+Shift+V\nold-terminal Shift+Insert\n"
                                                << "settling Ctrl+V settle\n";
        devices.emplace();
        program.emplace();
        platform.emplace(mainQueue, clock, X11Platform::Options{{folder.path() / "chords"}});
    }

    /// Symbols without and with Shift, in two groups, then the third level of the first.
    void setSymbols(xcb_keycode_t key, const std::vector<xcb_keysym_t>& symbols)
    {
        ASSERT_TRUE(connection.succeeds(xcb_change_keyboard_mapping_checked(
            connection, 1, key, static_cast<std::uint8_t>(symbols.size()), symbols.data())));
    }

    void put(std::string_view text)
    {
        platform->pasteboard().clearContents();
        EXPECT_TRUE(platform->pasteboard().setString(text, pasteboardType::string));
    }

    /// What arrives at the program when a paste is pressed; nothing when no event can be made.
    std::optional<FocusedProgram::KeyPress> paste()
    {
        put("😀");
        return pasteWhatIsThere();
    }

    std::optional<FocusedProgram::KeyPress> pasteWhatIsThere()
    {
        const auto source = platform->eventPoster().makeSource();
        const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
        const auto up = source->makeKeyboardEvent(keyCode::v, KeyDirection::up);
        if (!down || !up) {
            return std::nullopt;
        }
        program->lastKeyPress();
        down->setFlags(eventFlag::command);
        down->post();
        up->setFlags(eventFlag::command);
        up->post();
        return program->lastKeyPress();
    }

    void expectPaste(xcb_keycode_t key, int modifiers)
    {
        const auto press = paste();
        ASSERT_TRUE(press);
        EXPECT_EQ(press->key, key);
        EXPECT_EQ(press->modifiers, modifiers);
    }

    X11Connection connection;
    /// The server answers about locks only whoever has read it.
    const std::unique_ptr<X11KeyMap> map = X11KeyMap::read(connection);
    const TemporaryFolder folder;
    QtMainQueue mainQueue;
    InterruptedClock clock;
    std::optional<Devices> devices;
    std::optional<FocusedProgram> program;
    std::optional<X11Platform> platform;
};

TEST_F(X11PasteKeysTest, theLetterIsTheOneOfTheLayoutInUse)
{
    setLayout("us,us -variant dvorak,");
    start();

    expectPaste(keyOfDvoraksV, XCB_MOD_MASK_CONTROL);
}

TEST_F(X11PasteKeysTest, aLayoutWithoutTheLetterHasItFromAnother)
{
    setLayout("ru,us");
    start();

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);
}

TEST_F(X11PasteKeysTest, aKeyboardWithoutTheLetterPastesWithShiftAndInsert)
{
    setLayout("ru");
    start();

    expectPaste(devices->key(symbolInsert), XCB_MOD_MASK_SHIFT);
}

// Control and such a key is another letter's shortcut.
TEST_F(X11PasteKeysTest, aLetterThatNeedsAModifierIsNotPressed)
{
    std::ofstream(folder.path() / "keymap") << R"keymap(xkb_keymap {
        xkb_keycodes { include "evdev+aliases(qwerty)" };
        xkb_types { include "complete" };
        xkb_compat { include "complete" };
        xkb_symbols {
            include "pc+us+inet(evdev)+level3(ralt_switch)"
            key <AB04> { type[Group1] = "FOUR_LEVEL", symbols[Group1] = [ w, W, v, V ] };
        };
    };)keymap";
    const std::string load =
        "xkbcomp -w 0 " + (folder.path() / "keymap").string() + " \"$DISPLAY\" 2>/dev/null";
    ASSERT_EQ(std::system(load.c_str()), 0);
    start();

    expectPaste(devices->key(symbolInsert), XCB_MOD_MASK_SHIFT);
}

TEST_F(X11PasteKeysTest, withoutTheKeysNoEventIsMade)
{
    setLayout("us");
    setSymbols(devices.emplace().key(symbolInsert), {0, 0});
    start();
    program->setClass("old-terminal");

    const auto source = platform->eventPoster().makeSource();
    EXPECT_FALSE(source->makeKeyboardEvent(keyCode::v, KeyDirection::down));

    program->setClass("editor");
    EXPECT_TRUE(source->makeKeyboardEvent(keyCode::v, KeyDirection::down));
}

TEST_F(X11PasteKeysTest, aHeldAltGrIsReleased)
{
    setLayout("de");
    start();
    devices->pressKey(keyOfAltGr);

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);

    devices->releaseKey(keyOfAltGr);
}

TEST_F(X11PasteKeysTest, aHeldShiftThatIsAlsoALockIsReleased)
{
    setLayout("us -option shift:both_capslock");
    start();
    devices->pressKey(keyOfShift);

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);

    devices->releaseKey(keyOfShift);
}

TEST_F(X11PasteKeysTest, controlIsPressedWhereTheLayoutHasIt)
{
    setLayout("us -option ctrl:swapcaps");
    start();
    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);

    // By name a Control, by what it does still a lock.
    platform.reset();
    setLayout("us");
    setSymbols(devices->key(symbolControl), {'x', 'X'});
    start();
    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);
}

TEST_F(X11PasteKeysTest, modifiersThatSwitchTheLayoutTogetherAreNotPressedTogether)
{
    setLayout("us,ru -option grp:lctrl_lshift_toggle");
    start();
    program->setClass("terminal");
    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_SHIFT);
    EXPECT_EQ(X11KeyMap::locks(connection).group, 0);

    // Either side does it here.
    platform.reset();
    setLayout("us,ru -option grp:ctrl_shift_toggle");
    start();
    program->setClass("terminal");
    expectPaste(devices->key(symbolInsert), XCB_MOD_MASK_SHIFT);
    EXPECT_EQ(X11KeyMap::locks(connection).group, 0);
}

TEST_F(X11PasteKeysTest, aLockedModifierIsOffForThePasteAlone)
{
    setLayout("us");
    start();
    X11KeyMap::switchLocks(connection, XCB_MOD_MASK_SHIFT, X11KeyMap::Switch::on);
    connection.roundTrip();

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);

    EXPECT_EQ(X11KeyMap::locks(connection).modifiers, XCB_MOD_MASK_SHIFT);
}

TEST_F(X11PasteKeysTest, capsAndNumLockStayOn)
{
    setLayout("us");
    start();
    devices->type({symbolCapsLock});
    devices->type({symbolNumLock});
    const int locks = X11KeyMap::locks(connection).modifiers;
    EXPECT_NE(locks & ~XCB_MOD_MASK_LOCK, 0);

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL | locks);

    EXPECT_EQ(X11KeyMap::locks(connection).modifiers, locks);
    devices->type({symbolCapsLock});
    devices->type({symbolNumLock});
}

TEST_F(X11PasteKeysTest, aLetterThatIsStillHeldIsWaitedFor)
{
    setLayout("us");
    start();
    devices->press('v');
    clock.onSleep = [&] {
        devices->release('v');
        clock.onSleep = nullptr;
    };

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);
}

TEST_F(X11PasteKeysTest, aLetterThatIsHeldForGoodIsDoneWithout)
{
    setLayout("us");
    start();
    devices->press('v');

    expectPaste(devices->key(symbolInsert), XCB_MOD_MASK_SHIFT);
}

TEST_F(X11PasteKeysTest, nothingIsPressedOnceAnotherProgramHasTheClipboard)
{
    setLayout("us");
    start();
    put("😀");
    const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "theirs"}}});

    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(pasteWhatIsThere());

    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "glimmerwick: nothing was typed: another program has taken the clipboard\n");
}

TEST_F(X11PasteKeysTest, aProgramThatIsLeftBeforeTheKeysGetsNoPaste)
{
    setLayout("us");
    start();
    program->setClass("settling");
    const auto application = platform->workspace().frontmostApplication();
    ASSERT_TRUE(application);
    ASSERT_TRUE(application->activate(ActivationOption::ignoringOtherApps));
    {
        const ForeignOwner owner("CLIPBOARD", {{"UTF8_STRING", {"UTF8_STRING", "the user's text"}}});
        ASSERT_EQ(platform->pasteboard().string(pasteboardType::string), "the user's text");
    }
    std::optional<FocusedProgram> another;
    clock.onSleep = [&] {
        if (!another) {
            another.emplace();
        }
    };

    EXPECT_FALSE(paste());
    ASSERT_TRUE(another);
    EXPECT_FALSE(another->lastKeyPress());

    // Nobody would be told of it before the paste were over.
    Requestor history;
    const auto ownedSince = [&] {
        return Requestor::numbers(*history.request("CLIPBOARD", "TIMESTAMP")).at(0);
    };
    const auto before = ownedSince();
    put("the user's text");
    EXPECT_NE(ownedSince(), before);
}

// Its grab would take the paste's letter.
TEST_F(X11PasteKeysTest, aLetterThatWasKeptBackIsFreeAgainWhileAnotherKeyIsHeld)
{
    setLayout("us");
    start();
    QRasterWindow panel;
    panel.setFlags(Qt::ToolTip | Qt::BypassWindowManagerHint);
    panel.show();
    const auto window = NativeWindow(panel.winId());
    platform->panelHost().panelDidShow(window);
    platform->panelHost().makePanelKey(window);
    devices->press('v');
    devices->press('x');
    platform->panelHost().panelWillHide(window);
    panel.hide();
    ASSERT_TRUE(program->hasFocus());

    devices->release('v');

    expectPaste(keyOfV, XCB_MOD_MASK_CONTROL);
}

} // namespace
} // namespace glimmerwick::contract
