#include "Contract/EventLoop.h"
#include "Contract/TemporaryFolder.h"
#include "Contract/WaylandClients.h"
#include "Contract/WaylandDevices.h"
#include "Contract/WaylandScreenshots.h"
#include "Contract/WaylandTestWindow.h"
#include "GlimmerwickWindow.h"
#include "Platform/Qt/FocusedEventMonitors.h"
#include "Platform/Qt/FocusedEventTap.h"
#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Wayland/LayerShellProtocol.h"
#include "Platform/Wayland/WaylandOutputs.h"
#include "Platform/Wayland/WaylandPanelHost.h"
#include "Platform/Wayland/WaylandProbeSurface.h"
#include "Platform/Wayland/WaylandToolkit.h"
#include "Platform/Wayland/WaylandWindows.h"
#include "Views/EmojiGridViewController.h"
#include "Views/SearchBarView.h"
#include "Views/ViewsFixture.h"

#include <QGuiApplication>
#include <QScreen>

#include <gmock/gmock.h>
#include <wayland-client.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Two outputs of this size side by side, as the desktop of these tests has them.
constexpr int outputWidth = 1280;
constexpr int outputHeight = 800;
constexpr QSize panelSize(320, 400);

/// Has the compositor do something.
void sway(const std::string& command)
{
    ASSERT_TRUE(outputOf("swaymsg -- " + command).has_value()) << command;
}

/// Has the right output show two pixels a point.
class FineOutput {
public:
    FineOutput() { sway("output HEADLESS-2 resolution 2560x1600 scale 2"); }
    ~FineOutput()
    {
        sway("output HEADLESS-2 resolution 1280x800 scale 1");
        EXPECT_TRUE(handleEventsUntil([] {
            return QGuiApplication::screens().size() == 2
                && QGuiApplication::screens()[1]->devicePixelRatio() == 1;
        }));
    }
    FineOutput(const FineOutput&) = delete;
    FineOutput& operator=(const FineOutput&) = delete;
};

/// A program's bar along the top of the left output.
class TopBar {
public:
    static constexpr int height = 30;

    TopBar()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            m_globals = std::make_unique<WaylandProbeSurface::Globals>(display);
            m_surface = wl_compositor_create_surface(m_globals->compositor);
            m_role = zwlr_layer_shell_v1_get_layer_surface(m_globals->layerShell, m_surface,
                                                           display.outputs().proxies().front(),
                                                           ZWLR_LAYER_SHELL_V1_LAYER_TOP, "bar");
            static constexpr zwlr_layer_surface_v1_listener listener{
                [](void*, zwlr_layer_surface_v1* role, std::uint32_t serial, std::uint32_t, std::uint32_t) {
                    zwlr_layer_surface_v1_ack_configure(role, serial);
                },
                [](void*, zwlr_layer_surface_v1*) {}};
            zwlr_layer_surface_v1_add_listener(m_role, &listener, nullptr);
            zwlr_layer_surface_v1_set_anchor(m_role,
                                             ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP
                                                 | ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT
                                                 | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
            zwlr_layer_surface_v1_set_size(m_role, 0, height);
            zwlr_layer_surface_v1_set_exclusive_zone(m_role, height);
            wl_surface_commit(m_surface);
            display.roundTrip();
            draw();
            display.roundTrip();
        });
    }
    ~TopBar()
    {
        m_connection.perform([this](WaylandDisplay& display) {
            zwlr_layer_surface_v1_destroy(m_role);
            wl_surface_destroy(m_surface);
            wl_buffer_destroy(m_buffer);
            display.roundTrip();
        });
    }
    TopBar(const TopBar&) = delete;
    TopBar& operator=(const TopBar&) = delete;

private:
    void draw()
    {
        constexpr int stride = outputWidth * 4;
        const int file = memfd_create("bar", MFD_CLOEXEC);
        ASSERT_EQ(ftruncate(file, stride * height), 0);
        wl_shm_pool* const pool = wl_shm_create_pool(m_globals->shm, file, stride * height);
        m_buffer = wl_shm_pool_create_buffer(pool, 0, outputWidth, height, stride, WL_SHM_FORMAT_XRGB8888);
        wl_surface_attach(m_surface, m_buffer, 0, 0);
        wl_surface_commit(m_surface);
        wl_shm_pool_destroy(pool);
        close(file);
    }

    WaylandConnection m_connection{{}};
    std::unique_ptr<WaylandProbeSurface::Globals> m_globals;
    wl_surface* m_surface = nullptr;
    wl_buffer* m_buffer = nullptr;
    zwlr_layer_surface_v1* m_role = nullptr;
};

/// The picker's own window on the compositor, with a program that the user comes from.
class WaylandPanelTest : public tests::ViewsFixture {
protected:
    WaylandPanelTest()
    {
        loadManifest(tests::manifestDocument({{"a", "First", tests::codepoints(0x1f600, 40)}}));
        QWidget* const container = window.contentContainerView();
        searchBar = new SearchBarView(platform, container);
        searchBar->setGeometry(8, 8, 304, 36);
        grid = std::make_unique<EmojiGridViewController>(platform, dataManager, recents, preferences,
                                                         renderer, popover);
        grid->view()->setParent(container);
        grid->view()->setGeometry(0, 52, 320, 312);
        window.setSearchField(searchBar->internalSearchField());
        window.setEmojiCollectionView(grid->internalCollectionView());
    }

    ~WaylandPanelTest() override
    {
        window.dismiss();
        grid.reset();
    }

    void show(int x, int y)
    {
        devices.movePointer(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y));
        window.showAtMouseLocation();
        ASSERT_TRUE(handleEventsUntil([this] { return window.isActiveWindow(); }));
    }

    /// Also for the compositor: the keys of the tests come to it by another connection, and might overtake.
    bool isGone()
    {
        return handleEventsUntil([this] { return !window.isVisible(); })
            && wl_display_roundtrip(WaylandToolkit::connectedDisplay()) >= 0;
    }

    /// Where the panel is to be seen on an output, in the output's pixels, once it is there or time is up.
    QRect shownAt(const QRect& expected, Output output, const QImage& before)
    {
        QRect found;
        handleEventsUntil([&] {
            found = difference(before, screenshot(output));
            return found == expected;
        });
        return found;
    }

    std::string searchText() { return searchBar->internalSearchField()->text().toStdString(); }

    WaylandConnection connection{{}};
    QtMainQueue mainQueue;
    KeyEventFilter keyEventFilter{mainQueue};
    FocusedEventTap eventTap{keyEventFilter};
    FocusedEventMonitors eventMonitors{keyEventFilter};
    WaylandPanelHost panelHost{connection};
    Platform platform{fakes.process,     fakes.log,          mainQueue,
                      fakes.time,        fakes.time,         fakes.fileClock,
                      fakes.fileSystem,  fakes.userDefaults, fakes.notificationCenter,
                      fakes.httpClient,  fakes.textLayout,   fakes.imageCodec,
                      fakes.pasteboard,  fakes.workspace,    eventTap,
                      fakes.eventPoster, eventMonitors,      fakes.accessibilityTrust,
                      panelHost,         fakes.menuHost,     fakes.alert,
                      fakes.fileViewer,  fakes.volumeInfo,   fakes.updater,
                      fakes.userNotice};
    GlimmerwickWindow window{platform, dataManager, popover};
    SearchBarView* searchBar = nullptr;
    std::unique_ptr<EmojiGridViewController> grid;
    UserDevices devices{2 * outputWidth, outputHeight};
};

/// What sway does otherwise than others, or has to be told.
class SwayPanelTest : public WaylandPanelTest { };

class KWinPanelTest : public WaylandPanelTest { };

TEST_F(WaylandPanelTest, opensBelowThePointer)
{
    devices.movePointer(640, 200);
    const QImage before = screenshot(Output::left);

    show(640, 200);

    EXPECT_EQ(window.pos(), QPoint(640 - 160, 210));
    const QRect expected(QPoint(480, 210), panelSize);
    EXPECT_EQ(shownAt(expected, Output::left, before), expected);
}

TEST_F(WaylandPanelTest, opensOnTheOutputWithThePointer)
{
    devices.movePointer(outputWidth + 400, 100);
    const QImage left = screenshot(Output::left);
    const QImage right = screenshot(Output::right);

    show(outputWidth + 400, 100);

    EXPECT_EQ(window.pos(), QPoint(outputWidth + 240, 110));
    const QRect expected(QPoint(240, 110), panelSize);
    EXPECT_EQ(shownAt(expected, Output::right, right), expected);
    EXPECT_EQ(difference(left, screenshot(Output::left)), QRect());
}

TEST_F(WaylandPanelTest, typedKeysGoToTheSearchFieldAndNotToTheProgramInUse)
{
    TestWindow inUse("org.example.InUse");
    ASSERT_TRUE(inUse.hasKeys());
    show(640, 200);
    EXPECT_FALSE(inUse.hasKeys());

    for (const char* key : {"c", "a", "t"}) {
        devices.typeKey(key);
    }

    EXPECT_TRUE(handleEventsUntil([this] { return searchText() == "cat"; })) << searchText();
    devices.typeKey("Escape");
    EXPECT_TRUE(isGone());
    EXPECT_TRUE(eventually([&] { return inUse.hasKeys(); }));
    devices.typeKey("x");
    EXPECT_THAT(inUse.pressedKeys(), ElementsAre("x"));
}

TEST_F(WaylandPanelTest, theProgramInUseGetsTheKeysBackEachTime)
{
    TestWindow other("org.example.Other");
    TestWindow inUse("org.example.InUse");
    ASSERT_TRUE(inUse.hasKeys());
    for (int round = 0; round < 50; ++round) {
        show(round % 2 == 0 ? 640 : outputWidth + 640, 100 + round);
        ASSERT_FALSE(inUse.hasKeys()) << round;

        window.dismiss();

        ASSERT_TRUE(eventually([&] { return inUse.hasKeys(); })) << round;
        ASSERT_FALSE(other.hasKeys()) << round;
    }
}

TEST_F(SwayPanelTest, aFineOutputShowsItWithAsManyPoints)
{
    const FineOutput fine;
    ASSERT_TRUE(handleEventsUntil([] {
        return QGuiApplication::screens().size() == 2
            && QGuiApplication::screens()[1]->devicePixelRatio() == 2;
    }));
    devices.movePointer(outputWidth + 400, 100);
    const QImage before = screenshot(Output::right);
    ASSERT_EQ(before.size(), 2 * QSize(outputWidth, outputHeight));

    show(outputWidth + 400, 100);

    EXPECT_EQ(window.pos(), QPoint(outputWidth + 240, 110));
    const QRect expected(2 * QPoint(240, 110), 2 * panelSize);
    EXPECT_EQ(shownAt(expected, Output::right, before), expected);
}

TEST_F(WaylandPanelTest, aPressElsewhereDismissesItAndIsNotSwallowed)
{
    // Windows open where the pointer is.
    devices.movePointer(640, 200);
    TestWindow inUse("org.example.InUse");
    show(640, 200);

    devices.movePointer(100, 50);
    devices.pressButton();

    EXPECT_TRUE(isGone());
    devices.releaseButton();
    EXPECT_TRUE(eventually([&] { return inUse.hasKeys(); }));
    EXPECT_EQ(inUse.clicks(), 1);
}

TEST_F(SwayPanelTest, aWindowThatOpensLeavesTheKeysWhereTheyAre)
{
    show(640, 200);

    TestWindow opened("org.example.Opened");
    devices.typeKey("f");

    EXPECT_TRUE(handleEventsUntil([this] { return searchText() == "f"; }));
    EXPECT_TRUE(window.isVisible());
    EXPECT_THAT(opened.pressedKeys(), IsEmpty());
}

TEST_F(KWinPanelTest, aWindowThatOpensTakesTheKeysAndDismissesIt)
{
    show(640, 200);

    TestWindow opened("org.example.Opened");

    EXPECT_TRUE(isGone());
    devices.typeKey("f");
    EXPECT_THAT(opened.pressedKeys(), ElementsAre("f"));
}

TEST_F(WaylandPanelTest, aClickIntoItLeavesItThere)
{
    TestWindow inUse("org.example.InUse");
    show(640, 200);

    devices.movePointer(640, 230);
    devices.click();
    devices.typeKey("d");

    EXPECT_TRUE(handleEventsUntil([this] { return searchText() == "d"; }));
    EXPECT_TRUE(window.isVisible());
    EXPECT_FALSE(inUse.hasKeys());
}

TEST_F(SwayPanelTest, theKeysDoNotFollowThePointerAway)
{
    TestWindow inUse("org.example.InUse");
    sway("focus_follows_mouse yes");
    show(640, 200);

    devices.movePointer(640, 300);
    devices.movePointer(100, 50);
    devices.typeKey("e");

    EXPECT_TRUE(handleEventsUntil([this] { return searchText() == "e"; }));
    EXPECT_TRUE(window.isVisible());
    sway("focus_follows_mouse no");
}

TEST_F(SwayPanelTest, withoutAPointerTheMiddleOfTheOutputInUseStandsForIt)
{
    devices.movePointer(100, 100);
    sway("focus output HEADLESS-2");
    // Which takes the devices from it.
    sway("seat seat0 fallback no");

    EXPECT_TRUE(eventually([this] {
        return panelHost.pointerPosition() == ScreenPoint{outputWidth + outputWidth / 2, outputHeight / 2};
    }));

    sway("seat seat0 fallback yes");
    EXPECT_TRUE(eventually([this] {
        devices.movePointer(200, 100);
        return panelHost.pointerPosition() == ScreenPoint{200, 100};
    }));
}

TEST_F(WaylandPanelTest, barsAreLeftFree)
{
    const TopBar bar;
    const ScreenRect left{0, 0, outputWidth, outputHeight};
    const ScreenRect belowBar{0, TopBar::height, outputWidth, outputHeight - TopBar::height};
    devices.movePointer(640, 300);
    ASSERT_TRUE(eventually([&] {
        panelHost.pointerPosition();
        return panelHost.visibleFrame(left) == belowBar;
    }));

    // On the bar itself.
    devices.movePointer(640, 3);

    EXPECT_EQ(panelHost.pointerPosition(), (ScreenPoint{640, 3}));
    EXPECT_EQ(panelHost.visibleFrame(left), belowBar);
    const ScreenRect right{outputWidth, 0, outputWidth, outputHeight};
    EXPECT_EQ(panelHost.visibleFrame(right), right);
    show(640, 3);
    EXPECT_EQ(window.pos(), QPoint(480, TopBar::height + 8));
}

TEST_F(WaylandPanelTest, canBeDraggedByItsBackground)
{
    devices.movePointer(640, 200);
    const QImage before = screenshot(Output::left);
    show(640, 200);
    // Between the search field and the edge.
    devices.movePointer(484, 214);
    ASSERT_TRUE(handleEventsUntil([this] { return window.underMouse(); }));
    devices.pressButton();
    const QPoint start = window.pos();

    for (std::uint32_t step = 1; step <= 20; ++step) {
        devices.movePointer(484 + 10 * step, 214 + 5 * step);
        QCoreApplication::processEvents();
    }

    EXPECT_TRUE(handleEventsUntil([&] { return window.pos() == start + QPoint(200, 100); }))
        << window.x() << ' ' << window.y();
    devices.releaseButton();
    devices.movePointer(640, 200);
    const QRect expected(start + QPoint(200, 100), panelSize);
    EXPECT_EQ(shownAt(expected, Output::left, before), expected);
}

TEST_F(SwayPanelTest, aTerminalThatIsTypedIntoGetsWhatIsTypedBeforeAndAfter)
{
    const TemporaryFolder folder;
    const std::string file = (folder.path() / "typed").string();
    const ForeignProgram terminal("foot --app-id=org.example.Terminal sh -c 'cat > " + file + "'");
    WaylandWindows windows(connection);
    ASSERT_TRUE(eventually([&] {
        const auto front = windows.frontmost();
        return front && front->appId == "org.example.Terminal" && std::filesystem::exists(file);
    }));
    devices.typeKey("a");
    for (const std::string meant : {"x", "y", "z"}) {
        show(640, 200);
        devices.typeKey(meant);
        ASSERT_TRUE(handleEventsUntil([&] { return searchText().ends_with(meant); }));
        devices.typeKey("Escape");
        ASSERT_TRUE(isGone());
        devices.typeKey("b");
    }

    devices.typeKey("Return");

    std::string typed;
    EXPECT_TRUE(eventually([&] {
        std::ifstream(file) >> typed;
        return typed.size() >= 4;
    })) << typed;
    EXPECT_EQ(typed, "abbb");
}

} // namespace
} // namespace glimmerwick::contract
