#include "Views/AccessibleControls.h"

#include "Platform/KeyEvent.h"
#include "Views/CategoryHeaderView.h"
#include "Views/CategoryTabBar.h"
#include "Views/NoResultsLabel.h"
#include "Views/PanelMenuItem.h"
#include "Views/SearchBarView.h"
#include "Views/ToastView.h"
#include "Views/ViewsFixture.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QImage>

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

/// What assistive technology was told, for as long as it lives.
class Announcements {
public:
    Announcements()
    {
        list().clear();
        m_previous = QAccessible::installUpdateHandler(
            [](QAccessibleEvent* event) { list().emplace_back(event->object(), event->type()); });
    }
    ~Announcements() { QAccessible::installUpdateHandler(m_previous); }

    static bool contains(const QObject* object, QAccessible::Event type)
    {
        return std::find(list().begin(), list().end(), std::pair(object, type)) != list().end();
    }

private:
    using List = std::vector<std::pair<const QObject*, QAccessible::Event>>;

    static List& list()
    {
        static List announcements;
        return announcements;
    }

    QAccessible::UpdateHandler m_previous = nullptr;
};

QAccessibleInterface& interfaceOf(QWidget& view)
{
    return *QAccessible::queryAccessibleInterface(&view);
}

void pressByAccessibility(QWidget& view)
{
    interfaceOf(view).actionInterface()->doAction(QAccessibleActionInterface::pressAction());
}

class AccessibleControlsTests : public ::testing::Test {
protected:
    AccessibleControlsTests()
    {
        fakes.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources";
        window.resize(320, 400);
        window.show();
    }

    QWidget window;
    fakes::FakePlatform fakes;
};

class AccessibleTabsTests : public AccessibleControlsTests, protected CategoryTabBarDelegate {
protected:
    AccessibleTabsTests()
    {
        bar.setDelegate(this);
        bar.resize(320, 36);
        bar.configure({{"a", "First", "1f600", "heart", std::nullopt, {}},
                       {"b", "Second", "1f600", std::nullopt, std::nullopt, {}}});
        bar.show();
    }

    void didSelectCategory(CategoryTabBar&, const EmojiCategory& category) override { clicked = category.id; }

    CategoryTabBar bar{fakes.platform, &window};
    std::string clicked;
};

TEST_F(AccessibleTabsTests, theBarIsANamedToolBar)
{
    EXPECT_EQ(interfaceOf(bar).role(), QAccessible::ToolBar);
    EXPECT_EQ(interfaceOf(bar).text(QAccessible::Name), "Categories");
}

TEST_F(AccessibleTabsTests, tabsAreButtonsAndTheHighlightedOneIsChecked)
{
    for (const auto& [id, name, isChecked] :
         {std::tuple("a", "First", true), std::tuple("b", "Second", false)}) {
        QAccessibleInterface& tab = interfaceOf(*bar.button(id));
        EXPECT_EQ(tab.role(), QAccessible::Button);
        EXPECT_EQ(tab.text(QAccessible::Name), name);
        EXPECT_EQ(tab.text(QAccessible::Description), "") << "the name would be read twice";
        EXPECT_TRUE(tab.state().checkable);
        EXPECT_EQ(tab.state().checked, isChecked);
    }
}

TEST_F(AccessibleTabsTests, pressingATabGoesToItsCategory)
{
    pressByAccessibility(*bar.button("b"));

    EXPECT_EQ(clicked, "b");
    EXPECT_TRUE(interfaceOf(*bar.button("b")).state().checked);
    EXPECT_FALSE(interfaceOf(*bar.button("a")).state().checked);
}

TEST_F(AccessibleTabsTests, theMoveOfTheHighlightIsTold)
{
    const Announcements announcements;

    bar.selectCategory("b", Animation::animated);

    EXPECT_TRUE(announcements.contains(bar.button("a"), QAccessible::StateChanged));
    EXPECT_TRUE(announcements.contains(bar.button("b"), QAccessible::StateChanged));
}

TEST_F(AccessibleTabsTests, aTabThatKeepsItsHighlightIsNotTold)
{
    const Announcements announcements;

    bar.button("b")->setSelected(false, Animation::none);

    EXPECT_FALSE(announcements.contains(bar.button("b"), QAccessible::StateChanged));
}

class AccessibleMenuTests : public AccessibleControlsTests {
protected:
    AccessibleMenuTests()
    {
        bar.resize(320, 36);
        bar.show();
        pressByAccessibility(*bar.findChild<QAbstractButton*>("menuButton"));
    }

    SearchBarView bar{fakes.platform, &window};
};

TEST_F(AccessibleMenuTests, theButtonOpensAndClosesTheMenu)
{
    auto* button = bar.findChild<QAbstractButton*>("menuButton");
    EXPECT_EQ(interfaceOf(*button).role(), QAccessible::Button);
    EXPECT_EQ(interfaceOf(*button).text(QAccessible::Name), "Menu");
    EXPECT_NE(bar.menu(), nullptr);

    pressByAccessibility(*button);
    EXPECT_EQ(bar.menu(), nullptr);
}

TEST_F(AccessibleMenuTests, theMenuIsAMenuOfItsItems)
{
    ASSERT_NE(bar.menu(), nullptr);
    QAccessibleInterface& menu = interfaceOf(*bar.menu());

    EXPECT_EQ(menu.role(), QAccessible::PopupMenu);
    EXPECT_EQ(menu.text(QAccessible::Name), "Menu");
    ASSERT_EQ(menu.childCount(), 1);
    QAccessibleInterface* item = menu.child(0);
    EXPECT_EQ(item->role(), QAccessible::MenuItem);
    EXPECT_EQ(item->text(QAccessible::Name), "Quit");
    EXPECT_EQ(item->text(QAccessible::Accelerator), "Ctrl+Q");
}

TEST_F(AccessibleMenuTests, pressingAnItemChoosesIt)
{
    ASSERT_NE(bar.menu(), nullptr);

    pressByAccessibility(*bar.menu()->itemViews()[0]);

    EXPECT_EQ(fakes.menuHost.terminateCount, 1);
    EXPECT_EQ(bar.menu(), nullptr);
}

TEST_F(AccessibleMenuTests, theHighlightedItemHasTheFocusAndSaysSo)
{
    ASSERT_NE(bar.menu(), nullptr);
    PanelMenuItem& item = *bar.menu()->itemViews()[0];
    EXPECT_TRUE(interfaceOf(item).state().focusable);
    EXPECT_FALSE(interfaceOf(item).state().focused);
    const Announcements announcements;

    bar.menu()->handleKey(keyCode::downArrow);

    EXPECT_TRUE(interfaceOf(item).state().focused);
    EXPECT_TRUE(announcements.contains(&item, QAccessible::Focus));
}

TEST_F(AccessibleMenuTests, theKeysGoBackToTheFieldWhenTheMenuCloses)
{
    ASSERT_NE(bar.menu(), nullptr);
    bar.internalSearchField()->setFocus();
    const Announcements announcements;

    bar.menu()->handleKey(keyCode::escape);

    EXPECT_TRUE(announcements.contains(bar.internalSearchField(), QAccessible::Focus));
}

TEST_F(AccessibleControlsTests, aSectionTitleIsAHeading)
{
    CategoryHeaderView header(&window);
    header.setTitle("Food & Drink");

    EXPECT_EQ(interfaceOf(header).role(), QAccessible::Heading);
    EXPECT_EQ(interfaceOf(header).text(QAccessible::Name), "Food & Drink");
}

TEST_F(AccessibleControlsTests, aToastIsAnAlertThatIsToldOf)
{
    auto* toast = new ToastView("Copied!", fakes.time);
    const Announcements announcements;

    toast->show(window, std::nullopt);

    EXPECT_EQ(interfaceOf(*toast).role(), QAccessible::AlertMessage);
    EXPECT_EQ(interfaceOf(*toast).text(QAccessible::Name), "Copied!");
    EXPECT_TRUE(announcements.contains(toast, QAccessible::ObjectShow));
}

TEST_F(AccessibleControlsTests, anEmptySearchIsANotificationThatIsToldOf)
{
    NoResultsLabel label(&window);
    label.resize(320, 300);
    const Announcements announcements;

    label.show();

    EXPECT_EQ(interfaceOf(label).role(), QAccessible::Notification);
    EXPECT_EQ(interfaceOf(label).text(QAccessible::Name), "No results found");
    EXPECT_TRUE(announcements.contains(&label, QAccessible::ObjectShow));
}

TEST(NoResultsLabelTests, aLongTextWrapsInsideItsPlace)
{
    NoResultsLabel label;
    label.resize(160, 200);
    label.setText("Es konnte leider wirklich überhaupt nichts Passendes gefunden werden");

    QImage drawn(label.size(), QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    label.render(&drawn, {}, {}, {});

    int inkedRows = 0;
    for (int y = 0; y < drawn.height(); ++y) {
        bool isInked = false;
        for (int x = 0; x < drawn.width(); ++x) {
            const bool hasInk = drawn.pixelColor(x, y).alpha() > 0;
            isInked |= hasInk;
            EXPECT_FALSE(hasInk && (x < 15 || x > 144)) << x;
        }
        inkedRows += isInked ? 1 : 0;
    }
    EXPECT_GT(inkedRows, 2 * 14) << "more than two lines";
}

} // namespace
} // namespace glimmerwick
