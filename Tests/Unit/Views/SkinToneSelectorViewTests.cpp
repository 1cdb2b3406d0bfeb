#include "Views/SkinToneSelectorView.h"

#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <gmock/gmock.h>

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

TEST_F(SkinToneSelectorViewTests, scrollingOutsideAndHidingTheAnchorClose)
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

TEST_F(SkinToneSelectorViewTests, sharedInstanceIsOne)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_EQ(&SkinTonePopoverController::shared(), &SkinTonePopoverController::shared());
}

} // namespace
} // namespace glimmerwick
