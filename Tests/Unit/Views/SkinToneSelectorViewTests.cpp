#include "Views/SkinToneSelectorView.h"

#include "Views/PopoverView.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"
#include "Views/Wheel.h"

#include <QApplication>
#include <QPointer>
#include <QPushButton>
#include <QVariantAnimation>

#include <gmock/gmock.h>

#include <cmath>

namespace glimmerwick {
namespace {

using testing::ElementsAre;

const Emoji wave{"1f44b", "👋", "waving hand", {}, "people", true};

class SkinToneSelectorViewTests : public tests::ViewsFixture {
protected:
    SkinToneSelectorViewTests()
    {
        window.resize(320, 400);
        anchor.setGeometry(140, 200, 40, 40);
        window.show();
        popover.onSkinToneSelected = [this](SkinTone tone, const Emoji& emoji) {
            chosen.emplace_back(tone, emoji.codepoint);
        };
    }

    SkinToneButton& button(std::size_t index) { return *popover.selectorView()->skinToneButtons()[index]; }

    QWidget window;
    QWidget anchor{&window};
    std::vector<std::pair<SkinTone, std::string>> chosen;
};

TEST_F(SkinToneSelectorViewTests, buttonsShowTheEmojiInEachTone)
{
    SkinToneSelectorView selector(preferences);

    selector.configure(wave);

    std::vector<std::string> texts;
    std::vector<std::string> identifiers;
    for (const SkinToneButton* button : selector.skinToneButtons()) {
        texts.push_back(button->emojiText());
        identifiers.push_back(button->objectName().toStdString());
    }
    EXPECT_THAT(texts, ElementsAre("👋", "👋🏻", "👋🏼", "👋🏽", "👋🏾", "👋🏿"));
    EXPECT_THAT(identifiers,
                ElementsAre("skinToneButton_default", "skinToneButton_1f3fb", "skinToneButton_1f3fc",
                            "skinToneButton_1f3fd", "skinToneButton_1f3fe", "skinToneButton_1f3ff"));
    EXPECT_EQ(selector.sizeHint(), QSize(252, 52));
    EXPECT_EQ(selector.objectName(), "skinToneSelector");
}

TEST_F(SkinToneSelectorViewTests, unconfiguredButtonsWave)
{
    EXPECT_EQ(SkinToneButton(SkinTone::default_).emojiText(), "👋");
    EXPECT_EQ(SkinToneButton(SkinTone::dark).emojiText(), "👋🏿");
}

TEST_F(SkinToneSelectorViewTests, anInvalidCodepointFallsBackToThePlainText)
{
    SkinToneSelectorView selector(preferences);

    selector.configure({"zz", "👋", "", {}, "", true});

    for (const SkinToneButton* button : selector.skinToneButtons()) {
        EXPECT_EQ(button->emojiText(), "👋");
    }
}

TEST_F(SkinToneSelectorViewTests, preferredToneIsTintedWhenThePopoverOpens)
{
    preferences.setPreferredSkinTone(SkinTone::medium);

    popover.show(wave, anchor, RectEdge::maxY);

    for (std::size_t index = 0; index < 6; ++index) {
        EXPECT_EQ(button(index).isSelected(), index == 3);
    }
    EXPECT_EQ(button(3).backgroundColor(), style::accent(0.2));
    EXPECT_EQ(button(0).backgroundColor().alpha(), 0);
}

TEST_F(SkinToneSelectorViewTests, clickStoresTheToneTellsTheOwnerOnceAndCloses)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::click(button(2));

    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::mediumLight);
    EXPECT_THAT(chosen, ElementsAre(std::pair<SkinTone, std::string>(SkinTone::mediumLight, "1f44b")));
    EXPECT_FALSE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, pressReleasedOutsideChangesNothing)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::press(button(2), {18, 18});
    EXPECT_EQ(button(2).backgroundColor(), style::accent(0.3));
    tests::release(button(2), {60, 18});

    EXPECT_EQ(button(2).backgroundColor().alpha(), 0);
    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_);
    EXPECT_TRUE(chosen.empty());
    EXPECT_TRUE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, buttonsShowThePointer)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::enter(button(4));
    EXPECT_EQ(button(4).backgroundColor(), style::accent(0.15));

    tests::leave(button(4));
    EXPECT_EQ(button(4).backgroundColor().alpha(), 0);
}

TEST_F(SkinToneSelectorViewTests, clickOutsideClosesAndALaterShowWorks)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::press(window, {5, 390});
    EXPECT_FALSE(popover.isShown());
    popover.show(wave, anchor, RectEdge::maxY);

    EXPECT_TRUE(popover.isShown());
    tests::click(button(1));
    EXPECT_EQ(chosen.size(), 1U);
}

TEST_F(SkinToneSelectorViewTests, clickBetweenTheButtonsLeavesItOpen)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::press(*popover.selectorView(), {3, 3});

    EXPECT_TRUE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, scrollingOutsideClosesAndOverTheTonesDoesNot)
{
    popover.show(wave, anchor, RectEdge::maxY);
    tests::turnWheel(window, button(2).mapTo(&window, QPointF(18, 18)));
    ASSERT_TRUE(popover.isShown());
    tests::turnWheel(window, {310, 390});
    EXPECT_FALSE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, aHeldToneIsNotChosenWhenThePopoverGoes)
{
    style::setAnimationsEnabled(true);
    popover.show(wave, anchor, RectEdge::maxY);
    const QPointer<SkinToneButton> held = &button(3);
    tests::press(*held, {18, 18});

    popover.handleKey(keyCode::escape);
    style::setAnimationsEnabled(false);
    ASSERT_TRUE(held) << "still fading";
    tests::release(*held, {18, 18});

    EXPECT_THAT(chosen, testing::IsEmpty());
}

TEST_F(SkinToneSelectorViewTests, hidingTheAnchorOrTheWindowCloses)
{
    popover.show(wave, anchor, RectEdge::maxY);
    anchor.hide();
    EXPECT_FALSE(popover.isShown());

    anchor.show();
    popover.show(wave, anchor, RectEdge::maxY);
    window.hide();
    EXPECT_FALSE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, aNewPopoverReplacesTheOpenOne)
{
    popover.show(wave, anchor, RectEdge::maxY);
    const QPointer<SkinToneSelectorView> first = popover.selectorView();

    popover.show({"1f44d", "👍", "", {}, "", true}, anchor, RectEdge::maxY);

    EXPECT_NE(popover.selectorView(), first);
    EXPECT_EQ(button(0).emojiText(), "👍");
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(first.isNull());
    EXPECT_TRUE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, anEmojiWithoutTonesOpensNothingAndClosesNothing)
{
    popover.show(wave, anchor, RectEdge::maxY);

    popover.show({"1f600", "😀", "", {}, "", false}, anchor, RectEdge::maxY);

    EXPECT_EQ(button(0).emojiText(), "👋");
}

TEST_F(SkinToneSelectorViewTests, aSelectorWithoutAnEmojiIgnoresClicks)
{
    SkinToneSelectorView selector(preferences);

    tests::click(*selector.skinToneButtons()[3]);

    EXPECT_EQ(preferences.preferredSkinTone(), SkinTone::default_);
}

TEST_F(SkinToneSelectorViewTests, takesNoKeyboardFocus)
{
    anchor.setFocusPolicy(Qt::StrongFocus);
    anchor.setFocus();

    popover.show(wave, anchor, RectEdge::maxY);
    tests::press(button(1), {18, 18});

    EXPECT_EQ(window.focusWidget(), &anchor);
}

TEST_F(SkinToneSelectorViewTests, liesInsideTheWindowAboveItsAnchor)
{
    popover.show(wave, anchor, RectEdge::maxY);

    const SkinToneSelectorView& selector = *popover.selectorView();
    const QRect place(selector.mapTo(&window, QPoint(0, 0)), selector.size());
    EXPECT_TRUE(window.rect().contains(place));
    EXPECT_LT(place.bottom(), anchor.y());
}

TEST_F(SkinToneSelectorViewTests, keysMoveTheMarkChooseAndClose)
{
    EXPECT_FALSE(popover.handleKey(keyCode::rightArrow)) << "nothing is open";
    preferences.setPreferredSkinTone(SkinTone::light);
    popover.show(wave, anchor, RectEdge::maxY);

    EXPECT_TRUE(popover.handleKey(keyCode::rightArrow));
    EXPECT_TRUE(button(2).isMarked());
    for (int times = 0; times < 9; ++times) {
        popover.handleKey(keyCode::leftArrow);
    }
    EXPECT_TRUE(button(0).isMarked());
    EXPECT_FALSE(button(2).isMarked());
    EXPECT_TRUE(popover.handleKey(keyCode::downArrow)) << "the grid's selection stays";
    EXPECT_FALSE(popover.handleKey(keyCode::tab));
    EXPECT_TRUE(popover.handleKey(keyCode::return_));

    EXPECT_THAT(chosen, ElementsAre(std::pair<SkinTone, std::string>(SkinTone::default_, "1f44b")));
    EXPECT_FALSE(popover.isShown());
}

TEST_F(SkinToneSelectorViewTests, returnWithoutAnArrowChoosesThePreferredTone)
{
    preferences.setPreferredSkinTone(SkinTone::dark);
    popover.show(wave, anchor, RectEdge::maxY);

    popover.handleKey(keyCode::keypadEnter);

    EXPECT_THAT(chosen, ElementsAre(std::pair<SkinTone, std::string>(SkinTone::dark, "1f44b")));
}

TEST_F(SkinToneSelectorViewTests, escapeClosesWithoutAChoice)
{
    popover.show(wave, anchor, RectEdge::maxY);

    EXPECT_TRUE(popover.handleKey(keyCode::escape));

    EXPECT_FALSE(popover.isShown());
    EXPECT_TRUE(chosen.empty());
}

TEST_F(SkinToneSelectorViewTests, theOwnerMayCloseThePopoverItself)
{
    popover.onSkinToneSelected = [this](SkinTone tone, const Emoji& emoji) {
        popover.dismiss();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        chosen.emplace_back(tone, emoji.codepoint);
    };
    popover.show(wave, anchor, RectEdge::maxY);

    popover.handleKey(keyCode::return_);

    EXPECT_EQ(chosen.size(), 1U);
}

TEST_F(SkinToneSelectorViewTests, aPressOutsideDoesNothingElseInTheWindow)
{
    QPushButton beneath(&window);
    beneath.setGeometry(0, 350, 100, 40);
    beneath.show();
    int clicks = 0;
    QObject::connect(&beneath, &QPushButton::clicked, &window, [&] { ++clicks; });

    for (const QEvent::Type press : {QEvent::MouseButtonPress, QEvent::MouseButtonDblClick}) {
        popover.show(wave, anchor, RectEdge::maxY);
        tests::sendMouse(beneath, press, {20, 20}, Qt::LeftButton, Qt::LeftButton);
        tests::release(beneath, {20, 20});

        EXPECT_FALSE(popover.isShown());
        EXPECT_EQ(clicks, 0);
    }
    tests::click(beneath);
    EXPECT_EQ(clicks, 1);
}

TEST_F(SkinToneSelectorViewTests, aPressInAnotherWindowClosesAndReachesIt)
{
    QPushButton elsewhere;
    elsewhere.resize(100, 40);
    elsewhere.show();
    int clicks = 0;
    QObject::connect(&elsewhere, &QPushButton::clicked, &window, [&] { ++clicks; });
    popover.show(wave, anchor, RectEdge::maxY);

    tests::click(elsewhere);

    EXPECT_FALSE(popover.isShown());
    EXPECT_EQ(clicks, 1);
}

TEST_F(SkinToneSelectorViewTests, aReleaseWithoutAPressIsNoChoice)
{
    popover.show(wave, anchor, RectEdge::maxY);

    tests::release(button(2), {18, 18});

    EXPECT_TRUE(popover.isShown());
    EXPECT_TRUE(chosen.empty());
}

TEST_F(SkinToneSelectorViewTests, fadesInAndOut)
{
    style::setAnimationsEnabled(true);
    popover.show(wave, anchor, RectEdge::maxY);
    const QPointer<PopoverView> view = dynamic_cast<PopoverView*>(popover.selectorView()->parentWidget());
    auto& fade = *view->findChild<QVariantAnimation*>();
    EXPECT_EQ(fade.duration(), 150);
    EXPECT_EQ(view->opacity(), 0);
    fade.setCurrentTime(75);
    EXPECT_NEAR(view->opacity(), 0.5, 0.01);
    fade.setCurrentTime(150);
    EXPECT_EQ(view->opacity(), 1);

    popover.dismiss();
    EXPECT_FALSE(popover.isShown());
    EXPECT_TRUE(view->isVisible());
    EXPECT_TRUE(view->testAttribute(Qt::WA_TransparentForMouseEvents));
    fade.setCurrentTime(75);
    EXPECT_NEAR(view->opacity(), 0.5, 0.01);
    fade.setCurrentTime(150);
    EXPECT_FALSE(view->isVisible());
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(view.isNull());
}

TEST_F(SkinToneSelectorViewTests, fadesOutFromWhereItHadComeTo)
{
    style::setAnimationsEnabled(true);
    popover.show(wave, anchor, RectEdge::maxY);
    const auto* view = dynamic_cast<PopoverView*>(popover.selectorView()->parentWidget());
    view->findChild<QVariantAnimation*>()->setCurrentTime(30);

    popover.dismiss();

    EXPECT_NEAR(view->opacity(), 0.2, 0.01);
}

TEST_F(SkinToneSelectorViewTests, goesAtOnceWithItsWindowOrWithoutAnimations)
{
    for (const bool animated : {true, false}) {
        style::setAnimationsEnabled(animated);
        window.show();
        popover.show(wave, anchor, RectEdge::maxY);
        const QPointer<QWidget> view = popover.selectorView()->parentWidget();

        animated ? window.hide() : popover.dismiss();

        EXPECT_FALSE(view->isVisible());
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_TRUE(view.isNull());
    }
}

TEST_F(SkinToneSelectorViewTests, theFillCoversTheButtonAndTheMarkLiesOnIt)
{
    SkinToneButton tone(SkinTone::default_);
    tone.setEmojiText("");
    tone.setSelected(true);
    const auto draw = [&] {
        QImage picture(36, 36, QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::transparent);
        tone.render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);
        return picture;
    };
    const auto isFilled = [](const QColor& color) { return std::abs(color.alphaF() - 0.2F) < 0.02F; };

    const QImage plain = draw();
    for (const QPoint edge : {QPoint(18, 0), QPoint(0, 18), QPoint(35, 18), QPoint(18, 35)}) {
        EXPECT_TRUE(isFilled(plain.pixelColor(edge))) << edge.x() << ", " << edge.y();
    }
    EXPECT_EQ(plain.pixelColor(0, 0).alpha(), 0);
    tone.setMarked(true);
    const QImage marked = draw();
    EXPECT_GT(marked.pixelColor(18, 0).alphaF(), 0.9F);
    EXPECT_TRUE(isFilled(marked.pixelColor(18, 4)));
}

TEST_F(SkinToneSelectorViewTests, buttonsFollowTheAccentColor)
{
    const QPalette before = QApplication::palette();
    popover.show(wave, anchor, RectEdge::maxY);
    QPalette changed = before;
    changed.setColor(QPalette::Highlight, Qt::magenta);

    QApplication::setPalette(changed);
    QApplication::sendPostedEvents();
    const QColor followed = button(0).backgroundColor();
    const QColor expected = style::accent(0.2);
    QApplication::setPalette(before);

    EXPECT_EQ(expected.rgb(), QColor(Qt::magenta).rgb());
    EXPECT_EQ(followed, expected);
}

TEST_F(SkinToneSelectorViewTests, theRowRunsFromTheRightWhereTextDoes)
{
    window.setLayoutDirection(Qt::RightToLeft);

    popover.show(wave, anchor, RectEdge::maxY);

    EXPECT_EQ(button(0).geometry(), QRect(252 - 8 - 36, 8, 36, 36));
    EXPECT_EQ(button(5).geometry(), QRect(8, 8, 36, 36));
    popover.handleKey(keyCode::leftArrow);
    EXPECT_TRUE(button(1).isMarked()) << "the next to the left";
    popover.handleKey(keyCode::rightArrow);
    EXPECT_TRUE(button(0).isMarked());
}

TEST_F(SkinToneSelectorViewTests, sharedInstanceIsOne)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_EQ(&SkinTonePopoverController::shared(), &SkinTonePopoverController::shared());
}

} // namespace
} // namespace glimmerwick
