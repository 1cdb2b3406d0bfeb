#include "Contract/Eventually.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/WaylandClients.h"
#include "Contract/WaylandDevices.h"
#include "Contract/WaylandTestWindow.h"
#include "Platform/DBus/KWinKeyboardLayout.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandFakeInput.h"
#include "Platform/Wayland/WaylandProbeSurface.h"
#include "Platform/Wayland/WaylandWindows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

namespace glimmerwick::contract {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Field;

constexpr auto activationPatience = 2s;

/// The layouts of the desktop that these tests run in.
enum class Layout { us = 0, german = 1 };

/// Has the user choose a layout meanwhile.
class LayoutInUse {
public:
    explicit LayoutInUse(Layout layout) { choose(layout); }
    ~LayoutInUse() { choose(Layout::us); }
    LayoutInUse(const LayoutInUse&) = delete;
    LayoutInUse& operator=(const LayoutInUse&) = delete;

private:
    static void choose(Layout layout)
    {
        EXPECT_TRUE(outputOf("gdbus call --session --dest org.kde.keyboard --object-path /Layouts"
                             " --method org.kde.KeyboardLayouts.setLayout "
                             + std::to_string(static_cast<int>(layout))));
    }
};

class KWinTest : public ::testing::Test {
protected:
    std::optional<WaylandToplevel> inFront(const std::string& appId)
    {
        std::optional<WaylandToplevel> front;
        eventually([&] {
            front = windows.frontmost();
            return front && front->appId == appId;
        });
        return front && front->appId == appId ? front : std::nullopt;
    }

    bool activate(const std::string& appId)
    {
        const auto window = inFront(appId);
        return window && windows.activate(window->identifier, activationPatience);
    }

    /// Down and up, one after the other.
    void type(const std::string& characters)
    {
        for (const char character : characters) {
            const KeySymbols symbols{static_cast<unsigned char>(character)};
            ASSERT_TRUE(keyboard.canType(symbols.front())) << character;
            EXPECT_TRUE(keyboard.press(symbols));
            keyboard.release(symbols);
        }
    }

    SessionBus bus;
    KWinKeyboardLayout layout{bus};
    WaylandConnection connection{{}};
    WaylandWindows windows{connection};
    WaylandFakeInput keyboard{connection, [this] { return layout.inUse(); }};
};

TEST_F(KWinTest, showsThisProgramWhatItsDesktopFileAsksFor)
{
    const WaylandCapabilities capabilities = connection.capabilities();

    EXPECT_TRUE(capabilities.kwinFakeInput);
    EXPECT_TRUE(capabilities.plasmaWindowManagement);
    EXPECT_FALSE(capabilities.virtualKeyboard);
    EXPECT_FALSE(capabilities.foreignToplevel);
    EXPECT_TRUE(keyboard.isReady());
}

TEST_F(KWinTest, aProgramElsewhereThanItsDesktopFileSaysGetsNothing)
{
    const TemporaryFolder folder;
    const auto copy = folder.path() / "glimmerwick-wayland-hand";
    std::filesystem::copy_file(GLIMMERWICK_WAYLAND_HAND, copy);

    EXPECT_EQ(outputOf(copy.string() + " < /dev/null"), "there are no devices to be had\n");
}

TEST_F(KWinTest, keysAreFoundInTheLayoutInUse)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    const LayoutInUse german(Layout::german);

    type("yz");

    // The window names keys by their first layout.
    EXPECT_THAT(window.pressedKeys(), ElementsAre("z", "y"));
    EXPECT_TRUE(window.isIdle());
}

TEST_F(KWinTest, aSymbolThatTheLayoutLacksIsTypedWhereTheUsLayoutHasIt)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    const LayoutInUse german(Layout::german);

    // With the brackets' key's modifier in the German one.
    type("[");

    EXPECT_THAT(window.pressedKeys(), ElementsAre("bracketleft"));
    EXPECT_FALSE(keyboard.canType(XKB_KEY_Greek_alpha));
}

TEST_F(KWinTest, aKeyIsLetGoThoughTheLayoutHasChanged)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    EXPECT_TRUE(keyboard.press({XKB_KEY_y}));
    EXPECT_FALSE(window.isIdle());
    const LayoutInUse german(Layout::german);

    keyboard.release({XKB_KEY_y});

    EXPECT_TRUE(window.isIdle());
}

TEST_F(KWinTest, modifiersThatTheUserHoldsAreLetGoFirst)
{
    TestWindow window("org.example.Editor");
    ASSERT_TRUE(activate("org.example.Editor"));
    UserDevices hand(2560, 800);
    hand.pressKey("Shift_L");
    hand.pressKey("Alt_L");

    type("a");
    hand.releaseKey("Alt_L");
    hand.releaseKey("Shift_L");
    hand.typeKey("b");
    hand.pressKey("Shift_L");
    hand.typeKey("c");
    hand.releaseKey("Shift_L");

    EXPECT_THAT(window.pressedKeys(), ElementsAre("Shift_L", "Shift+Alt_L", "a", "b", "Shift_L", "Shift+c"));
    EXPECT_TRUE(window.isIdle());
}

TEST_F(KWinTest, aMinimizedWindowComesBack)
{
    TestWindow window("org.example.Editor");
    const auto described = inFront("org.example.Editor");
    ASSERT_TRUE(described);
    window.minimize();
    ASSERT_TRUE(eventually([&] { return !window.hasKeys() && !windows.frontmost(); }));

    EXPECT_TRUE(windows.activate(described->identifier, activationPatience));

    EXPECT_TRUE(window.hasKeys());
    EXPECT_EQ(windows.obstacle(), std::nullopt);
}

TEST_F(KWinTest, windowsHaveTitles)
{
    const TestWindow window("org.example.Editor");
    const auto described = inFront("org.example.Editor");

    ASSERT_TRUE(described);
    EXPECT_EQ(described->title, "test window");
    EXPECT_EQ(described->parent, 0U);
}

TEST_F(KWinTest, aDialogOfTheWindowMayHaveTheKeys)
{
    const TemporaryFolder folder;
    const auto sign = folder.path() / "open";
    const ForeignProgram program("env GDK_BACKEND=wayland /usr/bin/python3 " GLIMMERWICK_SOURCE_DIR
                                 "/Tests/Contract/dialog_program.py "
                                 + sign.string());
    ASSERT_TRUE(activate("org.example.WithDialog"));
    const auto parent = windows.frontmost();
    ASSERT_TRUE(parent);

    std::ofstream(sign).flush();

    std::optional<WaylandToplevel> front;
    ASSERT_TRUE(eventually([&] {
        front = windows.frontmost();
        return front && front->title == "dialog";
    }));
    EXPECT_EQ(front->parent, parent->identifier);
    EXPECT_EQ(windows.obstacle(), std::nullopt);
    const TestWindow other("org.example.Other");
    EXPECT_TRUE(
        eventually([&] { return windows.obstacle() == WaylandWindows::Obstacle::anotherWindowHasTheKeys; }));
}

TEST_F(KWinTest, thePanelIsNoWindow)
{
    std::unique_ptr<WaylandProbeSurface::Globals> globals;
    std::unique_ptr<WaylandProbeSurface> panel;
    connection.perform([&](WaylandDisplay& display) {
        globals = std::make_unique<WaylandProbeSurface::Globals>(display);
        panel =
            std::make_unique<WaylandProbeSurface>(*globals, nullptr, WaylandLayerSurface::Extent::freeArea);
        display.roundTrip();
        panel->show();
        display.roundTrip();
        EXPECT_TRUE(panel->isShown());
    });
    // Whatever came before it has been told of as well.
    const TestWindow later("org.example.Later");
    EXPECT_TRUE(inFront("org.example.Later"));

    EXPECT_THAT(windows.all(), ElementsAre(Field(&WaylandToplevel::appId, "org.example.Later")));

    connection.perform([&](WaylandDisplay&) { panel.reset(); });
}

struct Target {
    std::string name;
    /// Begins what is run with the file for the text, and one for a log.
    std::string command;
};

std::ostream& operator<<(std::ostream& stream, const Target& target)
{
    return stream << target.name;
}

class KWinTypingTest : public KWinTest, public ::testing::WithParamInterface<Target> {
protected:
    std::string typed() const
    {
        std::ifstream file(folder.path() / "text");
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    const TemporaryFolder folder;
};

TEST_P(KWinTypingTest, textArrivesInEitherLayout)
{
    const ForeignProgram program(GetParam().command + " \"" + (folder.path() / "text").string() + "\" \""
                                 + (folder.path() / "log").string() + '"');
    ASSERT_TRUE(activate(GetParam().name));

    type("lazy yaks; ");
    {
        const LayoutInUse german(Layout::german);
        type("zyklus-");
    }
    type("y");

    EXPECT_TRUE(eventually([&] { return typed() == "lazy yaks; zyklus-y"; })) << typed();
}

const std::string targets = GLIMMERWICK_SOURCE_DIR "/Tests/EndToEnd/";

INSTANTIATE_TEST_SUITE_P(
    Toolkits, KWinTypingTest,
    ::testing::Values(Target{"gtk-target",
                             "env GDK_BACKEND=wayland /usr/bin/python3 " + targets
                                 + "gtk_target.py gtk-target"},
                      Target{"qt-target", "env QT_QPA_PLATFORM=wayland " GLIMMERWICK_QT_TARGET " qt-target"}),
    [](const auto& parameter) { return parameter.param.name.substr(0, parameter.param.name.find('-')); });

} // namespace
} // namespace glimmerwick::contract
