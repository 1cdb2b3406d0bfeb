#include "Platform/X11/X11Platform.h"

#include "Contract/Eventually.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/PanelHost.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/X11/X11Connection.h"

#include <QGuiApplication>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <xcb/shape.h>

#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::ElementsAre;

constexpr const char* blurRegion = "_KDE_NET_WM_BLUR_BEHIND_REGION";
constexpr int width = 320;
constexpr int height = 400;
constexpr PanelOutline outline{width, height, 16};

/// The one that draws the screen, or so it says, until it goes.
class Compositor {
public:
    Compositor()
    {
        m_window = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_window, m_connection.root(), -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        own(m_window);
    }

    /// Its window stays.
    void giveUp() { own(XCB_WINDOW_NONE); }

private:
    void own(xcb_window_t owner)
    {
        xcb_set_selection_owner(m_connection, owner, m_connection.atom("_NET_WM_CM_S0"), XCB_CURRENT_TIME);
        m_connection.roundTrip();
    }

    X11Connection m_connection;
    xcb_window_t m_window = XCB_WINDOW_NONE;
};

/// Rows of pixels of a window that the screen shows, from the top: where each begins and where it ends.
using Rows = std::vector<std::pair<int, int>>;

class X11PanelTest : public ::testing::Test {
protected:
    X11PanelTest()
    {
        m_panel = xcb_generate_id(m_connection);
        xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, m_panel, m_connection.root(), 100, 100, width,
                          height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        m_connection.roundTrip();
    }
    ~X11PanelTest() override
    {
        announceBlur(false);
        xcb_destroy_window(m_connection, m_panel);
        m_connection.roundTrip();
    }

    Backdrop shape(const PanelOutline& wanted = outline)
    {
        const Backdrop backdrop = m_platform.panelHost().shapePanel(NativeWindow{m_panel}, wanted);
        // Asked of the server by the toolkit's connection, and looked at by this one.
        m_toolkit.roundTrip();
        return backdrop;
    }

    bool isShaped()
    {
        const auto extents = m_connection.answer(xcb_shape_query_extents_reply,
                                                 xcb_shape_query_extents(m_connection, m_panel));
        return extents && extents->bounding_shaped != 0;
    }

    Rows rows(int rowCount = height)
    {
        Rows found(static_cast<std::size_t>(rowCount), {-1, -1});
        const auto reply =
            m_connection.answer(xcb_shape_get_rectangles_reply,
                                xcb_shape_get_rectangles(m_connection, m_panel, XCB_SHAPE_SK_BOUNDING));
        const xcb_rectangle_t* rectangles = xcb_shape_get_rectangles_rectangles(reply.get());
        for (int index = 0; index < xcb_shape_get_rectangles_rectangles_length(reply.get()); ++index) {
            const xcb_rectangle_t& rectangle = rectangles[index];
            for (int row = rectangle.y; row < rectangle.y + rectangle.height; ++row) {
                found.at(static_cast<std::size_t>(row)) = {rectangle.x, rectangle.x + rectangle.width};
            }
        }
        return found;
    }

    std::vector<std::uint32_t> blurNumbers()
    {
        return m_connection.numbers(m_panel, m_connection.atom(blurRegion), XCB_ATOM_CARDINAL);
    }

    /// As window managers do that blur what is behind windows.
    void announceBlur(bool isOffered)
    {
        const xcb_atom_t region = m_connection.atom(blurRegion);
        if (isOffered) {
            xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_connection.root(), region, region, 32,
                                0, nullptr);
        } else {
            xcb_delete_property(m_connection, m_connection.root(), region);
        }
        m_connection.roundTrip();
    }

    bool comesTo(int& count, int wanted)
    {
        return eventually([&] { return count >= wanted; }, [] { QCoreApplication::processEvents(); });
    }

    X11Connection m_connection;
    X11Connection m_toolkit{qGuiApp->nativeInterface<QNativeInterface::QX11Application>()->connection()};
    QtMainQueue m_mainQueue;
    SteadyClock m_clock;
    X11Platform m_platform{m_mainQueue, m_clock, {}};
    xcb_window_t m_panel = XCB_WINDOW_NONE;
};

TEST_F(X11PanelTest, isCutOutWithoutACompositor)
{
    EXPECT_EQ(shape(), Backdrop::opaque);

    ASSERT_TRUE(isShaped());
    const Rows found = rows();
    EXPECT_EQ(found[height / 2], std::pair(0, width));
    EXPECT_EQ(found[16], std::pair(0, width));
    EXPECT_EQ(found[height - 17], std::pair(0, width));
    // A quarter of a circle begins steeply: at half a pixel from the rim it has gone four pixels from its
    // side.
    EXPECT_EQ(found[0].first, 12);
    EXPECT_GT(found[1].first, found[4].first);
    EXPECT_GT(found[4].first, found[8].first);
}

TEST_F(X11PanelTest, believesNoWorkAreaBeyondWhatTheProtocolHasRoomFor)
{
    constexpr std::uint32_t largest = 0x7fffffff;
    const std::uint32_t areas[] = {largest, largest, largest, largest, 0, 30, 1000, 700};
    const xcb_atom_t property = m_connection.atom("_GTK_WORKAREAS_D0");
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_connection.root(), property, XCB_ATOM_CARDINAL,
                        32, std::size(areas), areas);
    m_connection.roundTrip();

    EXPECT_EQ(m_platform.panelHost().visibleFrame({0, 0, 1024, 768}), (ScreenRect{0, 30, 1000, 700}));

    xcb_delete_property(m_connection, m_connection.root(), property);
    m_connection.roundTrip();
}

TEST_F(X11PanelTest, hasFourEqualCorners)
{
    for (const PanelOutline& wanted :
         {outline, PanelOutline{width, height, 20}, PanelOutline{width, height - 1, 15.5}}) {
        shape(wanted);
        const Rows found = rows(wanted.height);
        for (std::size_t row = 0; row < found.size(); ++row) {
            EXPECT_EQ(found[row], found[found.size() - 1 - row]) << "top and bottom, row " << row;
            EXPECT_EQ(found[row].first, wanted.width - found[row].second) << "left and right, row " << row;
            EXPECT_GE(found[row].first, 0);
        }
        EXPECT_GT(found.front().first, 0);
    }
}

TEST_F(X11PanelTest, hasCornersOfItsOwnPixelsAtTwiceTheRatio)
{
    const std::uint32_t size[] = {2 * width, 2 * height};
    xcb_configure_window(m_connection, m_panel, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    m_connection.roundTrip();

    shape({2 * width, 2 * height, 32});

    const Rows found = rows(2 * height);
    EXPECT_EQ(found[32], std::pair(0, 2 * width));
    EXPECT_GT(found[15].first, 0) << "where a radius of 16 would have ended";
}

TEST_F(X11PanelTest, isWholeWithACompositor)
{
    shape();
    ASSERT_TRUE(isShaped());
    const Compositor compositor;

    EXPECT_EQ(shape(), Backdrop::translucent);

    EXPECT_FALSE(isShaped());
}

TEST_F(X11PanelTest, isCutOutAgainAfterTheCompositor)
{
    {
        const Compositor compositor;
        shape();
        ASSERT_FALSE(isShaped());
    }
    ASSERT_TRUE(eventually([&] { return shape() == Backdrop::opaque; }));

    EXPECT_TRUE(isShaped());
}

TEST_F(X11PanelTest, asksForBlurWhereACompositorOffersIt)
{
    announceBlur(true);
    const Compositor compositor;

    EXPECT_EQ(shape(), Backdrop::blurred);

    const std::vector<std::uint32_t> numbers = blurNumbers();
    ASSERT_FALSE(numbers.empty());
    ASSERT_EQ(numbers.size() % 4, 0U);
    std::uint64_t area = 0;
    for (std::size_t index = 0; index < numbers.size(); index += 4) {
        EXPECT_LE(numbers[index] + numbers[index + 2], static_cast<unsigned>(width));
        EXPECT_LE(numbers[index + 1] + numbers[index + 3], static_cast<unsigned>(height));
        area += std::uint64_t{numbers[index + 2]} * numbers[index + 3];
    }
    // A square of its radius is larger than a quarter of a circle by 1 - pi / 4 of it.
    EXPECT_NEAR(static_cast<double>(area), width * height - 16 * 16 * 0.858, 16);
}

TEST_F(X11PanelTest, asksForNoBlurWithoutAnOffer)
{
    const Compositor compositor;

    EXPECT_EQ(shape(), Backdrop::translucent);

    EXPECT_THAT(blurNumbers(), ElementsAre());
}

TEST_F(X11PanelTest, asksForNoBlurWithoutACompositor)
{
    announceBlur(true);

    EXPECT_EQ(shape(), Backdrop::opaque);

    EXPECT_THAT(blurNumbers(), ElementsAre());
}

TEST_F(X11PanelTest, takesTheWishForBlurBack)
{
    announceBlur(true);
    std::optional<Compositor> compositor(std::in_place);
    shape();
    ASSERT_FALSE(blurNumbers().empty());

    announceBlur(false);
    EXPECT_EQ(shape(), Backdrop::translucent);
    EXPECT_THAT(blurNumbers(), ElementsAre());

    announceBlur(true);
    EXPECT_EQ(shape(), Backdrop::blurred);
    compositor->giveUp();
    EXPECT_EQ(shape(), Backdrop::opaque);
    EXPECT_THAT(blurNumbers(), ElementsAre());
}

TEST_F(X11PanelTest, tellsWhenACompositorComesAndGoes)
{
    int count = 0;
    const Registration observer = m_platform.panelHost().onBackdropChanged([&] { ++count; });

    Compositor compositor;
    EXPECT_TRUE(comesTo(count, 1)) << "it has come";
    EXPECT_EQ(shape(), Backdrop::translucent);

    compositor.giveUp();
    EXPECT_TRUE(comesTo(count, 2)) << "it has gone";
    EXPECT_EQ(shape(), Backdrop::opaque);
}

TEST_F(X11PanelTest, tellsWhenACompositorDies)
{
    int count = 0;
    const Registration observer = m_platform.panelHost().onBackdropChanged([&] { ++count; });
    std::optional<Compositor> compositor(std::in_place);
    ASSERT_TRUE(comesTo(count, 1));

    compositor.reset();

    EXPECT_TRUE(comesTo(count, 2));
    EXPECT_EQ(shape(), Backdrop::opaque);
}

TEST_F(X11PanelTest, tellsWhenOneCompositorReplacesAnother)
{
    int count = 0;
    const Registration observer = m_platform.panelHost().onBackdropChanged([&] { ++count; });
    const Compositor first;
    ASSERT_TRUE(comesTo(count, 1));

    const Compositor second;

    EXPECT_TRUE(comesTo(count, 2));
    EXPECT_EQ(shape(), Backdrop::translucent);
}

TEST_F(X11PanelTest, tellsNobodyWhoHasStoppedListening)
{
    int count = 0;
    int otherCount = 0;
    Registration observer = m_platform.panelHost().onBackdropChanged([&] { ++count; });
    const Registration other = m_platform.panelHost().onBackdropChanged([&] { ++otherCount; });
    observer.reset();

    const Compositor compositor;

    EXPECT_TRUE(comesTo(otherCount, 1));
    EXPECT_EQ(count, 0);
}

} // namespace
} // namespace glimmerwick::contract
