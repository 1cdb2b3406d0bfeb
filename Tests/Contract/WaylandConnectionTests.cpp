#include "Platform/Wayland/WaylandConnection.h"

#include "Contract/Eventually.h"
#include "Contract/TestCompositor.h"
#include "Fakes/FakeServices.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/MainQueue.h"
#include "Platform/Qt/InjectedEventPoster.h"
#include "Platform/Wayland/WaylandInjectedKeyboard.h"
#include "Platform/Wayland/WaylandPasteSurroundings.h"
#include "Platform/Wayland/WaylandPasteboard.h"
#include "Platform/Wayland/WaylandWindows.h"
#include "Platform/Wayland/WaylandWorkspace.h"

#include <wlr-data-control-unstable-v1.h>
#include <wlr-foreign-toplevel-management-unstable-v1.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

using DataControl = WaylandCapabilities::DataControl;

/// For what nobody looks at here.
class ForgetfulQueue : public MainQueue {
public:
    void async(std::function<void()>) override { }
    Registration asyncAfter(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
    Registration every(std::chrono::nanoseconds, std::function<void()>) override { return {}; }
};

TEST(WaylandCapabilitiesTest, nothingAnnouncedIsNothingThere)
{
    EXPECT_EQ(WaylandCapabilities::of({}), WaylandCapabilities());
}

TEST(WaylandCapabilitiesTest, whatIsAnnouncedIsThere)
{
    const auto capabilities = WaylandCapabilities::of({{"wl_seat", 7},
                                                       {"zwlr_layer_shell_v1", 4},
                                                       {"zwp_virtual_keyboard_manager_v1", 1},
                                                       {"zwlr_foreign_toplevel_manager_v1", 3},
                                                       {"org_kde_plasma_window_management", 16},
                                                       {"org_kde_kwin_fake_input", 4}});

    EXPECT_TRUE(capabilities.seat);
    EXPECT_TRUE(capabilities.layerShell);
    EXPECT_TRUE(capabilities.virtualKeyboard);
    EXPECT_TRUE(capabilities.foreignToplevel);
    EXPECT_TRUE(capabilities.plasmaWindowManagement);
    EXPECT_TRUE(capabilities.kwinFakeInput);
    EXPECT_EQ(capabilities.dataControl, DataControl::none);
    EXPECT_FALSE(capabilities.controlsPrimarySelection());
}

TEST(WaylandCapabilitiesTest, theNewerDataControlIsPreferred)
{
    const WaylandGlobal wlr{"zwlr_data_control_manager_v1", 2};
    const WaylandGlobal ext{"ext_data_control_manager_v1", 1};

    EXPECT_EQ(WaylandCapabilities::of({wlr, ext}).dataControl, DataControl::ext);
    EXPECT_EQ(WaylandCapabilities::of({wlr, ext}).dataControlVersion, 1U);
    EXPECT_TRUE(WaylandCapabilities::of({ext}).controlsPrimarySelection());
    EXPECT_EQ(WaylandCapabilities::of({wlr}).dataControl, DataControl::wlr);
    EXPECT_TRUE(WaylandCapabilities::of({wlr}).controlsPrimarySelection());
    EXPECT_FALSE(WaylandCapabilities::of({{"zwlr_data_control_manager_v1", 1}}).controlsPrimarySelection());
}

TEST(WaylandConnectionTest, knowsWhatARealCompositorCanDo)
{
    WaylandConnection connection({});

    const auto capabilities = connection.capabilities();

    EXPECT_TRUE(capabilities.seat);
    EXPECT_TRUE(capabilities.layerShell);
    EXPECT_EQ(capabilities.dataControl, DataControl::wlr);
    EXPECT_TRUE(capabilities.virtualKeyboard);
    EXPECT_TRUE(capabilities.foreignToplevel);
    EXPECT_FALSE(capabilities.plasmaWindowManagement);
    EXPECT_FALSE(capabilities.kwinFakeInput);
    EXPECT_THAT(capabilities.outputs,
                ElementsAre(WaylandOutput{"HEADLESS-1", 0, 0, 1280, 800, 1},
                            WaylandOutput{"HEADLESS-2", 1280, 0, 1280, 800, 1}));
}

TEST(WaylandConnectionTest, aDisplayThatIsNotThereIsAnError)
{
    EXPECT_THROW(WaylandConnection({"no-such-display", nullptr}), std::runtime_error);
}

class TestCompositorTest : public ::testing::Test {
protected:
    void SetUp() override { compositor.announce(wl_seat_interface, 7); }

    WaylandConnection::Options options()
    {
        return {compositor.name(), [this](const std::string& reason) {
                    const std::lock_guard lock(mutex);
                    losses.push_back(reason);
                }};
    }

    std::vector<std::string> lossesSoFar()
    {
        const std::lock_guard lock(mutex);
        return losses;
    }

    TestCompositor compositor;
    std::mutex mutex;
    std::vector<std::string> losses;
    ForgetfulQueue mainQueue;
    fakes::FakeUserNotice userNotice;
    SteadyClock clock;
};

TEST_F(TestCompositorTest, followsWhatIsAnnouncedAndWithdrawn)
{
    compositor.begin();
    WaylandConnection connection(options());
    EXPECT_FALSE(connection.capabilities().foreignToplevel);
    wl_global* global = nullptr;

    compositor.perform([&] { global = compositor.announce(zwlr_foreign_toplevel_manager_v1_interface, 3); });
    EXPECT_TRUE(eventually([&] { return connection.capabilities().foreignToplevel; }));

    compositor.perform([&] { wl_global_destroy(global); });
    EXPECT_TRUE(eventually([&] { return !connection.capabilities().foreignToplevel; }));
}

TEST_F(TestCompositorTest, aCompositorThatEndsIsAnEventAndNotTheEnd)
{
    compositor.announceDataControl();
    compositor.begin();
    WaylandConnection connection(options());
    WaylandWindows windows(connection);
    WaylandWorkspace workspace(windows);
    WaylandPasteboard pasteboard(connection, mainQueue, userNotice, [] { return std::nullopt; });
    WaylandPasteSurroundings surroundings(windows, pasteboard);
    WaylandInjectedKeyboard keyboard(connection);
    InjectedEventPoster poster(keyboard, surroundings, PasteChords(), clock);
    pasteboard.clearContents();
    ASSERT_TRUE(pasteboard.setString("😀", pasteboardType::string));
    ASSERT_TRUE(pasteboard.pasteWillBegin(PasteSelections::clipboard));

    compositor.end();

    EXPECT_TRUE(eventually([&] { return !lossesSoFar().empty(); }));
    EXPECT_TRUE(connection.isLost());
    EXPECT_EQ(connection.capabilities(), WaylandCapabilities());
    pasteboard.clearContents();
    EXPECT_FALSE(pasteboard.setString("😀", pasteboardType::string));
    EXPECT_FALSE(pasteboard.pasteWillBegin(PasteSelections::clipboard));
    EXPECT_EQ(pasteboard.string(pasteboardType::string), std::nullopt);
    EXPECT_EQ(poster.makeSource(), nullptr);
    EXPECT_EQ(workspace.frontmostApplication(), nullptr);
    EXPECT_THAT(workspace.runningApplications(), IsEmpty());
    EXPECT_EQ(lossesSoFar().size(), 1U);
}

TEST_F(TestCompositorTest, aRequestTakenAmissIsTheSame)
{
    compositor.begin();
    WaylandConnection connection(options());

    compositor.blameClients();

    EXPECT_TRUE(eventually([&] { return !lossesSoFar().empty(); }));
    EXPECT_THAT(lossesSoFar(), ElementsAre(HasSubstr("wl_registry, error 7")));
    EXPECT_TRUE(connection.isLost());
}

TEST_F(TestCompositorTest, aCompositorThatLendsNothingIsNoError)
{
    compositor.begin();
    WaylandConnection connection(options());
    WaylandWindows windows(connection);
    WaylandWorkspace workspace(windows);
    WaylandPasteboard pasteboard(connection, mainQueue, userNotice, [] { return std::nullopt; });
    WaylandPasteSurroundings surroundings(windows, pasteboard);
    WaylandInjectedKeyboard keyboard(connection);
    InjectedEventPoster poster(keyboard, surroundings, PasteChords(), clock);

    pasteboard.clearContents();
    EXPECT_FALSE(pasteboard.setString("😀", pasteboardType::string));
    EXPECT_EQ(pasteboard.string(pasteboardType::string), std::nullopt);
    EXPECT_FALSE(pasteboard.pasteWillBegin(PasteSelections::clipboard));
    pasteboard.pasteWasCancelled();
    EXPECT_EQ(poster.makeSource(), nullptr);
    EXPECT_EQ(workspace.frontmostApplication(), nullptr);
    EXPECT_EQ(windows.obstacle(), std::nullopt);
    EXPECT_FALSE(connection.isLost());
}

TEST_F(TestCompositorTest, theClipboardIsKeptByTheNewerProtocolToo)
{
    compositor.announce(zwlr_data_control_manager_v1_interface, 2);
    compositor.announceDataControl();
    compositor.begin();
    WaylandConnection connection(options());
    WaylandPasteboard pasteboard(connection, mainQueue, userNotice, [] { return std::nullopt; });

    pasteboard.clearContents();
    ASSERT_TRUE(pasteboard.setString("é 😀", pasteboardType::string));
    ASSERT_TRUE(pasteboard.setData("glimmerwick", pasteboardType::concealed));

    EXPECT_THAT(compositor.offeredTypes(), Contains("UTF8_STRING"));
    EXPECT_EQ(compositor.contents("UTF8_STRING"), "é 😀");
    EXPECT_EQ(compositor.contents("org.nspasteboard.ConcealedType"), "glimmerwick");
    EXPECT_EQ(pasteboard.string(pasteboardType::string), "é 😀");

    compositor.copy("text/plain", "theirs");
    EXPECT_FALSE(pasteboard.setString("too late", pasteboardType::string));
    EXPECT_EQ(pasteboard.string(pasteboardType::string), "theirs");
    EXPECT_THAT(compositor.offeredTypes(), Not(Contains("UTF8_STRING")));
    EXPECT_FALSE(connection.isLost());
}

class TestToplevelsTest : public TestCompositorTest {
protected:
    using State = TestCompositor::ToplevelState;

    void SetUp() override
    {
        TestCompositorTest::SetUp();
        compositor.announceToplevels();
        compositor.begin();
        connection.emplace(options());
        windows.emplace(*connection);
        workspace.emplace(*windows);
    }

    std::optional<WaylandConnection> connection;
    std::optional<WaylandWindows> windows;
    std::optional<WaylandWorkspace> workspace;
};

TEST_F(TestToplevelsTest, aDialogOfTheWindowMayHaveTheKeys)
{
    wl_resource* editor = compositor.addToplevel("editor", {State::activated});
    ASSERT_TRUE(workspace->frontmostApplication()->activate(ActivationOption::ignoringOtherApps));

    compositor.setStates(editor, {State::maximized});
    wl_resource* dialog = compositor.addToplevel("editor", {State::maximized}, editor);
    EXPECT_EQ(windows->obstacle(), WaylandWindows::Obstacle::anotherWindowHasTheKeys);
    wl_resource* question = compositor.addToplevel("editor", {State::activated}, dialog);
    EXPECT_EQ(windows->obstacle(), std::nullopt);

    compositor.setStates(question, {});
    compositor.addToplevel("editor", {State::activated});
    EXPECT_EQ(windows->obstacle(), WaylandWindows::Obstacle::anotherWindowHasTheKeys);
}

TEST_F(TestToplevelsTest, windowsThatCallEachOtherParentsAreNobodysDialogs)
{
    wl_resource* meant = compositor.addToplevel("meant", {State::activated});
    ASSERT_TRUE(workspace->frontmostApplication()->activate(ActivationOption::ignoringOtherApps));
    compositor.setStates(meant, {});
    wl_resource* first = compositor.addToplevel("circle", {State::activated});
    wl_resource* second = compositor.addToplevel("circle", {}, first);
    compositor.perform([&] { zwlr_foreign_toplevel_handle_v1_send_parent(first, second); });
    compositor.setStates(first, {State::activated});

    EXPECT_EQ(windows->obstacle(), WaylandWindows::Obstacle::anotherWindowHasTheKeys);
    ASSERT_EQ(windows->all().size(), 3U);
    EXPECT_NE(windows->all().at(1).parent, 0U);
}

TEST_F(TestToplevelsTest, aWindowThatDoesNotComeToTheFrontIsNotWaitedForForEver)
{
    wl_resource* window = compositor.addToplevel("stubborn", {State::activated});
    const auto application = workspace->frontmostApplication();
    compositor.setStates(window, {State::minimized});

    EXPECT_FALSE(application->activate(ActivationOption::ignoringOtherApps));

    EXPECT_THAT(compositor.toplevelRequests(), ElementsAre("unset_minimized", "activate"));
    EXPECT_EQ(windows->obstacle(), WaylandWindows::Obstacle::anotherWindowHasTheKeys);
}

} // namespace
} // namespace glimmerwick::contract
