#include "Views/SearchBarView.h"

#include "Fakes/SampleManifest.h"
#include "Search/SearchManager.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QAbstractButton>
#include <QClipboard>
#include <QImage>
#include <QKeyEvent>

#include <gmock/gmock.h>

#include <tuple>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

class Delegate : public SearchBarViewDelegate {
public:
    void didChangeText(SearchBarView&, const std::string& text) override
    {
        calls.push_back("text '" + text + "'");
    }
    void didSubmit(SearchBarView&) override { calls.push_back("submit"); }
    void didCancel(SearchBarView&) override { calls.push_back("cancel"); }

    std::vector<std::string> calls;
};

class SearchBarViewTests : public ::testing::Test {
protected:
    SearchBarViewTests()
    {
        fakes.process.resourcesDirectory = GLIMMERWICK_SOURCE_DIR "/Resources";
        bar = std::make_unique<SearchBarView>(fakes.platform);
        bar->setDelegate(&delegate);
        bar->resize(304, 36);
        bar->show();
        NotificationCenter& center = fakes.notificationCenter;
        resultsObserver = center.addObserver(
            SearchBarView::searchResultsDidChangeNotification, [this](const Notification& notification) {
                results.push_back(*notification.value<std::vector<Emoji>>("results"));
                resultsObject = notification.object;
            });
        clearedObserver = center.addObserver(SearchBarView::searchClearedNotification,
                                             [this](const Notification& notification) {
                                                 ++clearedCount;
                                                 EXPECT_EQ(notification.object, bar.get());
                                                 EXPECT_FALSE(notification.userInfo.has_value());
                                             });
    }

    SearchManager& connectManager()
    {
        manager = std::make_unique<SearchManager>(fakes::sampleManifest(),
                                                  SearchManager::IndexBuild::synchronous, 50, fakes.platform);
        bar->connect(*manager);
        return *manager;
    }

    SearchField& field() { return *bar->internalSearchField(); }

    void press(int key, const QString& text = {}, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, text);
        QApplication::sendEvent(&field(), &event);
    }

    fakes::FakePlatform fakes;
    Delegate delegate;
    std::unique_ptr<SearchBarView> bar;
    std::unique_ptr<SearchManager> manager;
    std::vector<std::vector<Emoji>> results;
    const void* resultsObject = nullptr;
    int clearedCount = 0;
    Registration resultsObserver;
    Registration clearedObserver;
};

TEST_F(SearchBarViewTests, laysOutItsFieldAndItsButton)
{
    const auto* menuButton = bar->findChild<QWidget*>("menuButton");
    ASSERT_NE(menuButton, nullptr);

    EXPECT_EQ(menuButton->geometry(), QRect(304 - 8 - 24, 6, 24, 24));
    EXPECT_EQ(field().geometry(), QRect(8, 4, 272 - 4 - 8, 28));
    EXPECT_EQ(field().placeholderText(), "Search emoji...");
    EXPECT_EQ(field().objectName(), "emojiSearchField");
    EXPECT_EQ(bar->objectName(), "searchBarView");
    EXPECT_EQ(menuButton->toolTip(), "Menu");
    EXPECT_EQ(menuButton->accessibleName(), "Menu");
}

TEST_F(SearchBarViewTests, typingSearchesAfterTheDelayAndBroadcastsTheResults)
{
    connectManager();

    press(Qt::Key_W, "w");
    press(Qt::Key_A, "a");
    EXPECT_THAT(delegate.calls, ElementsAre("text 'w'", "text 'wa'"));
    fakes.time.advance(49ms);
    EXPECT_THAT(results, IsEmpty());
    fakes.time.advance(1ms);

    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(results[0].front().codepoint, "1f44b");
    EXPECT_EQ(resultsObject, bar.get());
    EXPECT_EQ(clearedCount, 0);
}

TEST_F(SearchBarViewTests, deletingTheLastCharacterClearsAtOnceAndCancelsTheWaitingSearch)
{
    connectManager();
    press(Qt::Key_W, "w");

    press(Qt::Key_Backspace);

    EXPECT_EQ(clearedCount, 1);
    fakes.time.advance(1s);
    EXPECT_THAT(results, IsEmpty());
}

TEST_F(SearchBarViewTests, aSearchThatHasRunStillDeliversAfterTheFieldIsEmptied)
{
    connectManager();
    press(Qt::Key_W, "w");
    // Behind the search, and before what it posts.
    const auto emptying = fakes.time.asyncAfter(50ms, [this] {
        press(Qt::Key_Backspace);
        EXPECT_THAT(results, IsEmpty());
        EXPECT_EQ(clearedCount, 1);
    });

    fakes.time.advance(50ms);

    EXPECT_EQ(clearedCount, 1);
    EXPECT_EQ(results.size(), 1U);
}

TEST_F(SearchBarViewTests, aTextOfSpacesIsSearched)
{
    connectManager();

    press(Qt::Key_Space, " ");
    fakes.time.advance(50ms);

    EXPECT_EQ(clearedCount, 0);
    ASSERT_EQ(results.size(), 1U);
    EXPECT_THAT(results[0], IsEmpty());
}

TEST_F(SearchBarViewTests, clearForgetsWhatWasTyped)
{
    press(Qt::Key_W, "w");
    ASSERT_TRUE(field().isUndoAvailable());

    bar->clear();

    EXPECT_FALSE(field().isUndoAvailable());
    EXPECT_FALSE(field().isRedoAvailable());
}

TEST_F(SearchBarViewTests, clearEmptiesTheFieldAndPostsNothing)
{
    connectManager();
    press(Qt::Key_W, "w");
    delegate.calls.clear();

    bar->clear();

    EXPECT_EQ(bar->searchText(), "");
    EXPECT_EQ(clearedCount, 0);
    EXPECT_THAT(delegate.calls, ElementsAre("text ''"));
    fakes.time.advance(1s);
    EXPECT_THAT(results, IsEmpty());
}

TEST_F(SearchBarViewTests, withoutAManagerOnlyEmptyingPosts)
{
    press(Qt::Key_W, "w");
    fakes.time.advance(1s);
    EXPECT_EQ(clearedCount, 0);
    EXPECT_THAT(results, IsEmpty());

    press(Qt::Key_Backspace);
    EXPECT_EQ(clearedCount, 1);
}

TEST_F(SearchBarViewTests, searchTextIsUtf8AndSettingItSearchesNothing)
{
    connectManager();

    bar->setSearchText("grün 😀");

    EXPECT_EQ(bar->searchText(), "grün 😀");
    EXPECT_THAT(delegate.calls, IsEmpty());
    fakes.time.advance(1s);
    EXPECT_THAT(results, IsEmpty());
}

TEST_F(SearchBarViewTests, anEditOnTheUsersBehalfIsToldOnceAfterTheAction)
{
    field().typeText("h");
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'h'"));
    delegate.calls.clear();

    field().appendText("é");
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'hé'"));
    delegate.calls.clear();

    field().deleteBackward();
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'h'"));
}

TEST_F(SearchBarViewTests, typedTextReplacesTheSelection)
{
    field().setText("abc");
    field().selectAll();

    field().typeText("x");

    EXPECT_EQ(bar->searchText(), "x");
}

TEST_F(SearchBarViewTests, appendedTextGoesToTheEndWhateverIsSelected)
{
    field().setText("abc");
    field().setSelection(0, 2);

    field().appendText("x");

    EXPECT_EQ(bar->searchText(), "abcx");
}

TEST_F(SearchBarViewTests, pastedTextSearchesOnce)
{
    QGuiApplication::clipboard()->setText("heart");

    press(Qt::Key_V, {}, Qt::ControlModifier);

    EXPECT_THAT(delegate.calls, ElementsAre("text 'heart'"));
}

TEST_F(SearchBarViewTests, returnInTheFieldSubmits)
{
    press(Qt::Key_Return, "\r");

    EXPECT_THAT(delegate.calls, ElementsAre("submit"));
}

TEST_F(SearchBarViewTests, escapeInTheFieldIsHandledAndEmptiesNothing)
{
    field().setText("abc");
    QKeyEvent event(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    event.ignore();

    QApplication::sendEvent(&field(), &event);

    EXPECT_TRUE(event.isAccepted());
    EXPECT_EQ(bar->searchText(), "abc");
    EXPECT_THAT(delegate.calls, ElementsAre("cancel"));
}

TEST_F(SearchBarViewTests, theClearButtonEmptiesTheFieldAndEndsTheSearch)
{
    field().typeText("h");
    QAbstractButton* clear = nullptr;
    for (auto* button : field().findChildren<QAbstractButton*>()) {
        clear = button;
    }
    ASSERT_NE(clear, nullptr);
    ASSERT_TRUE(clear->isVisible());

    clear->click();

    EXPECT_EQ(bar->searchText(), "");
    EXPECT_EQ(clearedCount, 1);
    EXPECT_FALSE(clear->isVisible());
}

TEST_F(SearchBarViewTests, caretCountsUserPerceivedCharacters)
{
    field().setText("abc");
    field().placeCaretByCharacterCount();
    EXPECT_EQ(field().cursorPosition(), 3);

    field().setText("😀bc");
    field().placeCaretByCharacterCount();
    EXPECT_EQ(field().cursorPosition(), 3) << "three characters, though the text has four units";

    field().setText("");
    field().placeCaretByCharacterCount();
    EXPECT_EQ(field().cursorPosition(), 0);
}

TEST_F(SearchBarViewTests, caretNeverStandsInsideACharacter)
{
    field().setText("😀");

    field().placeCaretByCharacterCount();

    EXPECT_EQ(field().cursorPosition(), 2);
    field().typeText("x");
    EXPECT_EQ(bar->searchText(), "😀x");
}

TEST_F(SearchBarViewTests, menuHoldsQuitAlone)
{
    auto* menuButton = bar->findChild<QAbstractButton*>("menuButton");
    menuButton->click();
    ASSERT_NE(bar->menu(), nullptr);
    ASSERT_EQ(bar->menu()->items().size(), 1U);
    EXPECT_EQ(bar->menu()->items()[0].title, "Quit");
    EXPECT_EQ(bar->menu()->items()[0].keyEquivalent, "q");

    bar->menu()->choose(0);

    EXPECT_EQ(fakes.menuHost.terminateCount, 1);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(bar->menu(), nullptr);
}

TEST_F(SearchBarViewTests, menuHangsFromTheLowerLeftCornerOfTheBar)
{
    QWidget window;
    window.resize(320, 400);
    bar->setParent(&window);
    bar->move(8, 12);
    bar->show();
    window.show();

    bar->findChild<QAbstractButton*>("menuButton")->click();

    ASSERT_NE(bar->menu(), nullptr);
    EXPECT_EQ(bar->menu()->mapTo(&window, QPoint(0, 0)), QPoint(8, 12 + bar->height()));
    bar->setParent(nullptr);
}

TEST_F(SearchBarViewTests, menuClosesOnAClickElsewhere)
{
    QWidget window;
    window.resize(320, 400);
    bar->setParent(&window);
    bar->show();
    window.show();
    bar->findChild<QAbstractButton*>("menuButton")->click();
    ASSERT_TRUE(bar->menu()->isVisible());
    EXPECT_TRUE(window.rect().contains(bar->menu()->geometry()));

    tests::press(window, {300, 390});

    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(bar->menu(), nullptr);
    EXPECT_EQ(fakes.menuHost.terminateCount, 0);
    bar->setParent(nullptr);
}

TEST_F(SearchBarViewTests, deactivateGivesUpTheFocus)
{
    field().setFocus();
    ASSERT_EQ(bar->focusWidget(), &field());

    bar->deactivate();

    EXPECT_NE(bar->focusWidget(), &field());
}

TEST_F(SearchBarViewTests, canBeMadeWithItsManager)
{
    connectManager();
    bar = std::make_unique<SearchBarView>(*manager, fakes.platform);

    press(Qt::Key_W, "w");
    fakes.time.advance(50ms);

    EXPECT_EQ(results.size(), 1U);
}

TEST_F(SearchBarViewTests, aNewManagerReplacesTheOldOne)
{
    connectManager();
    auto old = std::move(manager);
    connectManager();
    old.reset();

    press(Qt::Key_W, "w");
    fakes.time.advance(50ms);

    EXPECT_EQ(results.size(), 1U);
}

TEST_F(SearchBarViewTests, aManagerThatHasGoneIsNotAskedAgain)
{
    connectManager();
    manager.reset();

    press(Qt::Key_W, "w");
    fakes.time.advance(50ms);
    press(Qt::Key_Backspace);
    bar->clear();

    EXPECT_EQ(bar->searchText(), "");
    EXPECT_THAT(results, IsEmpty());
    EXPECT_EQ(clearedCount, 1);
}

TEST_F(SearchBarViewTests, arrowsUpAndDownAreLeftToTheGrid)
{
    for (const int key : {Qt::Key_Up, Qt::Key_Down}) {
        QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
        event.ignore();
        QCoreApplication::sendEvent(&field(), &event);

        EXPECT_FALSE(event.isAccepted()) << key;
    }
    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(SearchBarViewTests, worksWithoutADelegate)
{
    connectManager();
    bar->setDelegate(nullptr);

    press(Qt::Key_W, "w");
    press(Qt::Key_Return);
    press(Qt::Key_Escape);
    fakes.time.advance(50ms);

    EXPECT_EQ(results.size(), 1U);
    EXPECT_THAT(delegate.calls, IsEmpty());
}

TEST_F(SearchBarViewTests, fieldAndButtonChangePlacesWhereTheLayoutRunsFromTheRight)
{
    bar->setLayoutDirection(Qt::RightToLeft);

    EXPECT_EQ(bar->findChild<QWidget*>("menuButton")->geometry(), QRect(8, 6, 24, 24));
    EXPECT_EQ(field().geometry(), QRect(8 + 24 + 4, 4, 272 - 4 - 8, 28));
    const auto* clear = field().findChild<QAbstractButton*>();
    EXPECT_EQ(clear->geometry(), QRect(2, 3, 22, 22));
    EXPECT_GT(field().textMargins().right(), 8 + 14) << "the magnifier stands there";
    EXPECT_GE(field().textMargins().left(), 22);
}

TEST_F(SearchBarViewTests, theMagnifierStandsWhereTheTextBegins)
{
    const auto hasInk = [&](int from, int to) {
        QImage drawn(field().size(), QImage::Format_ARGB32_Premultiplied);
        drawn.fill(Qt::transparent);
        field().setPlaceholderText({});
        field().render(&drawn, {}, {}, {});
        const QColor plain = drawn.pixelColor(drawn.width() / 2, drawn.height() / 2);
        for (int x = from; x < to; ++x) {
            for (int y = 4; y < drawn.height() - 4; ++y) {
                if (drawn.pixelColor(x, y) != plain) {
                    return true;
                }
            }
        }
        return false;
    };
    const int width = field().width();

    EXPECT_TRUE(hasInk(8, 22));
    EXPECT_FALSE(hasInk(width - 22, width - 8));
    bar->setLayoutDirection(Qt::RightToLeft);
    EXPECT_FALSE(hasInk(8, 22));
    EXPECT_TRUE(hasInk(width - 22, width - 8));
}

TEST_F(SearchBarViewTests, theFieldFollowsTheApplicationsFont)
{
    const QFont before = QApplication::font();
    QFont other = before;
    other.setFamily("DejaVu Serif");
    other.setPixelSize(40);

    const auto use = [&](const QFont& font) {
        QApplication::setFont(font);
        // The application tells its views only while its loop runs.
        QEvent event(QEvent::ApplicationFontChange);
        QApplication::sendEvent(&field(), &event);
    };

    use(other);

    EXPECT_EQ(field().font().family(), "DejaVu Serif");
    EXPECT_EQ(field().font().pixelSize(), 14);
    use(before);
    EXPECT_EQ(field().font().family(), before.family());
}

TEST_F(SearchBarViewTests, theFieldFollowsTheDesktopsColoursAndContrast)
{
    DesktopAppearance appearance;
    for (const auto scheme : {DesktopAppearance::ColorScheme::light, DesktopAppearance::ColorScheme::dark}) {
        for (const auto contrast : {DesktopAppearance::Contrast::normal, DesktopAppearance::Contrast::high}) {
            appearance.colorScheme = scheme;
            appearance.contrast = contrast;
            style::setDesktopAppearance(appearance);
            EXPECT_EQ(field().palette().color(QPalette::Text), style::label());
            EXPECT_EQ(field().palette().color(QPalette::PlaceholderText), style::secondaryLabel());
        }
    }
    style::setDesktopAppearance({});
}

TEST_F(SearchBarViewTests, theFieldHasNoRingWhileItIsEdited)
{
    const auto edge = [&] {
        QImage drawn(field().size(), QImage::Format_ARGB32_Premultiplied);
        drawn.fill(Qt::transparent);
        field().render(&drawn, {}, {}, {});
        return std::tuple(
            drawn.copy(0, 0, drawn.width(), 3), drawn.copy(0, drawn.height() - 3, drawn.width(), 3),
            drawn.copy(0, 0, 3, drawn.height()), drawn.copy(drawn.width() - 3, 0, 3, drawn.height()));
    };
    const auto unfocused = edge();

    bar->activateWindow();
    field().setFocus();
    QApplication::setActiveWindow(bar.get());

    ASSERT_TRUE(field().hasFocus());
    EXPECT_EQ(edge(), unfocused);
}

TEST_F(SearchBarViewTests, theFieldIsReadableAndNeverLow)
{
    EXPECT_EQ(field().font().pixelSize(), 14);
    EXPECT_GE(field().minimumHeight(), 28);
}

TEST_F(SearchBarViewTests, resultsForABarThatIsGoneNameNoObject)
{
    connectManager();
    press(Qt::Key_W, "w");

    bar.reset();
    fakes.time.advance(50ms);

    ASSERT_EQ(results.size(), 1U);
    EXPECT_EQ(resultsObject, nullptr);
}

} // namespace
} // namespace glimmerwick
