#include "Views/Accessibility.h"

#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/SkinToneSelectorView.h"
#include "Views/ViewsFixture.h"

#include <QAccessible>
#include <QAccessibleActionInterface>
#include <QLineEdit>

#include <gmock/gmock.h>

#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

QAccessibleInterface& interfaceOf(QWidget& view)
{
    return *QAccessible::queryAccessibleInterface(&view);
}

std::string nameOf(QAccessibleInterface& view)
{
    return view.text(QAccessible::Name).toStdString();
}

/// Writes down what assistive technology is told, for as long as it lives: "focus 😀", "selected 😀",
/// "deselected 😀". A focus that the object itself denies, which screen readers ignore, is "denied 😀".
class Announcements {
public:
    Announcements()
    {
        told().clear();
        m_previous = QAccessible::installUpdateHandler(note);
    }
    ~Announcements() { QAccessible::installUpdateHandler(m_previous); }

    /// What was told since the last call.
    static std::vector<std::string> take() { return std::exchange(told(), {}); }

private:
    static std::vector<std::string>& told()
    {
        static std::vector<std::string> texts;
        return texts;
    }
    static void note(QAccessibleEvent* event)
    {
        QAccessibleInterface* view = event->accessibleInterface();
        switch (event->type()) {
        case QAccessible::Focus:
            told().push_back((view->state().focused ? "focus " : "denied ") + nameOf(*view));
            break;
        case QAccessible::SelectionAdd:
            told().push_back((view->state().selected ? "selected " : "denied ") + nameOf(*view));
            break;
        case QAccessible::SelectionRemove:
            told().push_back((view->state().selected ? "denied " : "deselected ") + nameOf(*view));
            break;
        default:
            break;
        }
    }

    QAccessible::UpdateHandler m_previous = nullptr;
};

class AccessibilityTests : public tests::ViewsFixture {
protected:
    AccessibilityTests()
    {
        loadManifest(tests::manifestDocument({{"a", "First", {"1f600", "1f601"}}}));
        window.resize(320, 312);
        grid.view()->setParent(&window);
        grid.view()->setGeometry(0, 0, 320, 312);
        window.show();
    }

    CollectionView& collection() { return *grid.internalCollectionView(); }
    CollectionViewItem& cell(std::size_t item) { return *collection().item({0, item}); }

    /// A window of its own with so many emoji, U+1F600 and on; the second accepts tones.
    void show(std::size_t count)
    {
        loadManifest(tests::manifestDocument({{"a", "First", tests::codepoints(0x1f600, count)}}, {"1f601"}));
        grid.reloadData();
        collection().setFocus();
    }

    QWidget window;
    EmojiGridViewController grid{fakes.platform, dataManager, recents, preferences, renderer, popover};
};

TEST_F(AccessibilityTests, theGridIsAListOfButtons)
{
    QAccessibleInterface* list = QAccessible::queryAccessibleInterface(grid.internalCollectionView());
    QAccessibleInterface* item =
        QAccessible::queryAccessibleInterface(grid.internalCollectionView()->item({0, 0}));

    ASSERT_TRUE(list && item);
    EXPECT_EQ(list->role(), QAccessible::List);
    EXPECT_EQ(item->role(), QAccessible::Button);
    EXPECT_EQ(item->text(QAccessible::Name), "😀");
}

TEST_F(AccessibilityTests, theSelectedItemSaysSo)
{
    CollectionView& collection = *grid.internalCollectionView();
    collection.selectItem({0, 1}, ScrollPosition::none);

    EXPECT_FALSE(QAccessible::queryAccessibleInterface(collection.item({0, 0}))->state().selected);
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(collection.item({0, 1}))->state().selected);
}

TEST_F(AccessibilityTests, pressingAnItemPicksIt)
{
    std::string picked;
    const auto observer = fakes.notificationCenter.addObserver(
        EmojiGridViewController::emojiSelectedNotification,
        [&](const Notification& notification) { picked = notification.value<Emoji>("emoji")->codepoint; });
    QAccessibleInterface* item =
        QAccessible::queryAccessibleInterface(grid.internalCollectionView()->item({0, 1}));

    item->actionInterface()->doAction(QAccessibleActionInterface::pressAction());

    EXPECT_EQ(picked, "1f601");
}

TEST_F(AccessibilityTests, aToneIsAButtonThatCanBePressed)
{
    SkinToneSelectorView selector(preferences);
    selector.configure({"1f44b", "👋", "", {}, "", true});
    QAccessibleInterface* tone = QAccessible::queryAccessibleInterface(selector.skinToneButtons()[2]);

    EXPECT_EQ(tone->role(), QAccessible::Button);
    EXPECT_FALSE(tone->state().selected);
    tone->actionInterface()->doAction(QAccessibleActionInterface::pressAction());

    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::mediumLight);
    EXPECT_TRUE(tone->state().selected);
}

TEST_F(AccessibilityTests, anEmojiIsReadByItsName)
{
    EXPECT_EQ(interfaceOf(cell(0)).text(QAccessible::Description), "name of 1f600");
    EXPECT_EQ(cell(0).objectName(), "😀");

    cell(0).prepareForReuse();

    EXPECT_EQ(interfaceOf(cell(0)).text(QAccessible::Description), "");
}

TEST_F(AccessibilityTests, identifiersAreReadToNobody)
{
    SkinToneSelectorView selector(preferences);

    for (QWidget* view : std::vector<QWidget*>{&collection(), &selector}) {
        EXPECT_NE(view->objectName(), "");
        EXPECT_EQ(interfaceOf(*view).text(QAccessible::Description), "");
    }
    EXPECT_EQ(nameOf(interfaceOf(collection())), "Emoji");
    EXPECT_EQ(nameOf(interfaceOf(selector)), "Skin tones");
    EXPECT_EQ(interfaceOf(selector).role(), QAccessible::Grouping);
}

TEST_F(AccessibilityTests, theSelectedItemHasTheFocusWhileTheKeysGoToTheGrid)
{
    QLineEdit field(&window);
    field.show();
    collection().setFocus();
    EXPECT_TRUE(interfaceOf(collection()).state().focused);

    collection().selectItem({0, 1}, ScrollPosition::none);

    EXPECT_TRUE(interfaceOf(cell(1)).state().focused);
    EXPECT_TRUE(interfaceOf(cell(0)).state().focusable);
    EXPECT_FALSE(interfaceOf(cell(0)).state().focused);
    EXPECT_FALSE(interfaceOf(collection()).state().focused);
    EXPECT_EQ(interfaceOf(collection()).focusChild(), &interfaceOf(cell(1)));
    field.setFocus();
    EXPECT_FALSE(interfaceOf(cell(1)).state().focused);
    EXPECT_EQ(interfaceOf(collection()).focusChild(), nullptr);
}

TEST_F(AccessibilityTests, movingTheSelectionIsTold)
{
    collection().setFocus();
    const Announcements announcements;

    collection().selectItem({0, 0}, ScrollPosition::none);
    EXPECT_THAT(Announcements::take(), ElementsAre("selected 😀", "focus 😀"));
    collection().selectItem({0, 1}, ScrollPosition::none);
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😀", "selected 😁", "focus 😁"));
    collection().deselectAll();
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😁", "focus Emoji"));
}

TEST_F(AccessibilityTests, aSelectionThatIsMovedFromElsewhereTakesNoFocus)
{
    QLineEdit field(&window);
    field.show();
    field.setFocus();
    const Announcements announcements;

    collection().selectItem({0, 0}, ScrollPosition::none);

    EXPECT_THAT(Announcements::take(), ElementsAre("selected 😀"));
}

TEST_F(AccessibilityTests, aCellThatIsUsedAgainIsNoLongerSelected)
{
    show(300);
    collection().selectItem({0, 0}, ScrollPosition::none);
    const Announcements announcements;

    collection().scrollTo(1000);
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😀", "focus Emoji"));
    EXPECT_TRUE(interfaceOf(collection()).state().focused);
    collection().scrollTo(0);
    EXPECT_THAT(Announcements::take(), ElementsAre("selected 😀", "focus 😀"));
    collection().reloadData();
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😀", "focus Emoji"));
}

TEST_F(AccessibilityTests, aSelectionThatScrollsIsToldOnceAndInOrder)
{
    show(300);
    collection().selectItem({0, 0}, ScrollPosition::none);
    const Announcements announcements;

    collection().selectItem({0, 1}, ScrollPosition::top);
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😀", "selected 😁", "focus 😁"));
    collection().selectItem({0, 256}, ScrollPosition::centeredVertically);
    EXPECT_THAT(Announcements::take(), ElementsAre("deselected 😁", "selected 🜀", "focus 🜀"));
}

TEST_F(AccessibilityTests, theListHasWhatIsInSightInOrder)
{
    show(300);
    collection().scrollTo(500);

    QAccessibleInterface& list = interfaceOf(collection());
    const double top = collection().visibleTop();
    std::vector<std::string> expected;
    for (std::size_t item = 0; item < 300; ++item) {
        const Rect frame = *collection().flowLayout().itemFrame({0, item});
        if (frame.maxY() > top && frame.y < top + collection().height()) {
            expected.push_back(nameOf(interfaceOf(cell(item))));
        }
    }
    std::vector<std::string> names;
    for (int index = 0; index < list.childCount(); ++index) {
        names.push_back(nameOf(*list.child(index)));
        EXPECT_EQ(list.indexOfChild(list.child(index)), index);
        EXPECT_EQ(list.child(index)->parent(), &list);
    }
    EXPECT_EQ(names, expected);
    EXPECT_EQ(list.child(list.childCount()), nullptr);
    EXPECT_EQ(list.child(-1), nullptr);
    const QPoint middle = list.child(3)->rect().center();
    EXPECT_EQ(list.childAt(middle.x(), middle.y()), list.child(3));
}

TEST_F(AccessibilityTests, theListBeginsWithItsTitle)
{
    QAccessibleInterface& list = interfaceOf(collection());

    EXPECT_EQ(list.childCount(), 3);
    EXPECT_EQ(list.child(0)->object(), collection().header(0));
    EXPECT_EQ(list.child(1)->object(), &cell(0));
}

TEST_F(AccessibilityTests, anEmojiWithTonesHasAMenu)
{
    show(3);
    QAccessibleInterface& plain = interfaceOf(cell(0));
    QAccessibleInterface& toned = interfaceOf(cell(1));

    EXPECT_THAT(plain.actionInterface()->actionNames(),
                ElementsAre(QAccessibleActionInterface::pressAction()));
    EXPECT_THAT(
        toned.actionInterface()->actionNames(),
        ElementsAre(QAccessibleActionInterface::pressAction(), QAccessibleActionInterface::showMenuAction()));
    EXPECT_FALSE(plain.state().hasPopup);
    EXPECT_TRUE(toned.state().hasPopup);
    plain.actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_FALSE(popover.isShown());
    toned.actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
    EXPECT_TRUE(popover.isShown());
}

TEST_F(AccessibilityTests, theFocusGoesToTheTonesAndBack)
{
    show(3);
    preferences.setPreferredSkinTone(SkinTone::medium);
    collection().selectItem({0, 1}, ScrollPosition::none);
    const Announcements announcements;

    popover.show(*dataManager.manifest()->emoji("1f601"), cell(1), RectEdge::maxY);
    EXPECT_THAT(Announcements::take(), ElementsAre("focus 😁🏽"));
    EXPECT_FALSE(interfaceOf(cell(1)).state().focused);
    popover.handleKey(keyCode::rightArrow);
    EXPECT_THAT(Announcements::take(), ElementsAre("focus 😁🏾"));
    popover.handleKey(keyCode::escape);
    EXPECT_THAT(Announcements::take(), ElementsAre("focus 😁🏽"));
    EXPECT_TRUE(interfaceOf(cell(1)).state().focused);
}

TEST_F(AccessibilityTests, keysComeBackWhenTheLastThatTookThemIsGone)
{
    collection().setFocus();
    Registration first = accessibility::lendKeys(window);
    Registration second = accessibility::lendKeys(window);
    const Announcements announcements;

    first.reset();
    EXPECT_FALSE(accessibility::hasKeys(collection()));
    EXPECT_THAT(Announcements::take(), IsEmpty());
    second.reset();

    EXPECT_TRUE(accessibility::hasKeys(collection()));
    EXPECT_THAT(Announcements::take(), ElementsAre("focus Emoji"));
}

TEST_F(AccessibilityTests, nothingHasTheKeysOfAHiddenWindow)
{
    collection().setFocus();
    ASSERT_TRUE(accessibility::hasKeys(collection()));

    window.hide();

    EXPECT_FALSE(accessibility::hasKeys(collection()));
}

TEST_F(AccessibilityTests, tonesAreReadByTheirNames)
{
    SkinToneSelectorView selector(preferences);
    std::vector<std::string> descriptions;

    for (SkinToneButton* button : selector.skinToneButtons()) {
        descriptions.push_back(interfaceOf(*button).text(QAccessible::Description).toStdString());
    }

    EXPECT_THAT(descriptions,
                ElementsAre("default skin tone", "light skin tone", "medium-light skin tone",
                            "medium skin tone", "medium-dark skin tone", "dark skin tone"));
}

} // namespace
} // namespace glimmerwick
