#include "Views/CategoryTabBar.h"

#include "Fakes/FakePlatform.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Delegate : public CategoryTabBarDelegate {
public:
    void didSelectCategory(CategoryTabBar&, const EmojiCategory& category) override
    {
        ids.push_back(category.id);
    }

    std::vector<std::string> ids;
};

EmojiCategory category(const std::string& id, std::optional<std::string> symbol = std::nullopt,
                       std::optional<std::string> fallback = std::nullopt)
{
    return {id, "Name of " + id, "1f600", std::move(symbol), std::move(fallback), {}};
}

class CategoryTabBarTests : public ::testing::Test {
protected:
    CategoryTabBarTests()
    {
        fakes.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources";
        bar = std::make_unique<CategoryTabBar>(fakes.platform);
        bar->setDelegate(&delegate);
        bar->resize(320, 36);
        bar->show();
    }

    std::vector<EmojiCategory> categories(int count)
    {
        std::vector<EmojiCategory> made;
        for (int index = 0; index < count; ++index) {
            made.push_back(category("c" + std::to_string(index)));
        }
        return made;
    }

    fakes::FakePlatform fakes;
    Delegate delegate;
    std::unique_ptr<CategoryTabBar> bar;
};

TEST_F(CategoryTabBarTests, showsOneTabPerCategoryAndHighlightsTheFirst)
{
    bar->configure(categories(9));

    EXPECT_EQ(bar->objectName(), "categoryTabBar");
    EXPECT_EQ(bar->selectedCategoryId(), "c0");
    EXPECT_TRUE(bar->button("c0")->isSelected());
    EXPECT_FALSE(bar->button("c1")->isSelected());
    EXPECT_EQ(bar->button("c3")->accessibleName(), "Name of c3");
    EXPECT_EQ(bar->button("c3")->toolTip(), "Name of c3");
    EXPECT_EQ(bar->button("c3")->size(), QSize(28, 28));
}

TEST_F(CategoryTabBarTests, spreadsTheTabsEvenly)
{
    bar->configure(categories(9));

    const int step = bar->button("c1")->x() - bar->button("c0")->x();
    for (int index = 1; index < 9; ++index) {
        const int left = bar->button("c" + std::to_string(index - 1))->x();
        EXPECT_NEAR(bar->button("c" + std::to_string(index))->x() - left, step, 1);
    }
    const int first = bar->button("c0")->x();
    const int last = bar->button("c8")->x() + 28;
    EXPECT_NEAR(first, 320 - last, 1);
}

TEST_F(CategoryTabBarTests, prefersTheSymbolThenTheFallbackThenTheEmoji)
{
    bar->configure({category("first", "heart", "circle"), category("second", "no.such", "circle"),
                    category("third", "no.such", "none.either"), category("fourth"), category("fifth", "")});

    EXPECT_TRUE(bar->button("first")->symbolPath().endsWith("heart.svg"));
    EXPECT_EQ(bar->button("first")->text(), "");
    EXPECT_TRUE(bar->button("second")->symbolPath().endsWith("circle.svg"));
    for (const char* id : {"third", "fourth", "fifth"}) {
        EXPECT_EQ(bar->button(id)->symbolPath(), "");
        EXPECT_EQ(bar->button(id)->text(), "😀");
        EXPECT_EQ(bar->button(id)->accessibleName(), QString("Name of ") + id);
    }
}

TEST_F(CategoryTabBarTests, everyCategoryOfTheCatalogueHasItsSymbol)
{
    for (const char* symbol : {"face.smiling", "person", "leaf", "fork.knife", "car", "soccerball",
                               "lightbulb", "heart", "flag", "circle"}) {
        bar->configure({category("any", symbol)});
        EXPECT_NE(bar->button("any")->symbolPath(), "") << symbol;
    }
}

TEST_F(CategoryTabBarTests, skipsInvalidPiecesOfAnIcon)
{
    EmojiCategory odd = category("odd");
    odd.icon = "110000-1f44b-d800-1f3fb";

    bar->configure({odd});

    EXPECT_EQ(bar->button("odd")->text(), "👋🏻");
}

TEST_F(CategoryTabBarTests, configuringWithNothingLeavesAnEmptyStripAndNoSelection)
{
    bar->configure(categories(3));

    bar->configure({});

    EXPECT_EQ(bar->selectedCategoryId(), std::nullopt);
    EXPECT_EQ(bar->button("c0"), nullptr);
    EXPECT_THAT(bar->categories(), IsEmpty());
}

TEST_F(CategoryTabBarTests, configuringAgainReplacesTheTabs)
{
    bar->configure(categories(3));
    bar->selectCategory("c2", Animation::none);

    bar->configure({category("new")});

    EXPECT_EQ(bar->button("c2"), nullptr);
    EXPECT_EQ(bar->selectedCategoryId(), "new");
}

TEST_F(CategoryTabBarTests, clickHighlightsTheTabAndTellsTheDelegate)
{
    bar->configure(categories(3));

    bar->button("c2")->click();

    EXPECT_EQ(bar->selectedCategoryId(), "c2");
    EXPECT_TRUE(bar->button("c2")->isSelected());
    EXPECT_FALSE(bar->button("c0")->isSelected());
    EXPECT_THAT(delegate.ids, ElementsAre("c2"));
}

TEST_F(CategoryTabBarTests, clickOnTheSelectedTabStillTellsTheDelegate)
{
    bar->configure(categories(3));

    bar->button("c0")->click();
    bar->button("c0")->click();

    EXPECT_THAT(delegate.ids, ElementsAre("c0", "c0"));
}

TEST_F(CategoryTabBarTests, selectingDoesNotTellTheDelegate)
{
    bar->configure(categories(3));

    bar->selectCategory("c1", Animation::animated);

    EXPECT_TRUE(bar->button("c1")->isSelected());
    EXPECT_THAT(delegate.ids, IsEmpty());
}

TEST_F(CategoryTabBarTests, anIdentifierWithoutATabIsOnlyRecorded)
{
    bar->configure(categories(3));

    bar->selectCategory("recent", Animation::animated);

    EXPECT_EQ(bar->selectedCategoryId(), "recent");
    EXPECT_FALSE(bar->button("c0")->isSelected());
    bar->selectCategory("c1", Animation::none);
    EXPECT_TRUE(bar->button("c1")->isSelected());
}

TEST_F(CategoryTabBarTests, aVisibleTabDoesNotScrollTheStrip)
{
    bar->configure(categories(20));

    bar->selectCategory("c4", Animation::animated);

    EXPECT_EQ(bar->scrollOffset(), 0);
}

TEST_F(CategoryTabBarTests, aTabOutOfSightIsScrolledIntoView)
{
    bar->configure(categories(20));

    bar->selectCategory("c19", Animation::none);
    EXPECT_EQ(bar->scrollOffset(), bar->button("c19")->x() + 28 - 320);

    bar->selectCategory("c0", Animation::none);
    EXPECT_EQ(bar->scrollOffset(), bar->button("c0")->x());
}

TEST_F(CategoryTabBarTests, coloursFollowSelectionAndPointer)
{
    bar->configure(categories(2));
    CategoryButton& other = *bar->button("c1");

    EXPECT_EQ(bar->button("c0")->backgroundColor(), style::accent(0.2));
    EXPECT_EQ(bar->button("c0")->iconTint(), style::accent());
    EXPECT_EQ(other.backgroundColor().alpha(), 0);
    EXPECT_EQ(other.iconTint(), style::secondaryLabel());

    tests::enter(other);
    EXPECT_EQ(other.backgroundColor(), style::accent(0.1));
    EXPECT_EQ(other.iconTint(), style::accent());

    bar->selectCategory("c1", Animation::none);
    EXPECT_EQ(other.backgroundColor(), style::accent(0.2));

    bar->selectCategory("c0", Animation::none);
    tests::leave(other);
    EXPECT_EQ(other.backgroundColor().alpha(), 0);
}

TEST_F(CategoryTabBarTests, theRecentTabComesFirstAndCanBeHidden)
{
    bar->configure(categories(2), CategoryTabBar::RecentTab::included);
    ASSERT_NE(bar->button("recent"), nullptr);
    EXPECT_EQ(bar->selectedCategoryId(), "recent");
    EXPECT_LT(bar->button("recent")->x(), bar->button("c0")->x());
    const int before = bar->button("c0")->x();

    bar->setRecentTabVisible(false);
    EXPECT_FALSE(bar->button("recent")->isVisible());
    EXPECT_LT(bar->button("c0")->x(), before);

    bar->setRecentTabVisible(true);
    EXPECT_TRUE(bar->button("recent")->isVisible());
    EXPECT_EQ(bar->button("c0")->x(), before);
}

TEST_F(CategoryTabBarTests, hidingARecentTabThatIsNotThereDoesNothing)
{
    bar->configure(categories(2));

    bar->setRecentTabVisible(false);

    EXPECT_TRUE(bar->button("c0")->isVisible());
}

TEST_F(CategoryTabBarTests, tabsTakeNoKeyboardFocus)
{
    bar->configure(categories(2));

    EXPECT_EQ(bar->button("c0")->focusPolicy(), Qt::NoFocus);
}

TEST(CategoryHeaderViewTests, forgetsItsTitleOnReuse)
{
    CategoryHeaderView header;
    header.setTitle("Recent");
    EXPECT_EQ(header.accessibleName(), "Recent");

    header.prepareForReuse();

    EXPECT_EQ(header.title(), "");
    EXPECT_EQ(header.accessibleName(), "");
}

} // namespace
} // namespace glimmerwick
