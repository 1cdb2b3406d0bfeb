#include "GlimmerwickWindow.h"
#include "Views/CategoryTabBar.h"
#include "Views/EmojiGridViewController.h"
#include "Views/SearchBarView.h"
#include "Views/Style.h"
#include "Views/ToastView.h"
#include "Views/ViewsFixture.h"

#include <QCursor>
#include <QDir>
#include <QPainter>

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace glimmerwick {
namespace {

std::string readFile(const std::string& path)
{
    std::stringstream contents;
    contents << std::ifstream(path).rdbuf();
    return contents.str();
}

/// Draws the whole picker with the bundled catalogue, in every state and appearance, and leaves the pictures
/// in the build folder for people to look at.
class PictureTests : public tests::ViewsFixture,
                     public ::testing::WithParamInterface<DesktopAppearance::ColorScheme> {
protected:
    PictureTests()
    {
        DesktopAppearance appearance;
        appearance.colorScheme = GetParam();
        style::setDesktopAppearance(appearance);
        loadManifest(readFile(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json"));
        for (const char* codepoint : {"1f680", "2764-fe0f", "1f44d", "1f602", "1f44b"}) {
            recents.addRecent(codepoint);
        }
        QWidget* container = window.contentContainerView();
        searchBar = new SearchBarView(fakes.platform, container);
        searchBar->setGeometry(8, 8, 304, 36);
        grid.view()->setParent(container);
        grid.view()->setGeometry(0, 52, 320, 312);
        auto* tabBar = new CategoryTabBar(fakes.platform, container);
        tabBar->setGeometry(0, 364, 320, 36);
        tabBar->configure(dataManager.manifest()->categories());
        window.setSearchField(searchBar->internalSearchField());
        window.setEmojiCollectionView(grid.internalCollectionView());
        // Nothing under the pointer.
        QCursor::setPos(0, 0);
        window.showAtMouseLocation();
    }
    ~PictureTests() override
    {
        window.setEmojiCollectionView(nullptr);
        style::setDesktopAppearance({});
    }

    QImage draw(const QString& state)
    {
        QImage picture(window.size(), QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::transparent);
        window.render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);
        const QString appearance = style::isDark() ? QStringLiteral("dark") : QStringLiteral("light");
        QDir().mkpath(GLIMMERWICK_PICTURES_DIR);
        picture.save(QStringLiteral(GLIMMERWICK_PICTURES_DIR "/%1-%2.png").arg(state, appearance));
        return picture;
    }

    /// How many points of the area differ from the panel's plain background.
    static int drawnPoints(const QImage& picture, const QRect& area)
    {
        const QColor plain = picture.pixelColor(160, 49);
        int count = 0;
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x) {
                count += picture.pixelColor(x, y) != plain ? 1 : 0;
            }
        }
        return count;
    }

    GlimmerwickWindow window{fakes.platform, dataManager, popover};
    EmojiGridViewController grid{fakes.platform, dataManager, recents, preferences, renderer, popover};
    SearchBarView* searchBar = nullptr;
};

constexpr QRect gridArea(0, 54, 310, 308);

TEST_P(PictureTests, browsing)
{
    const QImage picture = draw("browsing");

    const QColor background = picture.pixelColor(160, 49);
    EXPECT_EQ(background.lightness() < 128, GetParam() == DesktopAppearance::ColorScheme::dark);
    EXPECT_GT(drawnPoints(picture, gridArea), 10000);
    EXPECT_GT(drawnPoints(picture, {8, 60, 80, 14}), 50) << "the section's title";
}

TEST_P(PictureTests, selection)
{
    const QImage before = draw("browsing");
    grid.internalCollectionView()->selectItem({1, 2}, ScrollPosition::none);

    const QImage picture = draw("selection");

    const QPoint corner = grid.internalCollectionView()->item({1, 2})->mapTo(&window, QPoint(20, 1));
    EXPECT_NE(picture.pixelColor(corner), before.pixelColor(corner));
}

TEST_P(PictureTests, noResults)
{
    searchBar->setSearchText("zzz");
    grid.showSearchResults({});

    const QImage picture = draw("no-results");

    EXPECT_GT(drawnPoints(picture, {100, 190, 120, 40}), 100) << "the label";
    EXPECT_EQ(drawnPoints(picture, {5, 60, 300, 120}), 0);
    EXPECT_EQ(drawnPoints(picture, {5, 240, 300, 115}), 0);
}

TEST_P(PictureTests, tones)
{
    grid.internalCollectionView()->selectItem({0, 0}, ScrollPosition::none);
    const QImage before = draw("selection");
    fakes.eventTap.press(keyCode::return_, eventFlag::option);
    fakes.time.runUntilIdle();
    ASSERT_TRUE(popover.isShown());

    const QImage picture = draw("tones");

    const QPoint lightest = popover.selectorView()->skinToneButtons()[1]->mapTo(&window, QPoint(18, 18));
    EXPECT_NE(picture.pixelColor(lightest), before.pixelColor(lightest));
}

TEST_P(PictureTests, toast)
{
    auto* toast = new ToastView("Copied!", fakes.time);
    toast->show(*window.contentContainerView(), std::nullopt);

    const QImage picture = draw("toast");

    const QRect place(toast->mapTo(&window, QPoint()), toast->size());
    const QPoint away = place.center() - window.rect().center();
    EXPECT_LE(away.manhattanLength(), 2) << "in the middle of the panel";
    int brightest = 0;
    for (int x = place.left(); x <= place.right(); ++x) {
        brightest = std::max(brightest, qGray(picture.pixel(x, place.center().y())));
    }
    EXPECT_GT(brightest, 200) << "white text";
    const QColor bubble = picture.pixelColor(place.left() + 4, place.center().y());
    EXPECT_LT(bubble.lightness(), 60) << "on nearly black, whatever stands behind";
}

INSTANTIATE_TEST_SUITE_P(appearances, PictureTests,
                         ::testing::Values(DesktopAppearance::ColorScheme::light,
                                           DesktopAppearance::ColorScheme::dark),
                         [](const auto& parameter) {
                             return parameter.param == DesktopAppearance::ColorScheme::dark ? "dark"
                                                                                            : "light";
                         });

} // namespace
} // namespace glimmerwick
