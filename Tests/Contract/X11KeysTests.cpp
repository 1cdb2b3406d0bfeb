#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11Platform.h"

#include "Contract/EventLoop.h"
#include "Contract/SelectionClients.h"
#include "Contract/X11Clients.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/EventMonitors.h"
#include "Platform/EventPoster.h"
#include "Platform/EventTap.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/PanelHost.h"
#include "Platform/Pasteboard.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/X11/X11Keyboard.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QRasterWindow>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr xcb_keysym_t symbolControl = 0xffe3;
constexpr xcb_keysym_t symbolSuper = 0xffeb;
constexpr xcb_keysym_t symbolShift = 0xffe1;
constexpr xcb_keysym_t symbolCapsLock = 0xffe5;
constexpr xcb_keysym_t symbolNumLock = 0xff7f;
constexpr xcb_keysym_t symbolAlt = 0xffe9;
constexpr xcb_keysym_t symbolTab = 0xff09;
constexpr xcb_keysym_t symbolSpace = ' ';

constexpr KeyCombination shortcut{keyCode::space, eventFlag::control | eventFlag::command,
                                  eventFlag::shift | eventFlag::option};

class Panel : public QRasterWindow {
public:
    Panel()
    {
        setFlags(Qt::ToolTip | Qt::BypassWindowManagerHint | Qt::FramelessWindowHint);
        setGeometry(400, 300, 320, 400);
    }

    NativeWindow identifier() const { return NativeWindow(winId()); }

    std::vector<std::string> texts;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        // Modifier keys come as well, and have none.
        if (!event->text().isEmpty()) {
            texts.push_back(event->text().toStdString());
        }
    }
};

class X11KeysTest : public ::testing::Test {
protected:
    ~X11KeysTest() override
    {
        if (panel.isVisible()) {
            platform.panelHost().panelWillHide(panel.identifier());
        }
    }

    void showPanel()
    {
        panel.show();
        platform.panelHost().panelDidShow(panel.identifier());
    }
    void hidePanel()
    {
        platform.panelHost().panelWillHide(panel.identifier());
        panel.hide();
    }

    struct Tap {
        std::unique_ptr<EventTapPort> port;
        std::unique_ptr<RunLoopSource> source;
    };
    Tap makeTap(EventTap::Options options, TapDecision decision, std::vector<KeyEvent>& record)
    {
        Tap tap;
        tap.port = platform.eventTap().create(options, [&record, decision](const KeyEvent& event) {
            record.push_back(event);
            return decision;
        });
        if (tap.port) {
            tap.source = tap.port->createRunLoopSource();
            tap.port->setEnabled(true);
        }
        return tap;
    }

    /// Without it there is nothing to paste.
    void putEmoji()
    {
        platform.pasteboard().clearContents();
        EXPECT_TRUE(platform.pasteboard().setString("😀", pasteboardType::string));
    }

    /// Handles events until what is on its way has arrived.
    void settle()
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
        handleEventsUntil([end] { return std::chrono::steady_clock::now() >= end; });
    }

    QtMainQueue mainQueue;
    SteadyClock clock;
    Devices devices;
    FocusedProgram program;
    X11Platform platform{mainQueue, clock, {}};
    Panel panel;
    std::vector<KeyEvent> seen;
};

TEST_F(X11KeysTest, theDisplayIsOneToWorkOn)
{
    EXPECT_TRUE(X11Platform::isAvailable());
    EXPECT_TRUE(platform.accessibilityTrust().isTrusted());
}

TEST_F(X11KeysTest, theShortcutIsSwallowedEverywhereAndReportedEachTime)
{
    const Tap tap = makeTap({shortcut}, TapDecision::swallow, seen);
    ASSERT_TRUE(tap.port);

    devices.type({symbolControl, symbolSuper, symbolSpace});
    devices.type({symbolControl, symbolSuper, symbolSpace});

    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 2; }));
    EXPECT_EQ(seen[0].keyCode, keyCode::space);
    EXPECT_EQ(seen[0].flags, eventFlag::control | eventFlag::command);
    EXPECT_THAT(program.received(), Not(Contains("key " + std::to_string(devices.key(symbolSpace)))));
}

TEST_F(X11KeysTest, theShortcutWorksWhateverIsLocked)
{
    const Tap tap = makeTap({shortcut}, TapDecision::swallow, seen);

    std::size_t count = 0;
    for (const xcb_keysym_t lock : {symbolCapsLock, symbolNumLock, symbolCapsLock, symbolNumLock}) {
        devices.type({lock});
        devices.type({symbolControl, symbolSuper, symbolSpace});
        ++count;
        EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == count; })) << lock;
    }
}

TEST_F(X11KeysTest, otherCombinationsOfTheKeyReachTheProgramInUse)
{
    const Tap tap = makeTap({shortcut}, TapDecision::swallow, seen);

    devices.type({symbolControl, symbolSuper, symbolShift, symbolSpace});
    devices.type({symbolControl, symbolSpace});
    devices.type({symbolSuper, symbolSpace});
    devices.type({symbolSpace});
    settle();

    EXPECT_THAT(seen, IsEmpty());
    EXPECT_EQ(std::ranges::count(program.received(), "key " + std::to_string(devices.key(symbolSpace))), 4);
}

TEST_F(X11KeysTest, aShortcutThatAnotherProgramHasTakenIsRefusedAsAWhole)
{
    {
        X11Connection other;
        X11Keyboard keyboard(other);
        ASSERT_TRUE(other.succeeds(xcb_grab_key_checked(
            other, 0, other.root(), *keyboard.modifierMask(shortcut.required) | XCB_MOD_MASK_LOCK,
            devices.key(symbolSpace), XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));

        EXPECT_FALSE(makeTap({shortcut}, TapDecision::swallow, seen).port);

        devices.type({symbolControl, symbolSuper, symbolSpace});
        EXPECT_THAT(program.received(), Contains("key " + std::to_string(devices.key(symbolSpace))));
    }
    EXPECT_TRUE(eventually([&] { return makeTap({shortcut}, TapDecision::swallow, seen).port != nullptr; }));
}

TEST_F(X11KeysTest, aShortcutIsFreeAgainOnceItsTapIsGone)
{
    makeTap({shortcut}, TapDecision::swallow, seen);

    devices.type({symbolControl, symbolSuper, symbolSpace});
    settle();

    EXPECT_THAT(seen, IsEmpty());
    EXPECT_THAT(program.received(), Contains("key " + std::to_string(devices.key(symbolSpace))));
}

TEST_F(X11KeysTest, aTapForEveryKeyTakesThemFromTheProgramInUseWithoutItsNoticing)
{
    showPanel();
    Tap tap = makeTap({}, TapDecision::swallow, seen);

    devices.type({'a'});
    devices.type({symbolShift, 'b'});
    ASSERT_TRUE(handleEventsUntil([&] { return seen.size() == 2; }));

    EXPECT_EQ(seen[0].characters, "a");
    EXPECT_EQ(seen[1].characters, "B");
    EXPECT_EQ(seen[1].flags, eventFlag::shift);
    EXPECT_TRUE(handleEventsUntil([&] { return QGuiApplication::focusWindow() == &panel; }));
    EXPECT_THAT(panel.texts, IsEmpty());
    // The server tells of a grab on the window that has the focus as a loss and a gain at once, which the
    // toolkits pass over.
    EXPECT_THAT(program.received(), AnyOf(IsEmpty(), ElementsAre("focus out", "focus in")));
    EXPECT_TRUE(program.hasFocus());

    tap = {};
    hidePanel();
    program.received();
    devices.type({'c'});

    EXPECT_THAT(program.received(), ElementsAre("key " + std::to_string(devices.key('c'))));
    EXPECT_TRUE(handleEventsUntil([&] { return QGuiApplication::focusWindow() == nullptr; }));
    EXPECT_EQ(seen.size(), 2U);
}

TEST_F(X11KeysTest, aPasteTakesTheKeyboardFromAShownPanelForItsOwnKeysAlone)
{
    putEmoji();
    showPanel();
    const Tap tap = makeTap({}, TapDecision::swallow, seen);
    const auto source = platform.eventPoster().makeSource();
    const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
    const auto up = source->makeKeyboardEvent(keyCode::v, KeyDirection::up);
    down->setFlags(eventFlag::command);
    up->setFlags(eventFlag::command);
    program.received();

    down->post();
    up->post();
    devices.type({'a'});

    EXPECT_TRUE(handleEventsUntil([&] { return !seen.empty(); }));
    EXPECT_EQ(seen.at(0).characters, "a");
    const auto received = program.received();
    EXPECT_THAT(received, Contains("key " + std::to_string(devices.key('v'))));
    EXPECT_THAT(received, Not(Contains("key " + std::to_string(devices.key('a')))));
}

TEST_F(X11KeysTest, aPanelThatHasTheKeyboardNeedsNoFocus)
{
    showPanel();
    const Tap tap = makeTap({}, TapDecision::swallow, seen);

    platform.panelHost().makePanelKey(panel.identifier());

    EXPECT_TRUE(program.hasFocus());
    devices.type({'a'});
    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 1; }));
}

TEST_F(X11KeysTest, whatTheTapPassesGoesToTheShortcutAndThenToThePanel)
{
    std::vector<KeyEvent> seenByShortcut;
    const Tap shortcutTap = makeTap({shortcut}, TapDecision::swallow, seenByShortcut);
    showPanel();
    const Tap tap = makeTap({}, TapDecision::pass, seen);

    devices.type({symbolControl, symbolSuper, symbolSpace});
    devices.type({'a'});

    EXPECT_TRUE(handleEventsUntil([&] { return panel.texts.size() == 1; }));
    EXPECT_EQ(seen.size(), 2U);
    EXPECT_EQ(seenByShortcut.size(), 1U);
    EXPECT_THAT(panel.texts, ElementsAre("a"));
    EXPECT_THAT(program.received(), Not(Contains("key " + std::to_string(devices.key('a')))));
}

TEST_F(X11KeysTest, theKeyboardIsTakenAsSoonAsAnotherProgramLetsGoOfIt)
{
    X11Connection menu;
    const auto grab = menu.answer(
        xcb_grab_keyboard_reply,
        xcb_grab_keyboard(menu, 0, menu.root(), XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    ASSERT_TRUE(grab && grab->status == XCB_GRAB_STATUS_SUCCESS);
    showPanel();
    const Tap tap = makeTap({}, TapDecision::swallow, seen);

    xcb_ungrab_keyboard(menu, XCB_CURRENT_TIME);
    menu.roundTrip();

    EXPECT_TRUE(handleEventsUntil([&] { return QGuiApplication::focusWindow() == &panel; }));
    devices.type({'a'});
    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 1; }));
}

TEST_F(X11KeysTest, theKeyboardStaysWithThePanelWhenTheFocusMoves)
{
    showPanel();
    const Tap tap = makeTap({}, TapDecision::swallow, seen);
    auto closing = std::make_unique<FocusedProgram>();
    settle();

    devices.type({'a'});
    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 1; }));
    EXPECT_THAT(closing->received(), Not(Contains("key " + std::to_string(devices.key('a')))));

    closing.reset();
    settle();
    devices.type({'b'});
    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 2; }));
}

TEST_F(X11KeysTest, switchingWindowsIsLeftToTheWindowManager)
{
    showPanel();
    const Tap tap = makeTap({}, TapDecision::swallow, seen);
    ASSERT_TRUE(handleEventsUntil([&] { return QGuiApplication::focusWindow() == &panel; }));
    program.received();

    devices.press(symbolAlt);
    devices.press(symbolTab);
    const std::string tab = "key " + std::to_string(devices.key(symbolTab));
    EXPECT_TRUE(handleEventsUntil([&] { return std::ranges::count(program.received(), tab) == 1; }));
    devices.release(symbolTab);
    devices.release(symbolAlt);

    // The keyboard comes back once the user has let go of Alt.
    EXPECT_TRUE(handleEventsUntil([&] {
        devices.type({'a'});
        return !seen.empty();
    }));
    EXPECT_EQ(seen[0].characters, "a");
}

TEST_F(X11KeysTest, aKeyThatIsHeldWhileThePanelHidesIsKeptBackUntilItIsUp)
{
    const auto isFree = [&] {
        X11Connection other;
        return other.succeeds(xcb_grab_key_checked(other, 0, program.window(), XCB_MOD_MASK_ANY,
                                                   devices.key('x'), XCB_GRAB_MODE_ASYNC,
                                                   XCB_GRAB_MODE_ASYNC));
    };
    showPanel();
    Tap tap = makeTap({}, TapDecision::swallow, seen);
    devices.press('x');
    ASSERT_TRUE(handleEventsUntil([&] {
        return std::ranges::any_of(seen, [](const KeyEvent& event) { return event.characters == "x"; });
    }));

    tap = {};
    hidePanel();

    EXPECT_FALSE(isFree());
    devices.release('x');
    EXPECT_TRUE(handleEventsUntil(isFree));
}

TEST_F(X11KeysTest, withoutATapThePanelCanHaveTheFocusAndGivesItBack)
{
    const auto local = platform.eventMonitors().addLocalKeyDownMonitor([&](const KeyEvent& event) {
        seen.push_back(event);
        return MonitorDecision::consume;
    });
    std::vector<KeyEvent> seenElsewhere;
    const auto global = platform.eventMonitors().addGlobalKeyDownMonitor(
        [&](const KeyEvent& event) { seenElsewhere.push_back(event); });
    showPanel();
    platform.panelHost().makePanelKey(panel.identifier());

    devices.type({'a'});

    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 1; }));
    hidePanel();
    EXPECT_TRUE(program.hasFocus());
    EXPECT_THAT(panel.texts, IsEmpty());
    EXPECT_THAT(seenElsewhere, IsEmpty());
}

TEST_F(X11KeysTest, theGlobalMonitorSeesKeysOfOtherProgramsAndTakesNone)
{
    const auto global = platform.eventMonitors().addGlobalKeyDownMonitor(
        [&](const KeyEvent& event) { seen.push_back(event); });

    devices.press(symbolShift);
    devices.press('a');
    EXPECT_TRUE(handleEventsUntil([&] { return seen.size() == 1; }));
    devices.release('a');
    devices.release(symbolShift);

    EXPECT_EQ(seen[0].keyCode, 0);
    EXPECT_EQ(seen[0].flags, eventFlag::shift);
    EXPECT_EQ(seen[0].characters, "A");
    EXPECT_THAT(program.received(), Contains("key " + std::to_string(devices.key('a'))));
}

TEST_F(X11KeysTest, theGlobalMonitorTellsOfClicksOutsideOwnWindows)
{
    panel.show();
    ASSERT_TRUE(handleEventsUntil([&] { return panel.isExposed(); }));
    int count = 0;
    auto registration = platform.eventMonitors().addGlobalMouseDownMonitor([&] { ++count; });

    devices.click(410, 310, 1);
    settle();
    devices.click(10, 10, 2);
    settle();
    EXPECT_EQ(count, 0);

    devices.click(10, 10, 1);
    EXPECT_TRUE(handleEventsUntil([&] { return count == 1; }));
    devices.click(10, 10, 3);
    EXPECT_TRUE(handleEventsUntil([&] { return count == 2; }));

    registration.reset();
    devices.click(10, 10, 1);
    settle();
    EXPECT_EQ(count, 2);
}

TEST_F(X11KeysTest, aPasteIsPressedWithItsOwnModifiersAlone)
{
    putEmoji();
    devices.press(symbolShift);
    program.received();
    const auto source = platform.eventPoster().makeSource();
    ASSERT_TRUE(source);
    const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
    const auto up = source->makeKeyboardEvent(keyCode::v, KeyDirection::up);
    ASSERT_TRUE(down && up);

    down->setFlags(eventFlag::command);
    down->post();
    X11Connection observer;
    X11Keyboard keyboard(observer);
    const auto whileDown = keyboard.pressedKeys();
    up->setFlags(eventFlag::command);
    up->post();

    EXPECT_TRUE(whileDown.test(devices.key(symbolControl)));
    EXPECT_TRUE(whileDown.test(devices.key('v')));
    EXPECT_FALSE(whileDown.test(devices.key(symbolShift)));
    EXPECT_TRUE(keyboard.pressedKeys().none());
    EXPECT_THAT(program.received(),
                ElementsAre("key " + std::to_string(devices.key(symbolControl)),
                            "key " + std::to_string(devices.key('v'))));
}

TEST_F(X11KeysTest, nothingStaysPressedWhenAPasteIsAbandoned)
{
    putEmoji();
    X11Connection observer;
    const X11Keyboard keyboard(observer);
    {
        const auto source = platform.eventPoster().makeSource();
        const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
        down->setFlags(eventFlag::command);
        down->post();
        ASSERT_TRUE(keyboard.pressedKeys().any());
    }

    EXPECT_TRUE(keyboard.pressedKeys().none());
}

TEST_F(X11KeysTest, thePasteTargetGetsWhatTheClipboardHeldAtTheChord)
{
    // The window with the focus and the one that asks for the clipboard belong to one client, as in any
    // program.
    Requestor target;
    X11Connection setter;
    xcb_map_window(setter, target.window());
    xcb_set_input_focus(setter, XCB_INPUT_FOCUS_PARENT, target.window(), XCB_CURRENT_TIME);
    setter.roundTrip();
    putEmoji();

    const auto source = platform.eventPoster().makeSource();
    const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
    down->setFlags(eventFlag::command);
    down->post();
    platform.pasteboard().clearContents();
    platform.pasteboard().setString("the user's text", pasteboardType::string);

    Requestor another;
    EXPECT_EQ(another.request("CLIPBOARD", "UTF8_STRING")->bytes, "the user's text");
    EXPECT_EQ(target.request("CLIPBOARD", "UTF8_STRING")->bytes, "😀");
}

} // namespace
} // namespace glimmerwick::contract
