#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11Platform.h"

#include "Contract/Eventually.h"
#include "Platform/EventPoster.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/Pasteboard.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Workspace.h"
#include "Platform/X11/X11Keyboard.h"
#include "Platform/X11/X11Windows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::HasSubstr;

/// A program with windows, as its window manager and it itself describe them.
class Program {
public:
    enum class Kind { ordinary, popup };

    xcb_window_t open(Kind kind = Kind::ordinary) { return openIn(m_connection.root(), kind); }
    xcb_window_t openIn(xcb_window_t parent, Kind kind = Kind::popup)
    {
        const xcb_window_t window = xcb_generate_id(m_connection);
        const std::uint32_t isPopup = kind == Kind::popup ? 1 : 0;
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, window, parent, 0, 0, 100, 100, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT,
                          &isPopup);
        if (kind == Kind::ordinary) {
            set(window, "WM_STATE", m_connection.atom("WM_STATE"), {normalState, XCB_WINDOW_NONE});
            set(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, {m_connection.client()});
        }
        xcb_map_window(m_connection, window);
        m_connection.roundTrip();
        return window;
    }
    void close(xcb_window_t window)
    {
        xcb_destroy_window(m_connection, window);
        m_connection.roundTrip();
    }
    void iconify(xcb_window_t window)
    {
        xcb_unmap_window(m_connection, window);
        set(window, "WM_STATE", m_connection.atom("WM_STATE"), {iconicState, XCB_WINDOW_NONE});
    }
    void putInto(xcb_window_t frame, xcb_window_t window)
    {
        xcb_reparent_window(m_connection, window, frame, 0, 0);
        m_connection.roundTrip();
    }

    /// On the window, or on the root with 0.
    void set(xcb_window_t window, const std::string& property, xcb_atom_t type,
             const std::vector<std::uint32_t>& values)
    {
        xcb_change_property(
            m_connection, XCB_PROP_MODE_REPLACE, window == XCB_WINDOW_NONE ? m_connection.root() : window,
            m_connection.atom(property), type, 32, static_cast<std::uint32_t>(values.size()), values.data());
        m_connection.roundTrip();
    }
    void setTransientFor(xcb_window_t dialog, xcb_window_t owner)
    {
        set(dialog, "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, {owner});
    }
    void setActive(xcb_window_t window)
    {
        set(XCB_WINDOW_NONE, "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW, {window});
    }
    void focus(xcb_window_t window)
    {
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
        m_connection.roundTrip();
    }

    xcb_window_t root() const { return m_connection.root(); }
    xcb_atom_t atom(const std::string& name) { return m_connection.atom(name); }

private:
    static constexpr std::uint32_t normalState = 1;
    static constexpr std::uint32_t iconicState = 3;

    X11Connection m_connection;
};

class X11TypingTargetTest : public ::testing::Test {
protected:
    ~X11TypingTargetTest() override
    {
        xcb_delete_property(observer, observer.root(), observer.atom("_NET_ACTIVE_WINDOW"));
        xcb_set_input_focus(observer, XCB_INPUT_FOCUS_POINTER_ROOT, XCB_INPUT_FOCUS_POINTER_ROOT,
                            XCB_CURRENT_TIME);
        observer.roundTrip();
    }

    void activateTarget()
    {
        program.focus(target);
        const auto application = platform.workspace().frontmostApplication();
        ASSERT_TRUE(application);
        EXPECT_TRUE(application->activate(ActivationOption::ignoringOtherApps));
    }

    std::unique_ptr<KeyboardEvent> makeEvent()
    {
        source = platform.eventPoster().makeSource();
        platform.pasteboard().clearContents();
        platform.pasteboard().setString("😀", pasteboardType::string);
        auto event = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
        if (event) {
            event->setFlags(eventFlag::command);
        }
        return event;
    }

    /// Whether keys are really down after an attempt to paste. They come up again.
    bool pastes()
    {
        if (const auto event = makeEvent()) {
            event->post();
        }
        const bool hasPressed = keyboard.pressedKeys().any();
        source.reset();
        return hasPressed;
    }

    /// From now on; the window manager's part is the test's.
    void watchMessages()
    {
        const std::uint32_t watch = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(observer, observer.root(), XCB_CW_EVENT_MASK, &watch);
        observer.roundTrip();
    }
    /// The first value of the message; nothing when it does not come.
    std::optional<std::uint32_t> waitForMessage(const std::string& type)
    {
        std::optional<std::uint32_t> value;
        eventually([&] {
            while (const XcbEvent event = observer.pollEvent()) {
                const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
                if (eventType(*event) == XCB_CLIENT_MESSAGE && message.type == observer.atom(type)) {
                    value = message.data.data32[0];
                    return true;
                }
            }
            return false;
        });
        return value;
    }

    X11Connection observer;
    const X11Keyboard keyboard{observer};
    QtMainQueue mainQueue;
    SteadyClock clock;
    Program program;
    Program another;
    const xcb_window_t target = program.open();
    X11Platform platform{mainQueue, clock, {}};
    std::unique_ptr<EventSource> source;
};

TEST_F(X11TypingTargetTest, whereNothingWasActivatedThePasteGoesToWhatIsInFront)
{
    another.focus(another.open());

    EXPECT_TRUE(pastes());
}

TEST_F(X11TypingTargetTest, theActivatedWindowGetsThePaste)
{
    activateTarget();

    EXPECT_TRUE(pastes());
}

TEST_F(X11TypingTargetTest, nothingIsTypedWhenTheWindowIsGone)
{
    activateTarget();
    program.close(target);
    another.focus(another.open());

    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(makeEvent());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "glimmerwick: nothing was typed: the window to type into is gone\n");
}

TEST_F(X11TypingTargetTest, nothingIsTypedIntoALaterWindowWithTheSameNumber)
{
    program.focus(target);
    const auto application = platform.workspace().frontmostApplication();
    program.set(target, "_NET_WM_PID", XCB_ATOM_CARDINAL, {4711});

    EXPECT_FALSE(application->activate(ActivationOption::ignoringOtherApps));
    EXPECT_FALSE(makeEvent());
}

TEST_F(X11TypingTargetTest, nothingIsTypedIntoAnotherProgram)
{
    activateTarget();
    another.focus(another.open());

    ::testing::internal::CaptureStderr();
    EXPECT_FALSE(makeEvent());
    EXPECT_EQ(::testing::internal::GetCapturedStderr(),
              "glimmerwick: nothing was typed: another window has the keyboard\n");
}

TEST_F(X11TypingTargetTest, nothingIsTypedWhenAnotherProgramComesUpJustBefore)
{
    activateTarget();
    const auto event = makeEvent();
    ASSERT_TRUE(event);
    another.focus(another.open());

    ::testing::internal::CaptureStderr();
    event->post();

    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr("nothing was typed"));
    EXPECT_TRUE(keyboard.pressedKeys().none());
}

TEST_F(X11TypingTargetTest, nothingIsTypedIntoAnotherWindowOfTheProgram)
{
    activateTarget();
    const auto sibling = program.open();
    program.focus(sibling);
    EXPECT_FALSE(makeEvent());

    const auto itsDialog = program.open();
    program.setTransientFor(itsDialog, sibling);
    program.focus(itsDialog);
    EXPECT_FALSE(makeEvent());
}

TEST_F(X11TypingTargetTest, aDialogOfTheWindowGetsThePaste)
{
    activateTarget();
    const auto dialog = program.open();
    program.setTransientFor(dialog, target);
    program.focus(dialog);
    EXPECT_TRUE(pastes());

    const auto dialogOfDialog = program.open();
    program.setTransientFor(dialogOfDialog, dialog);
    program.focus(dialogOfDialog);
    EXPECT_TRUE(pastes());

    // Portals show the files to choose from in the name of another program.
    const auto foreignDialog = another.open();
    another.setTransientFor(foreignDialog, target);
    another.focus(foreignDialog);
    EXPECT_TRUE(pastes());
}

TEST_F(X11TypingTargetTest, aDialogOverNoWindowInParticularGetsThePaste)
{
    activateTarget();
    const auto ofTheGroup = program.open();
    program.setTransientFor(ofTheGroup, program.root());
    program.focus(ofTheGroup);
    EXPECT_TRUE(pastes());

    const auto marked = program.open();
    program.set(marked, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {program.atom("_NET_WM_WINDOW_TYPE_DIALOG")});
    program.focus(marked);
    EXPECT_TRUE(pastes());

    const auto foreign = another.open();
    another.setTransientFor(foreign, another.root());
    another.focus(foreign);
    EXPECT_FALSE(pastes());
}

TEST_F(X11TypingTargetTest, dialogsThatNameEachOtherDoNoHarm)
{
    activateTarget();
    const auto one = program.open();
    const auto two = program.open();
    program.setTransientFor(one, two);
    program.setTransientFor(two, one);
    program.focus(one);

    EXPECT_FALSE(pastes());
}

TEST_F(X11TypingTargetTest, aMenuOfTheProgramMayHaveTheFocus)
{
    activateTarget();
    program.focus(program.open(Program::Kind::popup));
    EXPECT_TRUE(pastes());

    another.focus(another.open(Program::Kind::popup));
    EXPECT_FALSE(pastes());
}

TEST_F(X11TypingTargetTest, whatIsInsideTheWindowAndAroundItMayHaveTheFocus)
{
    activateTarget();
    program.focus(program.openIn(target));
    EXPECT_TRUE(pastes());

    another.focus(another.openIn(target));
    EXPECT_TRUE(pastes());

    const auto frame = another.open(Program::Kind::popup);
    another.putInto(frame, target);
    another.focus(frame);
    EXPECT_TRUE(pastes());
}

TEST_F(X11TypingTargetTest, whereTheFocusIsNowhereTheWindowManagerTellsElseNobody)
{
    activateTarget();
    program.focus(XCB_INPUT_FOCUS_NONE);
    EXPECT_TRUE(pastes());

    another.setActive(another.open());
    EXPECT_FALSE(pastes());

    another.setActive(target);
    EXPECT_TRUE(pastes());
}

TEST_F(X11TypingTargetTest, theFocusCountsMoreThanWhatIsCalledActive)
{
    activateTarget();
    another.focus(another.open());
    another.setActive(target);

    EXPECT_FALSE(pastes());
}

TEST_F(X11TypingTargetTest, activationEndsWhenTheWindowIsGone)
{
    watchMessages();
    another.setActive(another.open());
    auto activation = std::async(std::launch::async, [this] {
        X11Connection connection;
        return X11Windows(connection).activate(target, 3 * patience);
    });
    EXPECT_TRUE(waitForMessage("_NET_ACTIVE_WINDOW"));
    program.close(target);

    ASSERT_EQ(activation.wait_for(patience), std::future_status::ready);
    EXPECT_FALSE(activation.get());
}

TEST_F(X11TypingTargetTest, activationEndsWhenADialogComesUpInstead)
{
    watchMessages();
    another.setActive(another.open());
    auto activation = std::async(std::launch::async, [this] {
        X11Connection connection;
        return X11Windows(connection).activate(target, 3 * patience);
    });
    EXPECT_TRUE(waitForMessage("_NET_ACTIVE_WINDOW"));
    const auto dialog = program.open();
    program.setTransientFor(dialog, target);
    program.setActive(dialog);

    ASSERT_EQ(activation.wait_for(patience), std::future_status::ready);
    EXPECT_FALSE(activation.get());
}

TEST_F(X11TypingTargetTest, activationGoesToTheDesktopOfTheWindowWhenTheWindowManagerDoesNot)
{
    watchMessages();
    program.set(target, "_NET_WM_DESKTOP", XCB_ATOM_CARDINAL, {2});
    another.set(XCB_WINDOW_NONE, "_NET_CURRENT_DESKTOP", XCB_ATOM_CARDINAL, {0});
    another.setActive(another.open());
    auto activation = std::async(std::launch::async, [this] {
        X11Connection connection;
        return X11Windows(connection).activate(target, 3 * patience);
    });

    // It obeys only what it is told on the way to the desktop.
    EXPECT_EQ(waitForMessage("_NET_CURRENT_DESKTOP"), 2U);
    EXPECT_TRUE(waitForMessage("_NET_ACTIVE_WINDOW"));
    program.focus(target);
    another.setActive(target);

    ASSERT_EQ(activation.wait_for(patience), std::future_status::ready);
    EXPECT_TRUE(activation.get());
    xcb_delete_property(observer, observer.root(), observer.atom("_NET_CURRENT_DESKTOP"));
}

TEST_F(X11TypingTargetTest, activationIsOfTheVeryWindow)
{
    program.focus(target);
    const auto application = platform.workspace().frontmostApplication();
    program.focus(program.open());

    EXPECT_TRUE(application->activate(ActivationOption::ignoringOtherApps));
    EXPECT_EQ(observer.focusWindow(), target);
}

TEST_F(X11TypingTargetTest, anIconifiedWindowComesBackWithoutHelpOfAWindowManager)
{
    program.focus(target);
    const auto application = platform.workspace().frontmostApplication();
    program.iconify(target);
    another.focus(another.open());

    EXPECT_TRUE(application->activate(ActivationOption::ignoringOtherApps));
    EXPECT_TRUE(pastes());
}

} // namespace
} // namespace glimmerwick::contract
