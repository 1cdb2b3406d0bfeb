#include "Views/PanelMenu.h"

#include "Platform/KeyEvent.h"
#include "Views/PanelMenuItem.h"
#include "Views/SearchBarView.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"
#include "Views/Wheel.h"

#include <QAbstractButton>
#include <QPushButton>

#include <gmock/gmock.h>

#include <cmath>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PanelMenuTests : public ::testing::Test {
protected:
    PanelMenuTests()
    {
        window.resize(320, 400);
        window.show();
    }

    PanelMenu& open(std::vector<std::string> titles, QPoint at = {8, 48})
    {
        std::vector<PanelMenu::Item> items;
        for (const std::string& title : titles) {
            items.push_back({title, "q", [this, title] { chosen.push_back(title); }});
        }
        menu = PanelMenu::popUp(std::move(items), window, at);
        return *menu;
    }

    int highlighted() const
    {
        for (std::size_t index = 0; index < menu->itemViews().size(); ++index) {
            if (menu->itemViews()[index]->isHighlighted()) {
                return static_cast<int>(index);
            }
        }
        return -1;
    }

    QWidget window;
    QPointer<PanelMenu> menu;
    std::vector<std::string> chosen;
};

TEST_F(PanelMenuTests, arrowsMoveTheHighlightRoundAndReturnChooses)
{
    open({"One", "Two", "Three"});
    EXPECT_EQ(highlighted(), -1);

    EXPECT_TRUE(menu->handleKey(keyCode::downArrow));
    EXPECT_EQ(highlighted(), 0);
    EXPECT_TRUE(menu->handleKey(keyCode::downArrow));
    EXPECT_EQ(highlighted(), 1);
    EXPECT_TRUE(menu->handleKey(keyCode::upArrow));
    EXPECT_TRUE(menu->handleKey(keyCode::upArrow));
    EXPECT_EQ(highlighted(), 2);
    EXPECT_TRUE(menu->handleKey(keyCode::return_));

    EXPECT_THAT(chosen, ElementsAre("Three"));
    EXPECT_FALSE(menu->isShown());
}

TEST_F(PanelMenuTests, upFromNowhereGoesToTheLastEntry)
{
    open({"One", "Two", "Three"});

    menu->handleKey(keyCode::upArrow);

    EXPECT_EQ(highlighted(), 2);
}

TEST_F(PanelMenuTests, returnWithoutAHighlightIsTheMenusAllTheSame)
{
    open({"One"});

    EXPECT_TRUE(menu->handleKey(keyCode::return_));
    EXPECT_TRUE(menu->handleKey(keyCode::keypadEnter));

    EXPECT_THAT(chosen, IsEmpty());
    EXPECT_TRUE(menu->isShown());
}

TEST_F(PanelMenuTests, escapeClosesAndOtherKeysAreNotTheMenus)
{
    open({"One"});

    EXPECT_FALSE(menu->handleKey(keyCode::tab));
    EXPECT_TRUE(menu->handleKey(keyCode::leftArrow)) << "or the grid beneath would take it";
    EXPECT_TRUE(menu->isShown());
    EXPECT_TRUE(menu->handleKey(keyCode::escape));

    EXPECT_FALSE(menu->isShown());
    EXPECT_FALSE(menu->isVisible());
    EXPECT_THAT(chosen, IsEmpty());
}

TEST_F(PanelMenuTests, aPressElsewhereInTheWindowClosesAndDoesNothingElse)
{
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonDblClick}) {
        QPushButton beneath(&window);
        beneath.setGeometry(200, 300, 40, 40);
        beneath.show();
        int clicks = 0;
        QObject::connect(&beneath, &QPushButton::clicked, [&] { ++clicks; });
        open({"One"});

        tests::sendMouse(beneath, type, {20, 20}, Qt::LeftButton, Qt::LeftButton);
        QApplication::processEvents();
        tests::release(beneath, {20, 20});

        EXPECT_TRUE(menu.isNull() || !menu->isShown());
        EXPECT_EQ(clicks, 0);
        tests::click(beneath);
        EXPECT_EQ(clicks, 1) << "the next one counts";
    }
}

TEST_F(PanelMenuTests, aPressInAnotherWindowClosesAndCounts)
{
    QPushButton other;
    other.resize(40, 40);
    other.show();
    int clicks = 0;
    QObject::connect(&other, &QPushButton::clicked, [&] { ++clicks; });
    open({"One"});

    tests::click(other);

    EXPECT_FALSE(menu->isShown());
    EXPECT_EQ(clicks, 1);
}

TEST_F(PanelMenuTests, scrollingElsewhereClosesIt)
{
    open({"One"});
    tests::turnWheel(window, QRectF(menu->geometry()).center());
    ASSERT_TRUE(menu && menu->isShown());
    tests::turnWheel(window, {310, 390});
    EXPECT_FALSE(menu && menu->isShown());
}

TEST_F(PanelMenuTests, theMouseHighlightsAndChooses)
{
    open({"One", "Two"});
    const QPointF second = QRectF(menu->itemViews()[1]->geometry()).center();

    tests::sendMouse(*menu, QEvent::MouseMove, second, Qt::NoButton, Qt::NoButton);
    EXPECT_EQ(highlighted(), 1);
    tests::leave(*menu);
    EXPECT_EQ(highlighted(), -1);
    tests::press(*menu, second);
    tests::release(*menu, second);

    EXPECT_THAT(chosen, ElementsAre("Two"));
}

TEST_F(PanelMenuTests, aLongTitleKeepsTheMenuInsideTheWindow)
{
    open({"Dieses kleine Programm jetzt sofort und ohne jede weitere Nachfrage wirklich beenden"},
         {300, 390});

    EXPECT_EQ(menu->geometry().left(), 4);
    EXPECT_EQ(menu->width(), 320 - 8);
    EXPECT_TRUE(window.rect().contains(menu->geometry()));
    EXPECT_TRUE(menu->rect().contains(menu->itemViews()[0]->geometry()));
}

TEST_F(PanelMenuTests, hangsFromTheRightWhereTheLayoutRunsFromThere)
{
    window.setLayoutDirection(Qt::RightToLeft);

    open({"Quit"}, {8, 48});

    EXPECT_EQ(menu->geometry().right(), 320 - 8 - 1);
    EXPECT_EQ(menu->y(), 48);
}

double channel(double part)
{
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color)
{
    return 0.2126 * channel(color.redF()) + 0.7152 * channel(color.greenF())
        + 0.0722 * channel(color.blueF());
}

TEST_F(PanelMenuTests, theHighlightedTextIsReadableOnEveryAccent)
{
    open({"Quit"});
    const QPalette before = QApplication::palette();
    menu->handleKey(keyCode::downArrow);

    for (int red = 0; red <= 255; red += 51) {
        for (int green = 0; green <= 255; green += 51) {
            for (int blue = 0; blue <= 255; blue += 51) {
                QPalette palette = before;
                palette.setColor(QPalette::Highlight, QColor(red, green, blue));
                QApplication::setPalette(palette);
                const double accent = luminance(style::accent());
                const double text = luminance(menu->itemViews()[0]->textColor());
                EXPECT_GE((std::max(accent, text) + 0.05) / (std::min(accent, text) + 0.05), 4.5)
                    << red << ' ' << green << ' ' << blue;
            }
        }
    }
    QApplication::setPalette(before);
}

class SearchBarMenuTests : public PanelMenuTests {
protected:
    SearchBarMenuTests()
    {
        fakes.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources";
        bar = new SearchBarView(fakes.platform, &window);
        bar->setGeometry(8, 8, 304, 36);
        bar->show();
        button = bar->findChild<QAbstractButton*>("menuButton");
    }

    fakes::FakePlatform fakes;
    SearchBarView* bar = nullptr;
    QAbstractButton* button = nullptr;
};

TEST_F(SearchBarMenuTests, theButtonClosesItsOpenMenu)
{
    for (const QEvent::Type second : {QEvent::MouseButtonPress, QEvent::MouseButtonDblClick}) {
        tests::click(*button);
        ASSERT_NE(bar->menu(), nullptr);

        tests::sendMouse(*button, second, tests::centre(*button), Qt::LeftButton, Qt::LeftButton);
        // The closed menu is deleted here, and is not to be missed.
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
        tests::release(*button, tests::centre(*button));

        EXPECT_EQ(bar->menu(), nullptr);
    }
    tests::click(*button);
    EXPECT_NE(bar->menu(), nullptr);
}

TEST_F(SearchBarMenuTests, theMenuTakesKeysOnlyWhileItIsOpen)
{
    KeyOverlay& overlay = bar->menuOverlay();
    EXPECT_FALSE(overlay.isShown());
    EXPECT_FALSE(overlay.handleKey(keyCode::return_));

    button->click();
    EXPECT_TRUE(overlay.isShown());
    EXPECT_TRUE(overlay.handleKey(keyCode::downArrow));
    EXPECT_TRUE(overlay.handleKey(keyCode::return_));

    EXPECT_EQ(fakes.menuHost.terminateCount, 1);
    EXPECT_FALSE(overlay.isShown());
}

TEST_F(SearchBarMenuTests, theMenuIsDismissedWithoutAChoice)
{
    button->click();

    bar->menuOverlay().dismiss();

    EXPECT_EQ(bar->menu(), nullptr);
    EXPECT_EQ(fakes.menuHost.terminateCount, 0);
}

TEST_F(SearchBarMenuTests, aMenuThatWasJustClosedCanBeOpenedAgainAtOnce)
{
    button->click();
    button->click();
    EXPECT_EQ(bar->menu(), nullptr);

    button->click();

    EXPECT_NE(bar->menu(), nullptr);
}

TEST_F(SearchBarMenuTests, theMenuGoesWithThePanel)
{
    button->click();

    window.hide();

    EXPECT_EQ(bar->menu(), nullptr);
}

} // namespace
} // namespace glimmerwick
