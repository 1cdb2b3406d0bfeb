#include "Contract/Eventually.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/WaylandClients.h"
#include "Contract/WaylandDevices.h"
#include "Contract/WaylandKeyboards.h"
#include "Contract/WaylandTestWindow.h"
#include "Fakes/FakeServices.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/MainQueue.h"
#include "Platform/Qt/InjectedEventPoster.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandPasteSurroundings.h"
#include "Platform/Wayland/WaylandPasteboard.h"
#include "Platform/Wayland/WaylandWindows.h"
#include "Platform/Wayland/WaylandWorkspace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <sstream>
#include <string>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// For what nobody looks at here.
class ForgetfulQueue : public MainQueue {
public:
    void async(std::function<void()>) override { }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
};

PasteChords chords()
{
    PasteChords loaded;
    loaded.load(std::filesystem::path(GLIMMERWICK_SOURCE_DIR "/Resources/paste-chords.txt"));
    std::istringstream lines("org.example.Insert Shift+Insert settle");
    loaded.load(lines, "test");
    return loaded;
}

class WaylandPosterTest : public ::testing::Test {
protected:
    /// Down and up, as typing posts them. False when there is no event to post.
    bool press(std::uint16_t code, EventFlags flags)
    {
        const auto source = poster.makeSource();
        for (const KeyDirection direction : {KeyDirection::down, KeyDirection::up}) {
            const auto event = source->makeKeyboardEvent(code, direction);
            if (!event) {
                return false;
            }
            event->setFlags(flags);
            event->post();
        }
        return true;
    }

    bool paste() { return press(keyCode::v, eventFlag::command); }

    void put(const std::string& text)
    {
        pasteboard.clearContents();
        ASSERT_TRUE(pasteboard.setString(text, pasteboardType::string));
    }

    /// As typing does before the keys.
    bool activate(const std::string& identifier)
    {
        return eventually([&] {
            const auto application = workspace.frontmostApplication();
            return application && application->bundleIdentifier() == identifier
                && application->activate(ActivationOption::ignoringOtherApps);
        });
    }

    ForgetfulQueue mainQueue;
    fakes::FakeUserNotice userNotice;
    SteadyClock clock;
    WaylandConnection connection{{}};
    WaylandWindows windows{connection};
    WaylandWorkspace workspace{windows};
    WaylandPasteboard pasteboard{connection, mainQueue, userNotice, [] { return std::nullopt; }};
    WaylandPasteSurroundings surroundings{windows, pasteboard};
    const std::unique_ptr<InjectedKeyboard> keyboard = makeKeyboard(connection);
    InjectedEventPoster poster{*keyboard, surroundings, chords(), clock};
};

TEST_F(WaylandPosterTest, aPasteIsControlVWithExactlyThatModifier)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    put("😀");

    EXPECT_TRUE(paste());

    EXPECT_THAT(window.pressedKeys(), ElementsAre("Control_L", "Control+v"));
    EXPECT_TRUE(window.isIdle());
}

TEST_F(WaylandPosterTest, modifiersThatTheUserHoldsTakeNoPart)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    put("😀");
    UserDevices hand(1280, 800);
    hand.pressKey("Super_L");
    hand.pressKey("Shift_L");
    ASSERT_THAT(window.pressedKeys(), ElementsAre("Super_L", "Mod4+Shift_L"));

    EXPECT_TRUE(paste());

    EXPECT_THAT(window.pressedKeys(), ElementsAre("Super_L", "Mod4+Shift_L", "Control_L", "Control+v"));
    hand.releaseKey("Shift_L");
    hand.releaseKey("Super_L");
}

TEST_F(WaylandPosterTest, thePastesKeysAreTheApplications)
{
    TestWindow window("foot");
    ASSERT_TRUE(activate("foot"));
    put("😀");

    EXPECT_TRUE(paste());

    EXPECT_THAT(window.pressedKeys(), ElementsAre("Control_L", "Control+Shift_L", "Control+Shift+v"));
}

TEST_F(WaylandPosterTest, whereTheSelectedTextIsPastedItIsTheEmojiAsWell)
{
    SelectionPeer peer;
    peer.offer({{"UTF8_STRING", "selected"}}, WaylandSelection::primary);
    TestWindow window("org.example.Insert");
    ASSERT_TRUE(activate("org.example.Insert"));
    put("😀");

    EXPECT_TRUE(paste());

    EXPECT_THAT(window.pressedKeys(), ElementsAre("Shift_L", "Shift+Insert"));
    EXPECT_EQ(peer.read("UTF8_STRING", WaylandSelection::primary), "😀");
    EXPECT_EQ(peer.read(), "😀");
    EXPECT_TRUE(
        eventually([&] { return peer.read("UTF8_STRING", WaylandSelection::primary) == "selected"; }));
}

TEST_F(WaylandPosterTest, otherKeysComeWithTheirModifiers)
{
    constexpr std::uint16_t a = 0;
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));

    EXPECT_TRUE(press(a, 0));
    EXPECT_TRUE(press(keyCode::return_, eventFlag::option));
    EXPECT_TRUE(press(keyCode::leftArrow, eventFlag::control | eventFlag::shift));

    EXPECT_THAT(window.pressedKeys(),
                ElementsAre("a", "Alt_L", "Mod1+Return", "Super_L", "Mod4+Shift_L", "Shift+Mod4+Left"));
    EXPECT_TRUE(window.isIdle());
    EXPECT_FALSE(press(keyCode::unknown, 0));
}

TEST_F(WaylandPosterTest, keysGoUpWithWhatPressedThem)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    put("😀");
    auto source = poster.makeSource();
    auto event = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
    ASSERT_TRUE(event);
    event->setFlags(eventFlag::command);
    event->post();
    EXPECT_FALSE(window.isIdle());

    event.reset();
    source.reset();

    EXPECT_TRUE(window.isIdle());
}

TEST_F(WaylandPosterTest, nothingIsPressedInAnotherWindowThanTheOneActivated)
{
    const TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    put("😀");
    const auto source = poster.makeSource();
    const auto made = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
    ASSERT_TRUE(made);
    TestWindow other("org.example.Other");
    ASSERT_TRUE(eventually([&] { return other.hasKeys(); }));
    ASSERT_TRUE(eventually([&] { return windows.obstacle().has_value(); }));

    EXPECT_FALSE(paste());
    made->setFlags(eventFlag::command);
    made->post();

    EXPECT_THAT(other.pressedKeys(), IsEmpty());
}

TEST_F(WaylandPosterTest, nothingIsPressedWhenAnotherProgramHasTakenTheClipboard)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    put("😀");
    SelectionPeer peer;
    peer.offer({{"UTF8_STRING", "theirs"}});

    paste();

    EXPECT_THAT(window.pressedKeys(), IsEmpty());
}

TEST_F(WaylandPosterTest, theEmojiArrivesInATerminalAndTheUsersTextComesBack)
{
    const TemporaryFolder folder;
    const std::filesystem::path typed = folder.path() / "typed";
    SelectionPeer peer;
    peer.offer({{"UTF8_STRING", "the user's text"}});
    const ForeignProgram terminal("foot --app-id=foot sh -c 'stty raw -echo; echo > \"" + typed.string()
                                  + "\"; exec cat >> \"" + typed.string() + "\"'");
    ASSERT_TRUE(activate("foot"));
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(typed); }));
    const auto saved = pasteboard.string(pasteboardType::string);
    ASSERT_EQ(saved, "the user's text");
    put("👩🏽‍🚀");

    EXPECT_TRUE(paste());
    put(*saved);

    const auto content = [&] {
        std::ifstream file(typed);
        return std::string(std::istreambuf_iterator<char>(file), {});
    };
    EXPECT_TRUE(eventually([&] { return content().ends_with("👩🏽‍🚀"); })) << content();
    EXPECT_TRUE(eventually([&] { return peer.read("UTF8_STRING") == "the user's text"; }));
}

struct Toolkit {
    std::string name;
    /// Begins what is run with the file for the text, and one for a log.
    std::string command;
};

std::ostream& operator<<(std::ostream& stream, const Toolkit& toolkit)
{
    return stream << toolkit.name;
}

class WaylandTypingTest : public WaylandPosterTest, public ::testing::WithParamInterface<Toolkit> {
protected:
    /// As typing does it, with its waits, from the hiding of the panel to the text that is put back. Another
    /// window stands for the panel.
    void pick(const std::string& emoji, RunningApplication& panel, RunningApplication& application)
    {
        using namespace std::chrono_literals;
        ASSERT_TRUE(panel.activate(ActivationOption::ignoringOtherApps));
        ASSERT_TRUE(application.activate(ActivationOption::ignoringOtherApps));
        clock.sleep(50ms);
        ASSERT_TRUE(application.activate(ActivationOption::ignoringOtherApps));
        clock.sleep(20ms);
        const auto saved = pasteboard.string(pasteboardType::string);
        ASSERT_EQ(saved, "the user's text");
        put(emoji);
        const auto source = poster.makeSource();
        const auto down = source->makeKeyboardEvent(keyCode::v, KeyDirection::down);
        ASSERT_TRUE(down);
        down->setFlags(eventFlag::command);
        down->post();
        clock.sleep(10ms);
        const auto up = source->makeKeyboardEvent(keyCode::v, KeyDirection::up);
        ASSERT_TRUE(up);
        up->post();
        clock.sleep(100ms);
        put(*saved);
    }

    std::string textIn(const std::filesystem::path& path)
    {
        std::ifstream file(path);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
};

TEST_P(WaylandTypingTest, everyEmojiArrivesOnceAndInOrder)
{
    const TemporaryFolder folder;
    const auto file = folder.path() / "text";
    SelectionPeer peer;
    peer.offer({{"text/plain;charset=utf-8", "the user's text"}, {"UTF8_STRING", "the user's text"}});
    const TestWindow panelWindow("org.example.Panel");
    ASSERT_TRUE(activate("org.example.Panel"));
    const auto panel = workspace.frontmostApplication();
    const ForeignProgram program(GetParam().command + " \"" + file.string() + "\" \""
                                 + (folder.path() / "log").string() + '"');
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(file); }));
    std::shared_ptr<RunningApplication> application;
    ASSERT_TRUE(eventually([&] {
        application = workspace.frontmostApplication();
        return application && application->bundleIdentifier() != "org.example.Panel";
    }));

    std::string expected;
    for (const std::string emoji : {"😀", "👩🏽‍🚀", "🇩🇪", "1️⃣", "👍🏿", "❤️",
                                    "🏴󠁧󠁢󠁥󠁮󠁧󠁿", "🫶"}) {
        pick(emoji, *panel, *application);
        expected += emoji;
        ASSERT_TRUE(eventually([&] { return textIn(file) == expected; })) << textIn(file);
    }

    EXPECT_TRUE(eventually([&] { return peer.read() == "the user's text"; }));
    EXPECT_TRUE(userNotice.posted.empty());
}

const std::string targets = GLIMMERWICK_SOURCE_DIR "/Tests/EndToEnd/";
const std::string gtkTarget = "/usr/bin/python3 " + targets + "gtk_target.py gtk-target";
const std::string qtTarget = GLIMMERWICK_QT_TARGET " qt-target";
const std::string terminalTarget = "/usr/bin/python3 " + targets + "terminal_target.py";

INSTANTIATE_TEST_SUITE_P(Toolkits, WaylandTypingTest,
                         ::testing::Values(Toolkit{"gtk", "env GDK_BACKEND=wayland " + gtkTarget},
                                           Toolkit{"gtkUnderXWayland", "env GDK_BACKEND=x11 " + gtkTarget},
                                           Toolkit{"qt", "env QT_QPA_PLATFORM=wayland " + qtTarget},
                                           Toolkit{"qtUnderXWayland", "env QT_QPA_PLATFORM=xcb " + qtTarget},
                                           Toolkit{"foot", "foot " + terminalTarget},
                                           Toolkit{"xtermUnderXWayland", "xterm -e " + terminalTarget}),
                         [](const auto& parameter) { return parameter.param.name; });

} // namespace
} // namespace glimmerwick::contract
