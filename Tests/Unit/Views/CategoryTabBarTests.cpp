#include "Views/CategoryTabBar.h"

#include "Fakes/FakePlatform.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QImage>
#include <QPainter>
#include <QVariantAnimation>
#include <QWheelEvent>

#include <gmock/gmock.h>

#include <algorithm>
#include <utility>

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

QImage rendered(QWidget& view)
{
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    view.render(&image, {}, {}, {});
    return image;
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

TEST_F(CategoryTabBarTests, tabsStandFourApartWhateverTheWidthOfTheBar)
{
    bar->configure(categories(9));

    for (const int width : {320, 500, 200}) {
        bar->resize(width, 36);
        for (int index = 0; index < 9; ++index) {
            EXPECT_EQ(bar->button("c" + std::to_string(index))->geometry(), QRect(8 + index * 32, 4, 28, 28))
                << width;
        }
    }
}

TEST_F(CategoryTabBarTests, tabsRunFromTheRightWhereTheLayoutDoes)
{
    bar->configure(categories(9));

    bar->setLayoutDirection(Qt::RightToLeft);

    EXPECT_EQ(bar->button("c0")->mapTo(bar.get(), QPoint(0, 0)), QPoint(320 - 8 - 28, 4));
    EXPECT_EQ(bar->button("c1")->mapTo(bar.get(), QPoint(0, 0)), QPoint(320 - 8 - 28 - 32, 4));
}

TEST_F(CategoryTabBarTests, aLongStripFromTheRightScrollsToItsLastTabAndBack)
{
    bar->setLayoutDirection(Qt::RightToLeft);
    bar->configure(categories(20));
    EXPECT_EQ(bar->button("c0")->mapTo(bar.get(), QPoint(0, 0)).x(), 320 - 8 - 28);

    bar->selectCategory("c19", Animation::none);
    EXPECT_EQ(bar->button("c19")->mapTo(bar.get(), QPoint(0, 0)).x(), 0);

    bar->selectCategory("c0", Animation::none);
    EXPECT_EQ(bar->button("c0")->mapTo(bar.get(), QPoint(0, 0)).x(), 320 - 28);
}

TEST_F(CategoryTabBarTests, theWheelScrollsALongStrip)
{
    bar->configure(categories(20));
    const auto turnWheel = [&](QPoint pixels) {
        QWheelEvent event(QPointF(20, 10), bar->mapToGlobal(QPointF(20, 10)), pixels, {}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(bar.get(), &event);
    };

    turnWheel({0, -50});
    EXPECT_EQ(bar->scrollOffset(), 50);
    turnWheel({-30, 0});
    EXPECT_EQ(bar->scrollOffset(), 80);
    turnWheel({0, 5000});
    EXPECT_EQ(bar->scrollOffset(), 0);

    bar->setLayoutDirection(Qt::RightToLeft);
    turnWheel({30, 0});
    EXPECT_EQ(bar->scrollOffset(), 30) << "to the right, where the strip goes on to the left";
}

TEST_F(CategoryTabBarTests, prefersTheSymbolThenTheFallbackThenTheEmoji)
{
    bar->configure({category("first", "heart", "circle"), category("second", "no.such", "circle"),
                    category("third", "no.such", "none.either"), category("fourth"), category("fifth", "")});

    EXPECT_TRUE(bar->button("first")->symbol().path.endsWith("heart.svg"));
    EXPECT_EQ(bar->button("first")->text(), "");
    EXPECT_TRUE(bar->button("second")->symbol().path.endsWith("circle.svg"));
    for (const char* id : {"third", "fourth", "fifth"}) {
        EXPECT_TRUE(bar->button(id)->symbol().isEmpty());
        EXPECT_EQ(bar->button(id)->text(), "😀");
        EXPECT_EQ(bar->button(id)->accessibleName(), QString("Name of ") + id);
    }
}

TEST_F(CategoryTabBarTests, everyCategoryOfTheCatalogueHasItsSymbol)
{
    for (const char* symbol : {"face.smiling", "person", "leaf", "fork.knife", "car", "soccerball",
                               "lightbulb", "heart", "flag", "circle"}) {
        bar->configure({category("any", symbol)});
        EXPECT_NE(bar->button("any")->symbol().path, "") << symbol;
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

TEST_F(CategoryTabBarTests, aTabOutOfSightIsScrolledIntoViewWithinAFifthOfASecond)
{
    bar->configure(categories(20));
    style::setAnimationsEnabled(true);
    auto* scroll = bar->findChild<QVariantAnimation*>({}, Qt::FindDirectChildrenOnly);
    ASSERT_NE(scroll, nullptr);

    bar->selectCategory("c19", Animation::none);

    const double target = bar->button("c19")->x() + 28 - 320;
    EXPECT_EQ(scroll->state(), QAbstractAnimation::Running);
    EXPECT_EQ(scroll->duration(), 200);
    EXPECT_EQ(bar->scrollOffset(), 0);
    scroll->setCurrentTime(100);
    EXPECT_GT(bar->scrollOffset(), 0);
    EXPECT_LT(bar->scrollOffset(), target);
    scroll->setCurrentTime(200);
    EXPECT_EQ(bar->scrollOffset(), target);
}

TEST_F(CategoryTabBarTests, theHighlightMovesWithinLessThanASixthOfASecond)
{
    bar->configure(categories(3));
    style::setAnimationsEnabled(true);
    CategoryButton& from = *bar->button("c0");
    CategoryButton& to = *bar->button("c1");

    bar->selectCategory("c1", Animation::animated);

    for (CategoryButton* button : {&from, &to}) {
        auto* fade = button->findChild<QVariantAnimation*>();
        ASSERT_NE(fade, nullptr);
        EXPECT_EQ(fade->state(), QAbstractAnimation::Running);
        EXPECT_EQ(fade->duration(), 150);
        fade->setCurrentTime(75);
        EXPECT_NEAR(button->backgroundColor().alphaF(), 0.1, 0.01);
        fade->setCurrentTime(150);
    }
    EXPECT_EQ(to.backgroundColor(), style::accent(0.2));
    EXPECT_EQ(from.backgroundColor().alpha(), 0);
}

TEST_F(CategoryTabBarTests, theHighlightMovesAtOnceWithoutAnimation)
{
    bar->configure(categories(3));
    style::setAnimationsEnabled(true);

    bar->selectCategory("c1", Animation::none);

    EXPECT_EQ(bar->button("c1")->backgroundColor(), style::accent(0.2));
    EXPECT_EQ(bar->button("c0")->backgroundColor().alpha(), 0);
}

TEST_F(CategoryTabBarTests, anEmojiIsDrawnInEighteenPointsAmidItsTab)
{
    bar->configure(categories(1));
    CategoryButton& tab = *bar->button("c0");
    tab.setSelected(false, Animation::none);

    QImage drawn(tab.size(), QImage::Format_ARGB32_Premultiplied);
    drawn.fill(Qt::transparent);
    tab.render(&drawn, {}, {}, {});

    QImage expected(tab.size(), QImage::Format_ARGB32_Premultiplied);
    expected.fill(Qt::transparent);
    QPainter(&expected).drawPixmap(0, 0, EmojiPixmapCache::shared().pixmap("😀", 18, 28, 1));
    EXPECT_EQ(drawn, expected);
}

TEST_F(CategoryTabBarTests, theHighlightHasRoundedCornersOfSix)
{
    bar->configure({category("any", "heart")});

    const QImage drawn = rendered(*bar->button("any"));

    EXPECT_LT(drawn.pixelColor(0, 0).alpha(), 10);
    EXPECT_NEAR(drawn.pixelColor(7, 0).alphaF(), 0.2, 0.01);
    EXPECT_NEAR(drawn.pixelColor(0, 7).alphaF(), 0.2, 0.01);
}

TEST_F(CategoryTabBarTests, symbolsLieOnWholePixelsAtRatiosThatAreNone)
{
    bar->configure({category("any", "flag")});
    CategoryButton& tab = *bar->button("any");

    for (const double ratio : {1.25, 1.5}) {
        // A third of a point off, as a scrolled strip may be.
        const QSize size = (QSizeF(30, 30) * ratio).toSize();
        QImage drawn(size, QImage::Format_ARGB32_Premultiplied);
        drawn.setDevicePixelRatio(ratio);
        drawn.fill(Qt::white);
        {
            QPainter painter(&drawn);
            painter.translate(1.0 / 3, 1.0 / 3);
            tab.setSelected(false, Animation::none);
            tab.render(&painter, {}, {}, {});
        }

        const int pixels = qRound(18 * ratio);
        const QPixmap symbol = SymbolLibrary::pixmap(tab.symbol(), pixels, tab.iconTint());
        const int offset = qRound((14 + 1.0 / 3) * ratio - pixels / 2.0);
        QImage expected(size, QImage::Format_ARGB32_Premultiplied);
        expected.fill(Qt::white);
        QPainter(&expected).drawPixmap(offset, offset, symbol);
        drawn.setDevicePixelRatio(1);
        EXPECT_EQ(drawn, expected) << ratio;
    }
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

/// The columns in which something is drawn; the first and the last.
std::pair<int, int> inkedColumns(const QImage& image)
{
    int first = image.width();
    int last = -1;
    for (int x = 0; x < image.width(); ++x) {
        for (int y = 0; y < image.height(); ++y) {
            if (image.pixelColor(x, y).alpha() > 0) {
                first = std::min(first, x);
                last = std::max(last, x);
            }
        }
    }
    return {first, last};
}

TEST(CategoryHeaderViewTests, drawsItsTitleSmallSemiboldAndSecondaryAtTheInset)
{
    CategoryHeaderView header;
    header.resize(320, 28);
    header.setTitle("Smileys");

    const QImage drawn = rendered(header);

    QImage expected(320, 28, QImage::Format_ARGB32_Premultiplied);
    expected.fill(Qt::transparent);
    QPainter painter(&expected);
    painter.setFont(style::systemFont(12, QFont::DemiBold));
    painter.setPen(style::secondaryLabel());
    painter.drawText(QRect(8, 0, 304, 28), Qt::AlignLeft | Qt::AlignVCenter, "Smileys");
    EXPECT_EQ(drawn, expected);
    EXPECT_NEAR(inkedColumns(drawn).first, 8, 2);
}

TEST(CategoryHeaderViewTests, standsAtTheRightWhereTheLayoutRunsFromThere)
{
    CategoryHeaderView header;
    header.resize(320, 28);
    header.setLayoutDirection(Qt::RightToLeft);
    header.setTitle("Smileys");

    EXPECT_NEAR(inkedColumns(rendered(header)).second, 320 - 8 - 1, 2);
}

TEST(CategoryHeaderViewTests, aLongTitleStaysBetweenTheInsets)
{
    CategoryHeaderView header;
    header.resize(320, 28);
    header.setTitle("Personenbeförderungsgelegenheiten und Landschaften mit sehr langen Bezeichnungen");

    const auto [first, last] = inkedColumns(rendered(header));

    EXPECT_GE(first, 7);
    EXPECT_LE(last, 312);
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
