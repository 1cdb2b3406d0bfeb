#include "GlimmerwickWindow.h"

#include "Search/SearchManager.h"
#include "Views/EmojiCell.h"
#include "Views/EmojiGridViewController.h"
#include "Views/SearchBarView.h"
#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QAccessible>
#include <QClipboard>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QWheelEvent>
#include <QWindow>

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
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

/// The window with the real views in it, as the delegate puts them there. The first category has 10 emoji,
/// the second none, the third 16; 1f44b and 1f44d accept tones.
class GlimmerwickWindowTests : public tests::ViewsFixture {
protected:
    GlimmerwickWindowTests()
    {
        loadManifest(tests::manifestDocument({{"a", "First", tests::codepoints(0x1f600, 10)},
                                              {"b", "Second", {}},
                                              {"c", "Third", tests::codepoints(0x1f440, 16)}},
                                             {"1f44b", "1f44d"}));
        makeWindow();
        picked = fakes.notificationCenter.addObserver(
            EmojiGridViewController::emojiSelectedNotification, [this](const Notification& notification) {
                const bool copies =
                    *notification.value<EmojiSelectionAction>("action") == EmojiSelectionAction::copy;
                picks.push_back(notification.value<Emoji>("emoji")->codepoint + (copies ? " copy" : ""));
            });
        QCursor::setPos(400, 200);
        fakes.log.lines.clear();
    }

    ~GlimmerwickWindowTests() override
    {
        grid.reset();
        window.reset();
    }

    void makeWindow()
    {
        grid.reset();
        window = std::make_unique<GlimmerwickWindow>(fakes.platform, dataManager, popover);
        QWidget* container = window->contentContainerView();
        searchBar = new SearchBarView(fakes.platform, container);
        searchBar->setGeometry(8, 8, 304, 36);
        searchBar->setDelegate(&delegate);
        grid = std::make_unique<EmojiGridViewController>(fakes.platform, dataManager, recents, preferences,
                                                         renderer, popover);
        grid->view()->setParent(container);
        grid->view()->setGeometry(0, 52, 320, 312);
        window->setSearchField(searchBar->internalSearchField());
        window->setEmojiCollectionView(grid->internalCollectionView());
    }

    /// Shown without a tap, so that the local monitor gets the keys.
    void showWithMonitorsAlone()
    {
        fakes.eventTap.refuses = true;
        window->showAtMouseLocation();
    }

    void tap(std::uint16_t code, EventFlags flags = 0, std::optional<std::string> characters = std::nullopt)
    {
        fakes.eventTap.press(code, flags, std::move(characters));
        fakes.time.runUntilIdle();
    }
    void type(const std::string& text) { tap(0, 0, text); }

    MonitorDecision local(std::uint16_t code, EventFlags flags = 0,
                          std::optional<std::string> characters = std::nullopt)
    {
        return fakes.eventMonitors.sendLocalKeyDown({EventType::keyDown, code, flags, std::move(characters)});
    }
    void global(std::uint16_t code, EventFlags flags = 0,
                std::optional<std::string> characters = std::nullopt)
    {
        fakes.eventMonitors.sendGlobalKeyDown({EventType::keyDown, code, flags, std::move(characters)});
    }

    CollectionView& collection() { return *grid->internalCollectionView(); }
    SearchField& field() { return *searchBar->internalSearchField(); }
    bool isFieldEdited() { return window->focusWidget() == &field(); }
    bool isGridFocused() { return window->focusWidget() == &collection(); }
    std::size_t monitorCount() const
    {
        return fakes.eventMonitors.localKeyDown.size() + fakes.eventMonitors.globalKeyDown.size()
            + fakes.eventMonitors.globalMouseDown.size();
    }

    Delegate delegate;
    std::unique_ptr<GlimmerwickWindow> window;
    SearchBarView* searchBar = nullptr;
    std::unique_ptr<EmojiGridViewController> grid;
    std::vector<std::string> picks;
    Registration picked;
};

// Showing and hiding

TEST_F(GlimmerwickWindowTests, isAFloatingPanelOfFixedSize)
{
    EXPECT_EQ(window->size(), QSize(320, 400));
    EXPECT_EQ(window->contentContainerView()->size(), QSize(320, 400));
    EXPECT_TRUE(
        window->windowFlags().testFlags(Qt::ToolTip | Qt::BypassWindowManagerHint | Qt::FramelessWindowHint));
    EXPECT_TRUE(window->testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(window->testAttribute(Qt::WA_TranslucentBackground));
}

TEST_F(GlimmerwickWindowTests, glassHasAContentViewOfItsOwn)
{
    EXPECT_EQ(window->contentContainerView()->parentWidget(), window.get());

    fakes.process.operatingSystemVersion = {26, 0, 0};
    makeWindow();

    EXPECT_NE(window->contentContainerView()->parentWidget(), window.get());
    window->show();
    EXPECT_EQ(window->contentContainerView()->size(), QSize(320, 400));
}

TEST_F(GlimmerwickWindowTests, opensBelowThePointer)
{
    window->showAtMouseLocation();

    EXPECT_EQ(window->pos(), QPoint(400 - 160, 210));
    EXPECT_TRUE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, opensBelowThePointerThatTheToolkitDoesNotKnow)
{
    fakes.panelHost.pointer = ScreenPoint{300.4, 120.6};

    window->showAtMouseLocation();

    EXPECT_EQ(window->pos(), QPoint(300 - 160, 121 + 10));
}

TEST_F(GlimmerwickWindowTests, hidesWhenTheKeysAreLost)
{
    window->showAtMouseLocation();

    fakes.panelHost.keysLost();

    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(monitorCount(), 0U);
}

TEST_F(GlimmerwickWindowTests, staysOnTheScreenAndOffItsDock)
{
    const QRect area = QGuiApplication::primaryScreen()->geometry();
    QCursor::setPos(area.bottomRight());

    fakes.panelHost.dockHeight = qRound(60 * window->devicePixelRatioF());

    EXPECT_EQ(window->calculateWindowPosition(),
              QPoint(area.x() + area.width() - 320 - 8, area.y() + area.height() - 60 - 400 - 8));
}

TEST_F(GlimmerwickWindowTests, showingTakesTheKeysAndFocusesTheGrid)
{
    window->showAtMouseLocation();

    EXPECT_THAT(fakes.panelHost.calls, ElementsAre("panelDidShow"));
    EXPECT_EQ(fakes.eventTap.taps.size(), 1U);
    EXPECT_EQ(monitorCount(), 3U);
    EXPECT_TRUE(isGridFocused());
}

TEST_F(GlimmerwickWindowTests, thePanelIsKnownBeforeTheTapIsMade)
{
    fakes.panelHost.calls.clear();
    class OrderTap : public EventTap {
    public:
        explicit OrderTap(fakes::CallLog& calls) : m_calls(calls) { }
        std::unique_ptr<EventTapPort> create(Options, Callback) override
        {
            m_calls.push_back("create tap");
            return nullptr;
        }

    private:
        fakes::CallLog& m_calls;
    } orderTap(fakes.panelHost.calls);
    Platform platform = fakes.platform;
    const Platform withTap{platform.process,        platform.log,           platform.mainQueue,
                           platform.dispatchQueues, platform.clock,         platform.fileClock,
                           platform.fileSystem,     platform.userDefaults,  platform.notificationCenter,
                           platform.httpClient,     platform.textLayout,    platform.imageCodec,
                           platform.pasteboard,     platform.workspace,     orderTap,
                           platform.eventPoster,    platform.eventMonitors, platform.accessibilityTrust,
                           platform.panelHost,      platform.menuHost,      platform.alert,
                           platform.fileViewer,     platform.volumeInfo,    platform.updater,
                           platform.userNotice};
    GlimmerwickWindow other(withTap, dataManager, popover);

    other.showAtMouseLocation();

    EXPECT_THAT(fakes.panelHost.calls, ElementsAre("panelDidShow", "create tap", "makePanelKey"));
}

TEST_F(GlimmerwickWindowTests, showingAgainKeepsOneTapAndOneSetOfMonitors)
{
    window->showAtMouseLocation();
    window->showAtMouseLocation();

    EXPECT_EQ(fakes.eventTap.taps.size(), 1U);
    EXPECT_EQ(monitorCount(), 3U);
    type("a");
    EXPECT_EQ(searchBar->searchText(), "a");
}

TEST_F(GlimmerwickWindowTests, dismissingReleasesEverythingBeforeTheWindowGoes)
{
    window->showAtMouseLocation();
    fakes.panelHost.calls.clear();

    window->dismiss();

    EXPECT_FALSE(window->isVisible());
    EXPECT_THAT(fakes.panelHost.calls, ElementsAre("panelWillHide"));
    EXPECT_THAT(fakes.eventTap.taps, IsEmpty());
    EXPECT_EQ(monitorCount(), 0U);
}

TEST_F(GlimmerwickWindowTests, dismissingAHiddenWindowDoesNothing)
{
    window->dismiss();
    window->orderOut();

    EXPECT_THAT(fakes.panelHost.calls, IsEmpty());
}

TEST_F(GlimmerwickWindowTests, keysAreTakenAgainOnTheNextShow)
{
    window->showAtMouseLocation();
    window->dismiss();
    window->showAtMouseLocation();

    type("b");

    EXPECT_EQ(searchBar->searchText(), "b");
}

TEST_F(GlimmerwickWindowTests, focusReturnsToTheGridOnEveryShow)
{
    window->showAtMouseLocation();
    type("a");
    ASSERT_TRUE(isFieldEdited());
    window->dismiss();

    window->showAtMouseLocation();

    EXPECT_TRUE(isGridFocused());
}

TEST_F(GlimmerwickWindowTests, withTheFlagThereIsNoTapAndTheMonitorsWork)
{
    fakes.process.arguments.push_back("--disable-event-tap");

    window->showAtMouseLocation();

    EXPECT_THAT(fakes.log.lines,
                Contains("[Glimmerwick] Skipping CGEventTap due to --disable-event-tap argument"));
    EXPECT_EQ(fakes.eventTap.createCount, 0);
    EXPECT_THAT(fakes.panelHost.calls, ElementsAre("panelDidShow", "makePanelKey"));
    EXPECT_EQ(local(0, 0, "a"), MonitorDecision::consume);
    EXPECT_EQ(searchBar->searchText(), "a");
    EXPECT_EQ(local(keyCode::escape), MonitorDecision::consume);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, withoutATapThePanelBecomesKey)
{
    showWithMonitorsAlone();

    EXPECT_THAT(fakes.panelHost.calls, ElementsAre("panelDidShow", "makePanelKey"));
}

TEST_F(GlimmerwickWindowTests, aClickMakesAnInactivePanelKey)
{
    const auto callsAtAClick = [&] {
        fakes.panelHost.calls.clear();
        QMouseEvent event(QEvent::MouseButtonPress, QPointF(5, 5), window->mapToGlobal(QPointF(5, 5)),
                          Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window->windowHandle(), &event);
        QMouseEvent release(QEvent::MouseButtonRelease, QPointF(5, 5), window->mapToGlobal(QPointF(5, 5)),
                            Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(window->windowHandle(), &release);
        return fakes.panelHost.calls;
    };

    window->showAtMouseLocation();
    EXPECT_THAT(callsAtAClick(), ElementsAre("makePanelKey"));

    window->dismiss();
    showWithMonitorsAlone();
    EXPECT_THAT(callsAtAClick(), ElementsAre("makePanelKey"));
}

TEST_F(GlimmerwickWindowTests, isShapedToItsCorners)
{
    window->showAtMouseLocation();

    ASSERT_EQ(fakes.panelHost.outlines.size(), 1U);
    const PanelOutline outline = fakes.panelHost.outlines.front();
    EXPECT_EQ(outline.width, 320);
    EXPECT_EQ(outline.height, 400);
    EXPECT_EQ(outline.cornerRadius, 16);
}

TEST_F(GlimmerwickWindowTests, letsThroughOnlyWhatIsBlurredAlsoFromOneMomentToTheNext)
{
    const auto alphaInTheMiddle = [this] {
        QImage picture(window->size(), QImage::Format_ARGB32_Premultiplied);
        picture.fill(Qt::transparent);
        window->render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);
        return picture.pixelColor(160, 200).alpha();
    };
    fakes.panelHost.backdrop = Backdrop::blurred;
    window->showAtMouseLocation();
    EXPECT_LT(alphaInTheMiddle(), 230);

    fakes.panelHost.backdrop = Backdrop::opaque;
    fakes.panelHost.backdropChanged();
    EXPECT_EQ(alphaInTheMiddle(), 255);

    fakes.panelHost.backdrop = Backdrop::translucent;
    fakes.panelHost.backdropChanged();
    EXPECT_EQ(alphaInTheMiddle(), 255) << "what stands behind would be seen too sharply";
}

TEST_F(GlimmerwickWindowTests, aHiddenPanelIsNotShapedUntilItShows)
{
    fakes.panelHost.backdropChanged();
    EXPECT_TRUE(fakes.panelHost.outlines.empty());

    window->showAtMouseLocation();
    EXPECT_FALSE(fakes.panelHost.outlines.empty());
}

TEST_F(GlimmerwickWindowTests, cornersAreTransparent)
{
    window->showAtMouseLocation();
    QImage picture(window->size(), QImage::Format_ARGB32_Premultiplied);
    picture.fill(Qt::transparent);

    window->render(&picture, QPoint(), QRegion(), QWidget::DrawChildren);

    EXPECT_EQ(picture.pixelColor(1, 1).alpha(), 0);
    EXPECT_EQ(picture.pixelColor(318, 398).alpha(), 0);
    EXPECT_GT(picture.pixelColor(160, 48).alpha(), 230);
}

TEST_F(GlimmerwickWindowTests, aClickOutsideHidesAndOneInsideDoesNot)
{
    window->showAtMouseLocation();
    QCursor::setPos(window->frameGeometry().center());
    fakes.eventMonitors.sendGlobalMouseDown();
    EXPECT_TRUE(window->isVisible());

    QCursor::setPos(window->frameGeometry().topLeft() - QPoint(1, 0));
    fakes.eventMonitors.sendGlobalMouseDown();

    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(monitorCount(), 0U);
}

TEST_F(GlimmerwickWindowTests, theBackgroundIsDraggable)
{
    window->showAtMouseLocation();
    const QPoint before = window->pos();

    tests::press(*window->contentContainerView(), {160, 48});
    tests::dragTo(*window->contentContainerView(), {190, 38});
    EXPECT_EQ(window->pos(), before + QPoint(30, -10));
    tests::release(*window->contentContainerView(), {160, 48});
    tests::sendMouse(*window->contentContainerView(), QEvent::MouseMove, {10, 10}, Qt::NoButton,
                     Qt::NoButton);

    EXPECT_EQ(window->pos(), before + QPoint(30, -10));
}

TEST_F(GlimmerwickWindowTests, commandQQuits)
{
    window->showAtMouseLocation();
    QKeyEvent event(QEvent::KeyPress, Qt::Key_Q, Qt::ControlModifier, "\x11");

    QApplication::sendEvent(&field(), &event);

    EXPECT_EQ(fakes.menuHost.terminateCount, 1);
}

// Typing

TEST_F(GlimmerwickWindowTests, tappedCharactersGoToTheFieldAndAreToldOnce)
{
    window->showAtMouseLocation();

    type("h");

    EXPECT_TRUE(isFieldEdited());
    EXPECT_EQ(searchBar->searchText(), "h");
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'h'"));

    type("e");
    EXPECT_EQ(searchBar->searchText(), "he");
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'h'", "submit", "text 'he'"));
}

TEST_F(GlimmerwickWindowTests, tappedCharactersReplaceTheSelection)
{
    window->showAtMouseLocation();
    type("abc");
    field().selectAll();

    type("x");

    EXPECT_EQ(searchBar->searchText(), "x");
}

TEST_F(GlimmerwickWindowTests, editingBeginsBehindAsManyUnitsAsThereAreCharacters)
{
    window->showAtMouseLocation();
    field().setText("😀bc");
    ASSERT_FALSE(isFieldEdited());

    type("x");

    EXPECT_EQ(searchBar->searchText(), "😀bxc");
}

TEST_F(GlimmerwickWindowTests, tappedDeleteRemovesTheLastCharacter)
{
    window->showAtMouseLocation();
    type("ab");
    delegate.calls.clear();

    tap(keyCode::delete_);
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'a'"));
    tap(keyCode::delete_);
    EXPECT_EQ(searchBar->searchText(), "");
    delegate.calls.clear();

    tap(keyCode::delete_);
    EXPECT_THAT(delegate.calls, IsEmpty()) << "there was nothing to delete";
}

TEST_F(GlimmerwickWindowTests, tappedDeleteReturnsToTheField)
{
    window->showAtMouseLocation();
    type("ab");
    tap(keyCode::tab);
    ASSERT_TRUE(isGridFocused());

    tap(keyCode::delete_);

    EXPECT_TRUE(isFieldEdited());
    EXPECT_EQ(searchBar->searchText(), "a");
}

TEST_F(GlimmerwickWindowTests, deleteWithoutTextLeavesTheFocusWhereItIs)
{
    window->showAtMouseLocation();

    tap(keyCode::delete_);

    EXPECT_TRUE(isGridFocused());
}

TEST_F(GlimmerwickWindowTests, monitoredCharactersAreAppendedWhileTheFieldIsNotEdited)
{
    showWithMonitorsAlone();
    field().setText("x");

    EXPECT_EQ(local(0, 0, "a"), MonitorDecision::consume);

    EXPECT_TRUE(isFieldEdited());
    EXPECT_EQ(searchBar->searchText(), "xa");
    EXPECT_THAT(delegate.calls, ElementsAre("submit", "text 'xa'"));
    EXPECT_EQ(local(0, 0, "b"), MonitorDecision::pass) << "the field takes its own keys";
    EXPECT_EQ(searchBar->searchText(), "xa");
}

TEST_F(GlimmerwickWindowTests, monitoredCharactersMayBeShiftedButNotModified)
{
    showWithMonitorsAlone();

    for (const EventFlags flags : {eventFlag::command, eventFlag::control, eventFlag::option,
                                   eventFlag::capsLock, eventFlag::shift | eventFlag::option}) {
        EXPECT_EQ(local(0, flags, "a"), MonitorDecision::pass) << flags;
    }
    EXPECT_EQ(searchBar->searchText(), "");

    EXPECT_EQ(local(0, eventFlag::shift, "A"), MonitorDecision::consume);
    EXPECT_EQ(searchBar->searchText(), "A");
}

TEST_F(GlimmerwickWindowTests, onlyPrintableCharactersAreTyped)
{
    showWithMonitorsAlone();

    EXPECT_EQ(local(0, 0, std::nullopt), MonitorDecision::pass);
    EXPECT_EQ(local(0, 0, ""), MonitorDecision::pass);
    EXPECT_EQ(local(0, 0, "\x01"), MonitorDecision::pass);
    for (const char* typed : {"?", " ", "ß", "+", "漢", "7"}) {
        collection().setFocus();
        EXPECT_EQ(local(0, 0, typed), MonitorDecision::consume) << typed;
    }
    EXPECT_EQ(searchBar->searchText(), "? ß+漢7");
}

TEST_F(GlimmerwickWindowTests, withoutAFieldCharactersGoNowhere)
{
    window->setSearchField(nullptr);
    window->showAtMouseLocation();

    type("a");
    tap(keyCode::delete_);
    tap(keyCode::tab);

    EXPECT_EQ(local(0, 0, "a"), MonitorDecision::pass);
    EXPECT_EQ(searchBar->searchText(), "");
}

TEST_F(GlimmerwickWindowTests, globallyMonitoredCharactersAreAppendedLaterEvenWhileTheFieldIsEdited)
{
    showWithMonitorsAlone();
    field().setFocus();

    global(0, 0, "a");
    EXPECT_EQ(searchBar->searchText(), "");
    fakes.time.runUntilIdle();
    EXPECT_EQ(searchBar->searchText(), "a");

    global(0, eventFlag::command, "b");
    fakes.time.runUntilIdle();
    EXPECT_EQ(searchBar->searchText(), "a");
}

TEST_F(GlimmerwickWindowTests, globallyMonitoredKeysNavigateLater)
{
    showWithMonitorsAlone();

    global(keyCode::downArrow);
    EXPECT_EQ(collection().selectedItem(), std::nullopt);
    fakes.time.runUntilIdle();
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));

    global(keyCode::return_);
    global(keyCode::tab);
    global(keyCode::escape);
    fakes.time.runUntilIdle();
    EXPECT_THAT(picks, ElementsAre("1f600"));
    EXPECT_FALSE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, deferredKeysOfAHiddenWindowAreDropped)
{
    showWithMonitorsAlone();

    global(0, 0, "a");
    window->dismiss();
    fakes.time.runUntilIdle();

    EXPECT_EQ(searchBar->searchText(), "");
}

TEST_F(GlimmerwickWindowTests, deferredKeysOfAWindowThatIsGoneAreDropped)
{
    showWithMonitorsAlone();
    global(0, 0, "a");
    grid.reset();

    window.reset();
    fakes.time.runUntilIdle();

    EXPECT_EQ(monitorCount(), 0U);
}

// Navigation

TEST_F(GlimmerwickWindowTests, everyWayOfEscapeHides)
{
    window->showAtMouseLocation();
    tap(keyCode::escape);
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(monitorCount(), 0U);

    showWithMonitorsAlone();
    EXPECT_EQ(local(keyCode::escape, 0, "\x1b"), MonitorDecision::consume);
    EXPECT_FALSE(window->isVisible());

    showWithMonitorsAlone();
    global(keyCode::escape);
    fakes.time.runUntilIdle();
    EXPECT_FALSE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, tabAndShiftTabSwitchBetweenFieldAndGrid)
{
    recents.addRecent("1f44d");
    for (const EventFlags flags : {EventFlags{0}, eventFlag::shift}) {
        window->showAtMouseLocation();
        collection().deselectAll();

        tap(keyCode::tab, flags);
        EXPECT_TRUE(isFieldEdited());
        EXPECT_EQ(collection().selectedItem(), std::nullopt);

        tap(keyCode::tab, flags);
        EXPECT_TRUE(isGridFocused());
        EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
        EXPECT_EQ(collection().visibleTop(), 36);
        window->dismiss();
    }
}

TEST_F(GlimmerwickWindowTests, tabKeepsASelection)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 3}, ScrollPosition::none);
    field().setFocus();

    tap(keyCode::tab);

    EXPECT_EQ(collection().selectedItem(), (IndexPath{2, 3}));
}

TEST_F(GlimmerwickWindowTests, tabWithAnEmptyFirstSectionSelectsNothing)
{
    loadManifest(tests::manifestDocument({{"a", "First", {}}, {"b", "Second", {"1f600"}}}));
    grid->reloadData();
    window->showAtMouseLocation();
    field().setFocus();

    tap(keyCode::tab);

    EXPECT_TRUE(isGridFocused());
    EXPECT_EQ(collection().selectedItem(), std::nullopt);
}

TEST_F(GlimmerwickWindowTests, typingGoesOnAfterATabWithoutResults)
{
    window->showAtMouseLocation();
    type("zz");
    grid->showSearchResults({});

    tap(keyCode::tab);
    type("a");

    EXPECT_EQ(delegate.calls.size(), 4U) << "one action and one change per edit";
    EXPECT_EQ(searchBar->searchText().back(), 'a');
}

TEST_F(GlimmerwickWindowTests, downFromTheFieldSelectsTheFirstEmojiShown)
{
    recents.addRecent("1f44d");
    window->showAtMouseLocation();
    collection().selectItem({1, 5}, ScrollPosition::none);
    field().setFocus();

    tap(keyCode::downArrow);

    EXPECT_TRUE(isGridFocused());
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
    EXPECT_EQ(collection().visibleTop(), 36);
}

TEST_F(GlimmerwickWindowTests, otherArrowsInTheFieldMoveTheSelectionAndKeepTheFocus)
{
    window->showAtMouseLocation();
    field().setFocus();

    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 1}));
    tap(keyCode::upArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 1}));

    EXPECT_TRUE(isFieldEdited());
}

TEST_F(GlimmerwickWindowTests, arrowsMoveOverTheGrid)
{
    window->showAtMouseLocation();

    tap(keyCode::upArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0})) << "the first arrow selects";
    tap(keyCode::downArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 7}));
    tap(keyCode::rightArrow);
    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 9}));
    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{2, 0})) << "past the empty section";
    tap(keyCode::leftArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 9}));
    EXPECT_THAT(picks, IsEmpty());
}

TEST_F(GlimmerwickWindowTests, rightOnTheVeryLastItemDoesNothing)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 15}, ScrollPosition::none);

    tap(keyCode::rightArrow);

    EXPECT_EQ(collection().selectedItem(), (IndexPath{2, 15}));
}

TEST_F(GlimmerwickWindowTests, aMoveScrollsItsTargetToTheMiddle)
{
    loadManifest(tests::manifestDocument({{"a", "First", tests::codepoints(0x1f300, 200)}}));
    grid->reloadData();
    window->showAtMouseLocation();
    collection().selectItem({0, 70}, ScrollPosition::none);

    tap(keyCode::downArrow);

    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 77}));
    EXPECT_EQ(collection().visibleTop(), collection().flowLayout().itemFrame({0, 77})->midY() - 156);
}

TEST_F(GlimmerwickWindowTests, arrowsMoveAsTheyPointWhereTextRunsFromTheRight)
{
    window->setLayoutDirection(Qt::RightToLeft);
    window->showAtMouseLocation();
    collection().selectItem({0, 1}, ScrollPosition::none);
    const int before = collection().item({0, 1})->x();

    tap(keyCode::leftArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 2}));
    EXPECT_LT(collection().item({0, 2})->x(), before);
    tap(keyCode::rightArrow);
    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
    tap(keyCode::downArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 7}));
}

TEST_F(GlimmerwickWindowTests, arrowsWithoutEmojiDoNothing)
{
    loadManifest(tests::manifestDocument({{"a", "First", {}}}));
    grid->reloadData();
    window->showAtMouseLocation();
    field().setFocus();

    tap(keyCode::downArrow);

    EXPECT_TRUE(isFieldEdited());
    EXPECT_EQ(collection().selectedItem(), std::nullopt);
}

TEST_F(GlimmerwickWindowTests, monitoredKeysNavigateWhileTheFieldIsEdited)
{
    showWithMonitorsAlone();
    field().setFocus();

    EXPECT_EQ(local(keyCode::rightArrow), MonitorDecision::consume);
    EXPECT_EQ(local(keyCode::tab, eventFlag::shift, "\x19"), MonitorDecision::consume);
    EXPECT_TRUE(isGridFocused());
    EXPECT_EQ(local(keyCode::return_, 0, "\r"), MonitorDecision::consume);
    EXPECT_EQ(local(keyCode::delete_, 0, "\x7f"), MonitorDecision::pass);

    EXPECT_THAT(picks, ElementsAre("1f600"));
}

TEST_F(GlimmerwickWindowTests, withoutAGridItsKeysPass)
{
    window->setEmojiCollectionView(nullptr);
    showWithMonitorsAlone();

    EXPECT_EQ(local(keyCode::return_), MonitorDecision::pass);
    EXPECT_EQ(local(keyCode::downArrow), MonitorDecision::pass);
    EXPECT_EQ(local(keyCode::tab), MonitorDecision::consume);
    EXPECT_EQ(local(keyCode::tab), MonitorDecision::consume);
    EXPECT_TRUE(isFieldEdited());
}

// Picking

TEST_F(GlimmerwickWindowTests, returnPicksTheSelectedEmoji)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 4}, ScrollPosition::none);

    tap(keyCode::return_);

    EXPECT_THAT(picks, ElementsAre("1f444"));
    EXPECT_EQ(collection().selectedItem(), std::nullopt);
}

TEST_F(GlimmerwickWindowTests, returnWithoutASelectionPicksTheFirstEmojiShown)
{
    window->showAtMouseLocation();

    tap(keyCode::keypadEnter);

    EXPECT_THAT(picks, ElementsAre("1f600"));
}

TEST_F(GlimmerwickWindowTests, optionIsIgnoredWithoutASelection)
{
    window->showAtMouseLocation();

    tap(keyCode::return_, eventFlag::option);

    EXPECT_THAT(picks, ElementsAre("1f600"));
    EXPECT_FALSE(popover.isShown());
}

TEST_F(GlimmerwickWindowTests, returnWithoutEmojiPicksNothing)
{
    window->showAtMouseLocation();
    grid->showSearchResults({});

    tap(keyCode::return_);

    EXPECT_THAT(picks, IsEmpty());
}

TEST_F(GlimmerwickWindowTests, returnRunsTheSearchThatStillWaitsFirst)
{
    SearchManager manager(*dataManager.manifest(), SearchManager::IndexBuild::synchronous, 50,
                          fakes.platform);
    searchBar->connect(manager);
    window->willPickFromKeyboard = [&] { manager.flushPendingSearch(); };
    window->showAtMouseLocation();
    collection().selectItem({0, 3}, ScrollPosition::none);
    type("name of 1f44d");

    tap(keyCode::return_);

    EXPECT_THAT(picks, ElementsAre("1f44d"));
    fakes.time.advance(1s);
    EXPECT_EQ(picks.size(), 1U);
}

TEST_F(GlimmerwickWindowTests, optionReturnOpensTheTonesOfTheSelectedEmoji)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 11}, ScrollPosition::none);

    tap(keyCode::return_, eventFlag::option);

    ASSERT_TRUE(popover.isShown());
    EXPECT_EQ(popover.selectorView()->skinToneButtons()[1]->emojiText(), "👋🏻");
    EXPECT_THAT(picks, IsEmpty());
    EXPECT_TRUE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, optionReturnOnAnEmojiWithoutTonesDoesNothing)
{
    window->showAtMouseLocation();
    collection().selectItem({0, 0}, ScrollPosition::none);

    tap(keyCode::return_, eventFlag::option);

    EXPECT_FALSE(popover.isShown());
    EXPECT_THAT(picks, IsEmpty());
    EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
}

TEST_F(GlimmerwickWindowTests, optionReturnFindsTheEmojiWhateverTheTone)
{
    preferences.setPreferredSkinTone(SkinTone::dark);
    window->showAtMouseLocation();
    collection().selectItem({2, 11}, ScrollPosition::none);

    tap(keyCode::return_, eventFlag::option);

    EXPECT_TRUE(popover.isShown());
}

TEST_F(GlimmerwickWindowTests, clickPicksAndOptionClickCopies)
{
    window->showAtMouseLocation();

    tests::click(*collection().item({0, 2}));
    tests::click(*collection().item({0, 3}), Qt::AltModifier);

    EXPECT_THAT(picks, ElementsAre("1f602", "1f603 copy"));
}

// The open tone chooser

TEST_F(GlimmerwickWindowTests, keysGoToTheOpenToneChooser)
{
    std::vector<SkinTone> tones;
    popover.onSkinToneSelected = [&](SkinTone tone, const Emoji&) { tones.push_back(tone); };
    window->showAtMouseLocation();
    collection().selectItem({2, 11}, ScrollPosition::none);
    tap(keyCode::return_, eventFlag::option);

    tap(keyCode::rightArrow);
    tap(keyCode::rightArrow);
    EXPECT_EQ(collection().selectedItem(), (IndexPath{2, 11}));
    tap(keyCode::return_);

    EXPECT_THAT(tones, ElementsAre(SkinTone(SkinTone::mediumLight)));
    EXPECT_THAT(picks, IsEmpty());
}

TEST_F(GlimmerwickWindowTests, theKeysThatOpenTheToneChooserDoNotChooseInItWhenTheyRepeat)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 11}, ScrollPosition::none);

    for (int press = 0; press < 5; ++press) {
        tap(keyCode::return_, eventFlag::option);
        tap(keyCode::keypadEnter, eventFlag::option);
    }

    EXPECT_TRUE(popover.isShown());
    EXPECT_TRUE(window->isVisible());
    EXPECT_THAT(picks, IsEmpty());
}

TEST_F(GlimmerwickWindowTests, escapeClosesTheToneChooserThenTheWindow)
{
    window->showAtMouseLocation();
    collection().selectItem({2, 11}, ScrollPosition::none);
    tap(keyCode::return_, eventFlag::option);

    tap(keyCode::escape);
    EXPECT_FALSE(popover.isShown());
    EXPECT_TRUE(window->isVisible());
    tap(keyCode::escape);
    EXPECT_FALSE(window->isVisible());
}

TEST_F(GlimmerwickWindowTests, typingClosesTheToneChooserAndSearches)
{
    for (const bool isTapped : {true, false}) {
        fakes.eventTap.refuses = !isTapped;
        window->showAtMouseLocation();
        searchBar->clear();
        collection().selectItem({2, 11}, ScrollPosition::none);
        tests::press(*collection().item({2, 11}), {20, 20}, Qt::RightButton);
        ASSERT_TRUE(popover.isShown());

        isTapped ? type("a") : static_cast<void>(local(0, 0, "a"));

        EXPECT_FALSE(popover.isShown());
        EXPECT_EQ(searchBar->searchText(), "a");
        window->dismiss();
    }
}

TEST_F(GlimmerwickWindowTests, hidingClosesTheToneChooser)
{
    window->showAtMouseLocation();
    tests::press(*collection().item({2, 11}), {20, 20}, Qt::RightButton);
    ASSERT_TRUE(popover.isShown());

    window->dismiss();

    EXPECT_FALSE(popover.isShown());
}

TEST_F(GlimmerwickWindowTests, aClickThatClosesTheToneChooserPicksNothing)
{
    window->showAtMouseLocation();
    tests::press(*collection().item({2, 11}), {20, 20}, Qt::RightButton);
    ASSERT_TRUE(popover.isShown());

    tests::click(*collection().item({0, 0}));
    EXPECT_FALSE(popover.isShown());
    EXPECT_THAT(picks, IsEmpty());
    tests::click(*collection().item({0, 0}));

    EXPECT_THAT(picks, ElementsAre("1f600"));
}

/// Takes Return alone while it is open.
class Menu : public KeyOverlay {
public:
    bool isShown() const override { return shown; }
    bool handleKey(std::int64_t code) override
    {
        taken += code == keyCode::return_ ? 1 : 0;
        return code == keyCode::return_;
    }
    void dismiss() override { shown = false; }

    bool shown = true;
    int taken = 0;
};

TEST_F(GlimmerwickWindowTests, anOpenMenuGetsTheKeysFirst)
{
    for (const bool isTapped : {true, false}) {
        Menu menu;
        makeWindow();
        window->addKeyOverlay(menu);
        fakes.eventTap.refuses = !isTapped;
        window->showAtMouseLocation();
        const auto send = [&](std::uint16_t code) { isTapped ? tap(code) : static_cast<void>(local(code)); };

        send(keyCode::return_);
        EXPECT_EQ(menu.taken, 1);
        EXPECT_TRUE(menu.shown);
        EXPECT_THAT(picks, IsEmpty());
        send(keyCode::downArrow);
        EXPECT_FALSE(menu.shown) << "the user went on to something else";
        EXPECT_EQ(collection().selectedItem(), (IndexPath{0, 0}));
        send(keyCode::return_);
        EXPECT_EQ(menu.taken, 1);
        EXPECT_THAT(picks, ElementsAre("1f600"));
        picks.clear();
        window->dismiss();
    }
}

TEST_F(GlimmerwickWindowTests, typingAndHidingCloseAnOpenMenu)
{
    Menu menu;
    window->addKeyOverlay(menu);
    window->showAtMouseLocation();
    type("a");
    EXPECT_FALSE(menu.shown);
    EXPECT_EQ(searchBar->searchText(), "a");

    menu.shown = true;
    window->dismiss();
    EXPECT_FALSE(menu.shown);
}

// What is read aloud

TEST_F(GlimmerwickWindowTests, thePanelIsADialogWithAGroup)
{
    QAccessibleInterface* panel = QAccessible::queryAccessibleInterface(window.get());
    QAccessibleInterface* group = QAccessible::queryAccessibleInterface(window->contentContainerView());

    EXPECT_EQ(panel->role(), QAccessible::Dialog);
    EXPECT_EQ(panel->text(QAccessible::Name), "Glimmerwick");
    EXPECT_EQ(group->role(), QAccessible::Grouping);
}

TEST_F(GlimmerwickWindowTests, whereTheKeysGoIsTold)
{
    static std::vector<QObject*> told;
    const auto previous = QAccessible::installUpdateHandler([](QAccessibleEvent* event) {
        if (event->type() == QAccessible::Focus) {
            told.push_back(event->object());
        }
    });
    const auto lastTold = [] {
        QObject* last = told.empty() ? nullptr : told.back();
        told.clear();
        return last;
    };

    window->showAtMouseLocation();
    EXPECT_EQ(lastTold(), &collection());
    tap(keyCode::downArrow);
    EXPECT_EQ(lastTold(), collection().item({0, 0}));
    tap(keyCode::tab);
    EXPECT_EQ(lastTold(), &field());
    tap(keyCode::tab);
    EXPECT_EQ(lastTold(), collection().item({0, 0})) << "the selection was there before";
    type("a");
    EXPECT_EQ(lastTold(), &field());
    QAccessible::installUpdateHandler(previous);
}

TEST_F(GlimmerwickWindowTests, wheelClosesTheToneChooser)
{
    window->showAtMouseLocation();
    tests::press(*collection().item({2, 11}), {20, 20}, Qt::RightButton);
    QWheelEvent event({100, 100}, {100, 100}, {}, {0, -120}, Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                      false);

    QApplication::sendEvent(&collection(), &event);

    EXPECT_FALSE(popover.isShown());
}

} // namespace
} // namespace glimmerwick
