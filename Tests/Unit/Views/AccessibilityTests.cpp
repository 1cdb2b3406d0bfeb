#include "Views/Accessibility.h"

#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/ViewsFixture.h"

#include <QAccessible>
#include <QAccessibleActionInterface>

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

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

} // namespace
} // namespace glimmerwick
