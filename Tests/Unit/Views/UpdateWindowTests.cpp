#include "Views/UpdateWindow.h"

#include "Views/DialogsFixture.h"
#include "Views/PlainTextView.h"
#include "Views/ProgressBar.h"
#include "Views/Style.h"

#include <QAccessible>
#include <QMouseEvent>
#include <QPointer>
#include <QScrollBar>
#include <QTextCursor>

#include <gmock/gmock.h>

#include <limits>
#include <optional>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class UpdateWindowTests : public tests::DialogsFixture {
protected:
    std::function<void()> telling(const std::string& what)
    {
        return [this, what] { told.push_back(what); };
    }

    std::function<void(UpdateAnswer)> tellingAnswer()
    {
        return [this](UpdateAnswer answer) {
            told.emplace_back(answer == UpdateAnswer::download    ? "download"
                                  : answer == UpdateAnswer::later ? "later"
                                                                  : "skip");
        };
    }

    void showOffer(Attention attention = Attention::asked)
    {
        update->showOffer(offer, attention, tellingAnswer());
    }

    /// Of the contents that are shown; null when they have none.
    template <typename View> static View* part()
    {
        for (QWidget* widget : shownWindow()->body()->findChildren<QWidget*>()) {
            if (auto* view = dynamic_cast<View*>(widget)) {
                return view;
            }
        }
        return nullptr;
    }

    UpdateOffer offer{"0.1.0", "0.2.0", "New:\n- <b>much</b> & <a href=\"https://example.invalid/\">more</a>",
                      4200000};
    std::optional<UpdateWindow> update{time};
    std::vector<std::string> told;
};

TEST_F(UpdateWindowTests, saysThatItLooks)
{
    update->showChecking(telling("cancelled"));

    EXPECT_THAT(texts(*shownWindow()), ElementsAre("Looking for a new version…"));
    EXPECT_THAT(titles(*shownWindow()), ElementsAre("Cancel"));
    ASSERT_NE(part<ProgressBar>(), nullptr);
    EXPECT_TRUE(part<ProgressBar>()->isBusy());
    EXPECT_EQ(shownWindow()->windowTitle(), "Glimmerwick Update");
}

TEST_F(UpdateWindowTests, cancellingClosesAndIsToldOnceAndLater)
{
    using Step = void (*)(DialogWindow&);
    const Step steps[] = {[](DialogWindow& window) { press(window, "Cancel"); },
                          [](DialogWindow& window) { pressKey(window, Qt::Key_Escape); },
                          [](DialogWindow& window) { window.close(); }};
    for (const Step& step : steps) {
        for (const bool isDownload : {false, true}) {
            told.clear();
            if (isDownload) {
                update->showDownloading("0.2.0", telling("cancelled"));
            } else {
                update->showChecking(telling("cancelled"));
            }
            DialogWindow& window = *shownWindow();

            step(window);
            EXPECT_FALSE(window.isVisible());
            window.close();
            EXPECT_THAT(told, IsEmpty()) << "not inside the press";
            time.runUntilIdle();

            EXPECT_THAT(told, ElementsAre("cancelled"));
        }
    }
}

TEST_F(UpdateWindowTests, saysThatAllIsUpToDate)
{
    update->showUpToDate("0.1.0");

    EXPECT_THAT(texts(*shownWindow()),
                ElementsAre("You're up to date", "Glimmerwick 0.1.0 is the newest version."));
    EXPECT_THAT(titles(*shownWindow()), ElementsAre("OK"));
    pressKey(*shownWindow(), Qt::Key_Return);
    EXPECT_EQ(shownWindow(), nullptr);
}

TEST_F(UpdateWindowTests, offersANewVersion)
{
    showOffer();

    EXPECT_THAT(texts(*shownWindow()),
                ElementsAre("Glimmerwick 0.2.0 is available", "You have 0.1.0. Download it now? (4.2 MB)"));
    EXPECT_THAT(titles(*shownWindow()), ElementsAre("Download", "Later", "Skip This Version"));
    EXPECT_TRUE(shownWindow()->buttons()[0]->isDefault());
    EXPECT_EQ(shownWindow()->focusWidget(), shownWindow()->buttons()[0]);
}

TEST_F(UpdateWindowTests, anUnknownSizeIsNotMentioned)
{
    offer.downloadSize = 0;

    showOffer();

    EXPECT_THAT(texts(*shownWindow()),
                ElementsAre("Glimmerwick 0.2.0 is available", "You have 0.1.0. Download it now?"));
}

TEST_F(UpdateWindowTests, notesAreShownAsTheyAreAndCanOnlyBeRead)
{
    showOffer();

    auto* notes = part<PlainTextView>();
    ASSERT_NE(notes, nullptr);
    EXPECT_EQ(notes->toPlainText().toStdString(), offer.notes);
    EXPECT_TRUE(notes->isReadOnly());
    EXPECT_FALSE(notes->textInteractionFlags().testFlag(Qt::LinksAccessibleByMouse));
    EXPECT_FALSE(notes->textInteractionFlags().testFlag(Qt::LinksAccessibleByKeyboard));
    EXPECT_EQ(notes->accessibleName(), "What is new");
    QTextCursor cursor = notes->textCursor();
    cursor.setPosition(12);
    EXPECT_FALSE(cursor.charFormat().isAnchor());
    EXPECT_FALSE(cursor.charFormat().font().bold());
}

TEST_F(UpdateWindowTests, markupInVersionsAndSentencesIsShown)
{
    offer.version = "<i>1</i>";
    showOffer();
    EXPECT_EQ(texts(*shownWindow())[0], "Glimmerwick <i>1</i> is available");

    update->showFailure("<img src=\"https://example.invalid/x.png\">");
    EXPECT_EQ(texts(*shownWindow())[1], "<img src=\"https://example.invalid/x.png\">");
    for (const QLabel* label : shownWindow()->findChildren<QLabel*>()) {
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
    }
}

TEST_F(UpdateWindowTests, withoutNotesThereIsNoPlaceForThem)
{
    showOffer();
    const int height = shownWindow()->height();
    offer.notes.clear();

    showOffer();

    EXPECT_EQ(part<PlainTextView>(), nullptr);
    EXPECT_LT(shownWindow()->height(), height - 100);
}

TEST_F(UpdateWindowTests, longNotesAreScrolled)
{
    for (int line = 0; line < 200; ++line) {
        offer.notes += "\nline " + std::to_string(line);
    }

    showOffer();

    auto* notes = part<PlainTextView>();
    EXPECT_GT(notes->verticalScrollBar()->maximum(), 0);
    EXPECT_LT(shownWindow()->height(), 400);
    QKeyEvent pageDown(QEvent::KeyPress, Qt::Key_PageDown, Qt::NoModifier);
    QApplication::sendEvent(notes, &pageDown);
    EXPECT_GT(notes->verticalScrollBar()->value(), 0);
}

TEST_F(UpdateWindowTests, aPressOnWhatIsSelectedBeginsNoDrag)
{
    showOffer();
    auto* notes = part<PlainTextView>();
    notes->selectAll();
    const QPointF place(20, 15);

    QMouseEvent press(QEvent::MouseButtonPress, place, notes->viewport()->mapToGlobal(place), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(notes->viewport(), &press);

    EXPECT_FALSE(notes->textCursor().hasSelection());
}

TEST_F(UpdateWindowTests, laterAndSkipCloseAndAreToldOnceAndLater)
{
    const std::pair<const char*, const char*> buttons[] = {{"Later", "later"}, {"Skip This Version", "skip"}};
    for (const auto& [title, answer] : buttons) {
        told.clear();
        showOffer();

        press(*shownWindow(), title);
        EXPECT_EQ(shownWindow(), nullptr);
        EXPECT_THAT(told, IsEmpty()) << "not inside the press";
        time.runUntilIdle();

        EXPECT_THAT(told, ElementsAre(answer));
    }
}

TEST_F(UpdateWindowTests, closingAnOfferIsLater)
{
    showOffer();
    pressKey(*shownWindow(), Qt::Key_Escape);
    time.runUntilIdle();
    showOffer();
    shownWindow()->close();
    time.runUntilIdle();

    EXPECT_THAT(told, ElementsAre("later", "later"));
}

TEST_F(UpdateWindowTests, afterDownloadTheWindowWaitsForWhatComesNext)
{
    showOffer();
    DialogWindow& window = *shownWindow();

    pressKey(window, Qt::Key_Return);
    EXPECT_TRUE(window.isVisible());
    for (DialogButton* button : window.buttons()) {
        EXPECT_FALSE(button->isEnabled());
        button->click();
    }
    time.runUntilIdle();
    EXPECT_THAT(told, ElementsAre("download"));

    update->showDownloading("0.2.0", telling("cancelled"));
    EXPECT_EQ(shownWindow(), &window);
    EXPECT_TRUE(window.buttons()[0]->isEnabled());
}

TEST_F(UpdateWindowTests, closedWhileItWaitsItTellsNothingMore)
{
    showOffer();
    press(*shownWindow(), "Download");
    shownWindow()->close();
    time.runUntilIdle();

    EXPECT_THAT(told, ElementsAre("download"));
    EXPECT_EQ(shownWindow(), nullptr);
}

TEST_F(UpdateWindowTests, showsHowMuchHasArrived)
{
    update->showDownloading("0.2.0", telling("cancelled"));
    ASSERT_NE(part<ProgressBar>(), nullptr);
    EXPECT_EQ(texts(*shownWindow())[0], "Downloading Glimmerwick 0.2.0…");
    EXPECT_TRUE(part<ProgressBar>()->isBusy()) << "until there is something to tell";

    update->setProgress(0, 4200000);
    EXPECT_EQ(part<ProgressBar>()->value(), 0);
    EXPECT_EQ(texts(*shownWindow())[1], "0 bytes of 4.2 MB");

    update->setProgress(1050000, 4200000);
    EXPECT_FALSE(part<ProgressBar>()->isBusy());
    EXPECT_EQ(part<ProgressBar>()->value(), ProgressBar::whole / 4);
    EXPECT_EQ(texts(*shownWindow())[1], "1.1 MB of 4.2 MB");

    update->setProgress(4200000, 4200000);
    EXPECT_EQ(part<ProgressBar>()->value(), ProgressBar::whole);
}

TEST_F(UpdateWindowTests, anUnknownTotalIsBusyAndOddNumbersStayInBounds)
{
    constexpr auto most = std::numeric_limits<std::uint64_t>::max();
    update->showDownloading("0.2.0", nullptr);

    update->setProgress(1500000, 0);
    EXPECT_TRUE(part<ProgressBar>()->isBusy());
    EXPECT_EQ(texts(*shownWindow())[1], "1.5 MB");

    update->setProgress(5000000, 4200000);
    EXPECT_EQ(part<ProgressBar>()->value(), ProgressBar::whole);
    EXPECT_EQ(texts(*shownWindow())[1], "4.2 MB of 4.2 MB");

    update->setProgress(most, most);
    EXPECT_EQ(part<ProgressBar>()->value(), ProgressBar::whole);
    update->setProgress(0, most);
    EXPECT_EQ(part<ProgressBar>()->value(), 0);
}

TEST_F(UpdateWindowTests, progressOfNoDownloadIsIgnored)
{
    update->setProgress(1, 2);
    EXPECT_EQ(shownWindow(), nullptr);

    update->showDownloading("0.2.0", nullptr);
    update->showChecking(nullptr);
    update->setProgress(1, 2);

    EXPECT_TRUE(part<ProgressBar>()->isBusy());
}

TEST_F(UpdateWindowTests, theBarMovesOnlyWhileItIsBusyAndAnimationsAreOn)
{
    style::setAnimationsEnabled(true);
    update->showDownloading("0.2.0", nullptr);
    auto& bar = *part<ProgressBar>();
    auto& motion = *bar.findChild<QVariantAnimation*>();
    EXPECT_EQ(motion.state(), QAbstractAnimation::Running);

    update->setProgress(1, 2);
    EXPECT_EQ(motion.state(), QAbstractAnimation::Stopped);

    update->setProgress(1, 0);
    EXPECT_EQ(motion.state(), QAbstractAnimation::Running);
    bar.hide();
    EXPECT_EQ(motion.state(), QAbstractAnimation::Stopped);

    bar.show();
    EXPECT_EQ(motion.state(), QAbstractAnimation::Running);
    DesktopAppearance calm;
    calm.motion = DesktopAppearance::Motion::reduced;
    style::setDesktopAppearance(calm);
    EXPECT_EQ(motion.state(), QAbstractAnimation::Stopped);
    style::setDesktopAppearance({});
}

TEST_F(UpdateWindowTests, tellsWhereTheNewVersionIs)
{
    update->showHandedOver("0.2.0");

    EXPECT_THAT(texts(*shownWindow()),
                ElementsAre("Glimmerwick 0.2.0 has been downloaded",
                            "The new version is in your system's package installer.\nWhen it is installed, "
                            "quit Glimmerwick and start it again."));
    EXPECT_THAT(titles(*shownWindow()), ElementsAre("OK"));
}

TEST_F(UpdateWindowTests, tellsFailuresAndMessages)
{
    update->showFailure("The server cannot be reached.");
    EXPECT_THAT(texts(*shownWindow()), ElementsAre("Updating did not work", "The server cannot be reached."));
    EXPECT_THAT(titles(*shownWindow()), ElementsAre("OK"));

    update->showMessage("Glimmerwick is updated together with your system.");
    EXPECT_THAT(texts(*shownWindow()),
                ElementsAre("Updates", "Glimmerwick is updated together with your system."));
    pressKey(*shownWindow(), Qt::Key_Escape);
    EXPECT_EQ(shownWindow(), nullptr);
}

TEST_F(UpdateWindowTests, oneWindowShowsAllOfIt)
{
    update->showChecking(nullptr);
    QPointer<DialogWindow> window = shownWindow();

    showOffer();
    EXPECT_EQ(shownWindow(), window);
    update->showDownloading("0.2.0", nullptr);
    EXPECT_EQ(shownWindow(), window);
    update->showHandedOver("0.2.0");
    EXPECT_EQ(shownWindow(), window);

    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(part<ProgressBar>(), nullptr);
    EXPECT_THAT(titles(*window), ElementsAre("OK"));
    EXPECT_TRUE(window->buttons()[0]->isDefault());
}

TEST_F(UpdateWindowTests, replacedContentsTellNothing)
{
    update->showChecking(telling("cancelled"));
    press(*shownWindow(), "Cancel");
    showOffer();
    press(*shownWindow(), "Download");
    update->showDownloading("0.2.0", telling("download cancelled"));
    update->showFailure("No.");
    shownWindow()->close();
    time.runUntilIdle();

    EXPECT_THAT(told, IsEmpty());
}

TEST_F(UpdateWindowTests, aCallbackMayShowWhatComesNext)
{
    update->showOffer(offer, Attention::asked, [this](UpdateAnswer) {
        update->showDownloading("0.2.0", [this] { update->showFailure("Cancelled."); });
    });

    press(*shownWindow(), "Download");
    time.runUntilIdle();
    press(*shownWindow(), "Cancel");
    time.runUntilIdle();

    EXPECT_THAT(texts(*shownWindow()), ElementsAre("Updating did not work", "Cancelled."));
}

TEST_F(UpdateWindowTests, closedByItsOwnerItTellsNothing)
{
    update->showChecking(telling("cancelled"));
    update->close();
    EXPECT_EQ(shownWindow(), nullptr);
    showOffer();
    press(*shownWindow(), "Later");
    update->close();
    update->close();
    time.runUntilIdle();

    EXPECT_THAT(told, IsEmpty());
}

TEST_F(UpdateWindowTests, nothingIsToldOnceItIsDestroyed)
{
    showOffer();
    press(*shownWindow(), "Download");
    QPointer<DialogWindow> window = shownWindow();

    update.reset();
    time.runUntilIdle();

    EXPECT_TRUE(window.isNull());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(UpdateWindowTests, anOfferThatComesByItselfTakesNoFocusUntilItIsRaised)
{
    showOffer(Attention::unasked);
    DialogWindow& window = *shownWindow();
    EXPECT_TRUE(window.testAttribute(Qt::WA_ShowWithoutActivating));

    update->raise();
    EXPECT_EQ(shownWindow(), &window);
    QApplication::processEvents();
    EXPECT_TRUE(window.isActiveWindow());

    update->close();
    showOffer(Attention::asked);
    EXPECT_FALSE(shownWindow()->testAttribute(Qt::WA_ShowWithoutActivating));
}

TEST_F(UpdateWindowTests, aMinimisedWindowComesBackWhenItIsRaised)
{
    showOffer();
    DialogWindow& window = *shownWindow();
    window.showMinimized();
    ASSERT_TRUE(window.isMinimized());

    update->raise();

    EXPECT_FALSE(window.isMinimized());
}

TEST_F(UpdateWindowTests, aNewCheckBringsTheWindowOfTheLastOneBack)
{
    update->showUpToDate("0.1.0");
    DialogWindow& window = *shownWindow();
    window.showMinimized();

    update->showChecking(nullptr);

    EXPECT_FALSE(window.isMinimized());
}

TEST_F(UpdateWindowTests, raisingNothingShowsNothing)
{
    update->raise();
    EXPECT_EQ(shownWindow(), nullptr);

    update->showUpToDate("0.1.0");
    update->close();
    update->raise();
    EXPECT_EQ(shownWindow(), nullptr);
}

TEST_F(UpdateWindowTests, screenReadersAreToldOfADialogAndItsProgress)
{
    update->showDownloading("0.2.0", nullptr);
    update->setProgress(1, 2);

    EXPECT_EQ(QAccessible::queryAccessibleInterface(shownWindow())->role(), QAccessible::Dialog);
    QAccessibleInterface* bar = QAccessible::queryAccessibleInterface(part<ProgressBar>());
    ASSERT_NE(bar, nullptr);
    EXPECT_EQ(bar->role(), QAccessible::ProgressBar);
    EXPECT_EQ(bar->text(QAccessible::Name), "Downloading Glimmerwick 0.2.0…");
    EXPECT_EQ(bar->valueInterface()->currentValue().toInt(), ProgressBar::whole / 2);
}

} // namespace
} // namespace glimmerwick
