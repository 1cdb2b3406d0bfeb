#include "AppDelegate.h"
#include "Fakes/FakePlatform.h"
#include "GlimmerwickWindow.h"
#include "HotkeyManager.h"
#include "Managers/BundledCatalogue.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Models/Manifest.h"
#include "Views/CategoryHeaderView.h"
#include "Views/CategoryTabBar.h"
#include "Views/CollectionView.h"
#include "Views/CollectionViewItem.h"
#include "Views/PanelMenuItem.h"
#include "Views/SearchBarView.h"
#include "Views/SearchField.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"
#include "Views/ToastView.h"
#include "Views/ViewsFixture.h"

#include <gmock/gmock.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QStringList>
#include <QTranslator>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;
using testing::StartsWith;

const std::string manifestDocument = R"({
  "version": "1", "lastUpdated": "2026-01-01",
  "categories": [
    {"id": "smileys", "name": "Smileys", "icon": "1f600", "emojis": ["1f600", "1f680"]},
    {"id": "people", "name": "People", "icon": "1f44b", "emojis": ["1f44b", "zz"]}
  ],
  "emojis": {
    "1f600": {"char": "😀", "name": "grinning face", "keywords": ["grin"], "category": "smileys", "skinTones": false},
    "1f680": {"char": "🚀", "name": "rocket", "keywords": ["launch"], "category": "smileys", "skinTones": false},
    "1f44b": {"char": "👋", "name": "waving hand", "keywords": ["hello"], "category": "people", "skinTones": true},
    "zz": {"char": "?", "name": "broken", "keywords": [], "category": "people", "skinTones": true}
  }
})";

/// Two categories of which the first fills several screens.
std::string longManifestDocument()
{
    std::string codepoints;
    std::string emojis;
    for (int number = 0; number < 300; ++number) {
        const std::string separator = number == 0 ? "" : ",";
        const std::string codepoint = "f" + std::to_string(number);
        codepoints += separator + '"' + codepoint + '"';
        emojis += separator + '"' + codepoint
            + R"(": {"char": "😀", "name": "face", "keywords": [], "category": "first", "skinTones": false})";
    }
    return R"({"version": "1", "lastUpdated": "", "categories": [
        {"id": "first", "name": "First", "icon": "1f600", "emojis": [)"
        + codepoints + R"(]}, {"id": "second", "name": "Second", "icon": "1f600", "emojis": [)" + codepoints
        + "]}], \"emojis\": {" + emojis + "}}";
}

class AppDelegateTest : public testing::Test {
protected:
    AppDelegateTest()
    {
        style::setAnimationsEnabled(false);
        system.httpClient.respond = [](const HttpRequest&) { return HttpResponse{200, manifestDocument}; };
        system.workspace.frontmost =
            std::make_shared<fakes::FakeRunningApplication>("org.example.Editor", "Editor", 42);
        system.workspace.running = {system.workspace.frontmost};
    }

    ~AppDelegateTest() override { style::setAnimationsEnabled(true); }

    void launch(std::vector<std::string> flags = {})
    {
        system.process.arguments.insert(system.process.arguments.end(), flags.begin(), flags.end());
        installed = std::make_unique<InstalledPlatform>(system.platform);
        delegate = std::make_unique<AppDelegate>(system.platform);
        delegate->applicationDidFinishLaunching();
    }

    void launchAndLoad(std::vector<std::string> flags = {})
    {
        launch(std::move(flags));
        system.time.runUntilIdle();
    }

    void pressShortcut()
    {
        system.eventTap.press(keyCode::space, eventFlag::control | eventFlag::command);
        system.time.runUntilIdle();
    }

    void type(const std::string& characters)
    {
        for (const char character : characters) {
            system.eventTap.press(0, 0, std::string(1, character));
        }
        system.time.runUntilIdle();
    }

    void press(std::uint16_t code)
    {
        system.eventTap.press(code);
        system.time.runUntilIdle();
    }

    void pick(const Emoji& emoji, EmojiSelectionAction action)
    {
        system.notificationCenter.post({EmojiGridViewController::emojiSelectedNotification,
                                        nullptr,
                                        {{{"emoji", emoji}, {"action", action}}}});
    }

    Emoji emoji(const std::string& codepoint)
    {
        return EmojiDataManager::shared().manifest()->emoji(codepoint).value();
    }

    bool isShown() { return delegate->pickerWindow()->isVisible(); }

    /// In the picker, which may be hidden already; null when there is none.
    ToastView* shownToast()
    {
        for (QObject* child : delegate->pickerWindow()->contentContainerView()->children()) {
            if (auto* toast = dynamic_cast<ToastView*>(child)) {
                return toast;
            }
        }
        return nullptr;
    }

    std::size_t shownEmojiCount()
    {
        CollectionView* grid = delegate->emojiGridViewController()->internalCollectionView();
        std::size_t count = 0;
        for (std::size_t section = 0; section < grid->numberOfSections(); ++section) {
            count += grid->numberOfItems(section);
        }
        return count;
    }

    std::size_t logPosition(const std::string& line)
    {
        const auto& lines = system.log.lines;
        const auto found = std::find_if(lines.begin(), lines.end(),
                                        [&](const std::string& each) { return each.rfind(line, 0) == 0; });
        EXPECT_NE(found, lines.end()) << line;
        return static_cast<std::size_t>(found - lines.begin());
    }

    fakes::FakePlatform system;
    std::unique_ptr<InstalledPlatform> installed;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_F(AppDelegateTest, launchLogsItsStepsInOrder)
{
    launchAndLoad();

    EXPECT_THAT(system.log.lines,
                ElementsAre("[Glimmerwick] App launched", "[OS VERSION] Detected macOS 6.1.0",
                            "RecentEmojisManager: Loaded 0 recent emojis from UserDefaults",
                            "EmojiGridViewController: No manifest available",
                            "[Glimmerwick] Sparkle updater initialized",
                            "[Glimmerwick] Manifest loaded successfully",
                            "EmojiGridViewController: Loaded 2 categories",
                            "EmojiGridViewController: Loaded 4 total emojis",
                            "EmojiGridViewController: Loaded 0 recent emojis",
                            StartsWith("[SearchManager] Index built: 4 emojis, 7 words indexed in ")));
}

TEST_F(AppDelegateTest, launchReturnsBeforeTheCatalogueIsAskedFor)
{
    launch();

    EXPECT_TRUE(system.httpClient.exchanges.empty());
    EXPECT_TRUE(HotkeyManager::shared().isRunning());
}

TEST_F(AppDelegateTest, mainMenuHoldsItsFiveEntries)
{
    launch();

    const auto& items = system.menuHost.items;
    ASSERT_EQ(items.size(), 5u);
    EXPECT_EQ(items[0].title, "About Glimmerwick");
    EXPECT_EQ(items[1].kind, MenuItem::Kind::separator);
    EXPECT_EQ(items[2].title, "Check for Updates...");
    EXPECT_EQ(items[3].kind, MenuItem::Kind::separator);
    EXPECT_EQ(items[4].title, "Quit Glimmerwick");
    EXPECT_EQ(items[4].keyEquivalent, "q");
    EXPECT_EQ(items[0].keyEquivalent + items[2].keyEquivalent, "");

    items[0].action();
    items[2].action();
    items[4].action();
    EXPECT_EQ(system.menuHost.aboutCount, 1);
    EXPECT_EQ(system.updater.checkCount, 1);
    EXPECT_EQ(system.menuHost.terminateCount, 1);
}

TEST_F(AppDelegateTest, launchStartsTheUpdaterOnce)
{
    launchAndLoad();
    EXPECT_EQ(system.updater.startCount, 1);

    delegate->checkForUpdates();

    EXPECT_EQ(system.updater.startCount, 1);
}

TEST_F(AppDelegateTest, viewsHaveTheirPlacesInThePanel)
{
    launchAndLoad();

    EXPECT_EQ(delegate->pickerWindow()->size(), QSize(320, 400));
    EXPECT_EQ(delegate->searchBarView()->geometry(), QRect(8, 8, 304, 36));
    EXPECT_EQ(delegate->emojiGridViewController()->view()->geometry(), QRect(0, 52, 320, 312));
    EXPECT_EQ(delegate->categoryTabBar()->geometry(), QRect(0, 364, 320, 36));
    EXPECT_EQ(delegate->pickerWindow()->searchField(), delegate->searchBarView()->internalSearchField());
    EXPECT_EQ(delegate->pickerWindow()->emojiCollectionView(),
              delegate->emojiGridViewController()->internalCollectionView());
}

TEST_F(AppDelegateTest, refusedTapAsksForPermissionAndStartsTheShortcutWhenItComes)
{
    system.eventTap.refuses = true;
    system.accessibilityTrust.trusted = false;
    launchAndLoad();
    EXPECT_EQ(system.accessibilityTrust.promptCount, 1);
    EXPECT_FALSE(HotkeyManager::shared().isRunning());

    system.time.advance(3s);
    EXPECT_FALSE(HotkeyManager::shared().isRunning());

    system.eventTap.refuses = false;
    system.accessibilityTrust.trusted = true;
    system.time.advance(1s);

    EXPECT_TRUE(HotkeyManager::shared().isRunning());
    pressShortcut();
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, manifestFillsGridTabsAndSearch)
{
    launchAndLoad();

    EXPECT_EQ(shownEmojiCount(), 4u);
    EXPECT_EQ(delegate->categoryTabBar()->categories().size(), 2u);
    EXPECT_EQ(delegate->categoryTabBar()->selectedCategoryId(), "smileys");
    pressShortcut();
    type("rock");
    system.time.advance(50ms);
    EXPECT_EQ(shownEmojiCount(), 1u);
}

TEST_F(AppDelegateTest, failedLoadIsLoggedOnceAndNotRetried)
{
    system.httpClient.respond = [](const HttpRequest&) { return HttpResponse{404, "gone"}; };
    launchAndLoad();
    EXPECT_THAT(system.log.lines,
                Contains("[Glimmerwick] Failed to load manifest: httpError(statusCode: 404)"));

    pressShortcut();
    system.time.advance(24h);

    EXPECT_EQ(system.httpClient.exchanges.size(), 1u);
    EXPECT_EQ(shownEmojiCount(), 0u);
}

TEST_F(AppDelegateTest, manifestIsLoadedOncePerLaunch)
{
    launchAndLoad();
    for (int shows = 0; shows < 3; ++shows) {
        pressShortcut();
        pressShortcut();
    }
    system.time.advance(48h);

    EXPECT_EQ(system.httpClient.exchanges.size(), 1u);
}

TEST_F(AppDelegateTest, targetAppFlagSetsTheTargetBeforeAnyPickerIsShown)
{
    launch({"--target-app", "org.example.Editor", "--show-picker"});

    EXPECT_LT(logPosition("[Glimmerwick] Setting target app to: org.example.Editor"),
              logPosition("[TypeManager] Target app set to: Editor (bundle: org.example.Editor)"));
    EXPECT_LT(logPosition("[TypeManager] Target app set to: "),
              logPosition("[Glimmerwick] Showing picker due to --show-picker argument"));
}

TEST_F(AppDelegateTest, targetAppFlagAsLastArgumentIsIgnored)
{
    launch({"--target-app"});

    EXPECT_THAT(system.log.lines, Not(Contains(StartsWith("[Glimmerwick] Setting target app"))));
}

TEST_F(AppDelegateTest, firstTargetAppFlagWins)
{
    launch({"--target-app", "first", "--target-app", "org.example.Editor"});

    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Setting target app to: first"));
    EXPECT_THAT(system.log.lines, Not(Contains("[Glimmerwick] Setting target app to: org.example.Editor")));
}

TEST_F(AppDelegateTest, unknownTargetAppLeavesNoTarget)
{
    launchAndLoad({"--target-app", "org.example.Absent"});
    EXPECT_THAT(
        system.log.lines,
        Contains("[TypeManager] Warning: Could not find running app with bundle ID: org.example.Absent"));

    pressShortcut();
    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);

    EXPECT_THAT(system.log.lines,
                Contains("TypeManager: Activating previous frontmost app: Editor (PID: 42)"));
}

TEST_F(AppDelegateTest, targetAppReceivesThePickWhateverWasInFront)
{
    const auto other = std::make_shared<fakes::FakeRunningApplication>("org.example.Other", "Other", 7);
    system.workspace.running.push_back(other);
    launchAndLoad({"--target-app", "org.example.Other"});

    pressShortcut();
    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);

    EXPECT_EQ(other->activations.size(), 1u);
}

TEST_F(AppDelegateTest, showPickerFlagShowsHalfASecondAfterLaunchWithTheGridFocused)
{
    const auto atLaunch = system.workspace.frontmost;
    launch({"--show-picker"});
    EXPECT_THAT(system.log.lines, Contains("TypeManager: Stored frontmost app - Editor"));
    system.workspace.frontmost = std::make_shared<fakes::FakeRunningApplication>("later", "Later", 9);

    system.time.advance(499ms);
    EXPECT_FALSE(isShown());
    system.time.advance(1ms);

    EXPECT_TRUE(isShown());
    EXPECT_EQ(delegate->pickerWindow()->focusWidget(),
              delegate->emojiGridViewController()->internalCollectionView());
    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);
    EXPECT_EQ(static_cast<fakes::FakeRunningApplication&>(*atLaunch).activations.size(), 1u);
}

TEST_F(AppDelegateTest, showPickerFlagOutlivesNoDelegate)
{
    launch({"--show-picker"});

    delegate.reset();
    system.time.advance(1s);

    EXPECT_THAT(system.panelHost.calls, Not(Contains("panelDidShow")));
}

TEST_F(AppDelegateTest, togglingTwiceHidesWithoutResetAndTheNextShowResets)
{
    launchAndLoad();
    pressShortcut();
    type("rock");
    system.time.advance(50ms);

    pressShortcut();
    EXPECT_FALSE(isShown());
    EXPECT_EQ(delegate->searchBarView()->searchText(), "rock");
    EXPECT_EQ(shownEmojiCount(), 1u);

    pressShortcut();
    EXPECT_TRUE(isShown());
    EXPECT_EQ(delegate->searchBarView()->searchText(), "");
    EXPECT_EQ(shownEmojiCount(), 4u);
}

TEST_F(AppDelegateTest, typePickHidesTypesAndResets)
{
    system.pasteboard.contents[pasteboardType::string] = "precious";
    launchAndLoad();
    pressShortcut();
    type("rock");
    system.time.advance(50ms);

    press(keyCode::return_);

    EXPECT_FALSE(isShown());
    EXPECT_TRUE(system.eventPoster.posted.empty()) << "typing waits until the picker is off the screen";
    EXPECT_EQ(delegate->searchBarView()->searchText(), "rock");
    std::string pasted;
    system.eventPoster.onPost = [&](const auto& event) {
        if (event.direction == KeyDirection::down) {
            pasted = system.pasteboard.contents[pasteboardType::string];
        }
    };
    system.time.advance(50ms);
    EXPECT_EQ(pasted, "🚀");
    EXPECT_EQ(delegate->searchBarView()->searchText(), "");
    system.time.advance(100ms);
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "precious");
}

TEST_F(AppDelegateTest, failedTypingResetsAsWell)
{
    launchAndLoad();
    pressShortcut();
    type("rock");
    system.time.advance(50ms);
    system.accessibilityTrust.trusted = false;

    press(keyCode::return_);
    system.time.advance(1s);

    EXPECT_THAT(system.log.lines, Contains("TypeManager: Failed to type '🚀'"));
    EXPECT_EQ(delegate->searchBarView()->searchText(), "");
}

TEST_F(AppDelegateTest, returnAheadOfTheResultsPicksWhatWasAskedFor)
{
    launchAndLoad();
    pressShortcut();
    for (const char character : std::string("rocket")) {
        system.eventTap.press(0, 0, std::string(1, character));
    }
    system.eventTap.press(keyCode::return_);

    system.time.runUntilIdle();

    EXPECT_FALSE(isShown());
    system.time.advance(1s);
    EXPECT_THAT(system.log.lines, Contains("TypeManager: Typed '🚀' (rocket)"));
}

TEST_F(AppDelegateTest, copyPickHidesAtOnceAndLeavesTheTonedEmojiOnTheClipboard)
{
    launchAndLoad();
    SkinTonePreferences::shared().setPreferredSkinTone(SkinTone::dark);
    pressShortcut();

    pick(emoji("1f44b"), EmojiSelectionAction::copy);

    EXPECT_FALSE(isShown());
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "👋🏿");
    EXPECT_THAT(RecentEmojisManager::shared().recentCodepoints(), ElementsAre("1f44b"));
    const auto toasts = delegate->pickerWindow()->contentContainerView()->findChildren<QWidget*>();
    EXPECT_TRUE(std::any_of(toasts.begin(), toasts.end(), [](QWidget* each) {
        const auto* toast = dynamic_cast<ToastView*>(each);
        return toast && toast->message() == "Copied!";
    }));
    system.time.advance(10s);
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "👋🏿");
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, clickWithOptionCopiesAddsTheToastAndHidesInTheSameTurn)
{
    launchAndLoad();
    pressShortcut();
    CollectionViewItem& cell = *delegate->emojiGridViewController()->internalCollectionView()->item({0, 1});
    const std::size_t waiting = system.time.pendingCount();

    tests::click(cell, Qt::AltModifier);

    EXPECT_FALSE(isShown());
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "🚀");
    const ToastView* toast = shownToast();
    ASSERT_NE(toast, nullptr);
    EXPECT_EQ(toast->message(), "Copied!");
    EXPECT_EQ(toast->parentWidget(), delegate->pickerWindow()->contentContainerView());
    EXPECT_GT(system.time.pendingCount(), waiting) << "the toast's end";
    system.time.advance(10s);
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, clickWithoutOptionTypesAndShowsNoToast)
{
    launchAndLoad();
    pressShortcut();
    CollectionViewItem& cell = *delegate->emojiGridViewController()->internalCollectionView()->item({0, 1});

    tests::click(cell);
    EXPECT_EQ(shownToast(), nullptr);
    system.time.advance(10s);

    EXPECT_FALSE(isShown());
    EXPECT_FALSE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, whereNothingCanBeTypedATypePickIsCopiedAndTold)
{
    system.pasteboard.contents[pasteboardType::string] = "precious";
    system.accessibilityTrust.grantable = false;
    launchAndLoad();
    pressShortcut();
    type("rock");
    system.time.advance(50ms);

    press(keyCode::return_);

    EXPECT_FALSE(isShown());
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "🚀");
    EXPECT_EQ(shownToast(), nullptr);
    EXPECT_EQ(delegate->searchBarView()->searchText(), "");
    EXPECT_THAT(RecentEmojisManager::shared().recentCodepoints(), ElementsAre("1f680"));
    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_EQ(system.userNotice.posted[0].summary, "Emoji copied");
    EXPECT_THAT(system.userNotice.posted[0].body, HasSubstr("press Ctrl+V"));
    EXPECT_THAT(system.log.lines,
                Contains("[Glimmerwick] This session lets no program type: copying instead"));
    system.time.advance(10s);
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "🚀");
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, whereNothingCanBeTypedAToneChoiceIsCopiedAndTold)
{
    system.accessibilityTrust.grantable = false;
    launchAndLoad();
    pressShortcut();

    SkinTonePopoverController::shared().onSkinToneSelected(SkinTone::dark, emoji("1f44b"));
    EXPECT_FALSE(isShown());
    system.time.advance(1s);

    EXPECT_EQ(SkinTonePreferences::shared().preferredSkinTone(), SkinTone::dark);
    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "👋🏿");
    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_THAT(system.userNotice.posted[0].body, HasSubstr("press Ctrl+V"));
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, whereNothingCanBeTypedACopyPickIsWhatItAlwaysIs)
{
    system.accessibilityTrust.grantable = false;
    launchAndLoad();
    pressShortcut();

    pick(emoji("1f680"), EmojiSelectionAction::copy);

    EXPECT_EQ(system.pasteboard.contents[pasteboardType::string], "🚀");
    EXPECT_NE(shownToast(), nullptr);
    EXPECT_THAT(system.userNotice.posted, IsEmpty());
}

TEST_F(AppDelegateTest, aClipboardThatTakesNothingIsNotSaidToHoldTheEmoji)
{
    system.accessibilityTrust.grantable = false;
    system.pasteboard.refusals = 1;
    launchAndLoad();
    pressShortcut();

    pick(emoji("1f680"), EmojiSelectionAction::type);

    EXPECT_FALSE(isShown());
    EXPECT_THAT(system.userNotice.posted, IsEmpty());
}

TEST_F(AppDelegateTest, aPermissionThatIsOnlyMissingLeadsToNoCopy)
{
    system.accessibilityTrust.trusted = false;
    launchAndLoad();
    pressShortcut();

    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);

    EXPECT_THAT(system.log.lines, Contains("TypeManager: Failed to type '🚀'"));
    EXPECT_THAT(system.userNotice.posted, IsEmpty());
}

TEST_F(AppDelegateTest, anOpenMenuTakesTheKeysAheadOfTheGrid)
{
    launchAndLoad();
    pressShortcut();
    SearchBarView& searchBar = *delegate->searchBarView();
    auto* button = searchBar.findChild<QAbstractButton*>("menuButton");
    CollectionView& grid = *delegate->emojiGridViewController()->internalCollectionView();

    button->click();
    press(keyCode::downArrow);
    EXPECT_FALSE(grid.selectedItem());
    press(keyCode::escape);
    EXPECT_EQ(searchBar.menu(), nullptr);
    EXPECT_TRUE(isShown());

    button->click();
    press(keyCode::downArrow);
    press(keyCode::return_);
    EXPECT_EQ(system.menuHost.terminateCount, 1);
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, typingGoesOnBehindAnOpenMenu)
{
    launchAndLoad();
    pressShortcut();
    delegate->searchBarView()->findChild<QAbstractButton*>("menuButton")->click();

    type("h");

    EXPECT_EQ(delegate->searchBarView()->menu(), nullptr);
    EXPECT_EQ(delegate->searchBarView()->searchText(), "h");
}

const QString mark = QStringLiteral("\u2042");

/// A language in which every text is the English one behind a mark.
class MarkingTranslator : public QTranslator {
public:
    MarkingTranslator() { QCoreApplication::installTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char*, int) const override
    {
        // This one is no text, but says which way a language runs.
        return std::string_view(source) == "QT_LAYOUT_DIRECTION" ? QString()
            : *context == '\0'                                   ? QString()
                                                                 : mark + QString::fromUtf8(source);
    }
};

/// What is to be read or heard on a view and all within it.
QStringList textsOn(QWidget& view)
{
    QStringList texts{view.accessibleName(), view.accessibleDescription(), view.toolTip()};
    if (QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&view)) {
        texts << accessible->text(QAccessible::Name) << accessible->text(QAccessible::Description)
              << accessible->text(QAccessible::Accelerator);
    }
    if (const auto* label = dynamic_cast<QLabel*>(&view)) {
        texts << label->text();
    }
    if (const auto* field = dynamic_cast<QLineEdit*>(&view)) {
        texts << field->placeholderText();
    }
    if (const auto* button = dynamic_cast<QAbstractButton*>(&view)) {
        texts << button->text();
    }
    if (const auto* header = dynamic_cast<CategoryHeaderView*>(&view)) {
        texts << header->shownTitle();
    }
    if (const auto* item = dynamic_cast<PanelMenuItem*>(&view)) {
        texts << item->title() << item->keyEquivalent();
    }
    if (const auto* toast = dynamic_cast<ToastView*>(&view)) {
        texts << QString::fromStdString(toast->message());
    }
    for (QWidget* child : view.findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly)) {
        texts << textsOn(*child);
    }
    texts.removeAll(QString());
    return texts;
}

TEST_F(AppDelegateTest, everyTextThatPeopleSeeIsTranslated)
{
    const MarkingTranslator translator;
    launchAndLoad();
    pick(emoji("1f680"), EmojiSelectionAction::copy);
    pressShortcut();
    GlimmerwickWindow& window = *delegate->pickerWindow();
    CollectionView& grid = *delegate->emojiGridViewController()->internalCollectionView();

    QStringList texts = textsOn(window);
    SkinTonePopoverController::shared().show(emoji("1f44b"), *grid.item({0, 0}), RectEdge::maxY);
    texts << textsOn(window);
    SkinTonePopoverController::shared().dismiss();
    delegate->searchBarView()->findChild<QAbstractButton*>("menuButton")->click();
    texts << textsOn(window);
    delegate->searchBarView()->menu()->close();
    type("rocket");
    system.time.advance(1s);
    texts << textsOn(window);
    type("qqqqqq");
    system.time.advance(1s);
    texts << textsOn(window);
    for (const MenuItem& item : system.menuHost.items) {
        texts << QString::fromStdString(item.title);
    }
    texts.removeAll(QString());

    for (const char* text :
         {"Search emoji...", "Clear", "Menu", "Quit", "Categories", "Recent", "Search Results",
          "No results found", "Copied!", "About Glimmerwick", "Check for Updates...", "Quit Glimmerwick"}) {
        EXPECT_TRUE(texts.contains(mark + text)) << text;
    }
    const QStringList notTheProgramsOwn{"Smileys",       "People",      "😀",      "🚀",      "👋",          "?",
                                        "grinning face", "waving hand", "rocket", "broken", "Glimmerwick"};
    for (const QString& text : texts) {
        const bool isToned = text.startsWith("👋");
        EXPECT_TRUE(text.contains(mark) || isToned || notTheProgramsOwn.contains(text)) << text.toStdString();
    }
}

TEST_F(AppDelegateTest, theNoticeOfATakenShortcutIsTranslated)
{
    const MarkingTranslator translator;
    system.eventTap.refuses = true;

    launchAndLoad();
    system.time.advance(1min);

    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_THAT(system.userNotice.posted[0].summary, StartsWith(mark.toStdString()));
    EXPECT_THAT(system.userNotice.posted[0].body, StartsWith(mark.toStdString()));
}

TEST_F(AppDelegateTest, whoHasUsedTheCommandIsNotToldOfATakenShortcutAgain)
{
    system.eventTap.refuses = true;
    launchAndLoad();
    ASSERT_EQ(system.userNotice.posted.size(), 1u);

    delegate->handleArguments({"--toggle"});
    delegate->tellThatTheShortcutIsTaken();

    EXPECT_EQ(system.userNotice.posted.size(), 1u);
}

TEST_F(AppDelegateTest, withoutAnyWayToTypeNobodyWaitsForThePermission)
{
    system.eventTap.refuses = true;
    system.accessibilityTrust.trusted = false;
    system.accessibilityTrust.grantable = false;

    launchAndLoad();

    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_THAT(system.userNotice.posted[0].body, HasSubstr("glimmerwick --toggle"));
    EXPECT_EQ(system.accessibilityTrust.promptCount, 0);
    // Not even when the trust were there all of a sudden.
    system.accessibilityTrust.trusted = true;
    system.time.advance(1min);
    EXPECT_EQ(system.userNotice.posted.size(), 1u);
}

TEST_F(AppDelegateTest, theNoticeOfACopyToPasteIsTranslated)
{
    const MarkingTranslator translator;
    system.accessibilityTrust.grantable = false;
    launchAndLoad();

    pick(emoji("1f680"), EmojiSelectionAction::type);

    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_THAT(system.userNotice.posted[0].summary, StartsWith(mark.toStdString()));
    EXPECT_THAT(system.userNotice.posted[0].body, StartsWith(mark.toStdString()));
}

TEST_F(AppDelegateTest, recentsReceiveTheBaseCodepointNeverTheTonedOne)
{
    launchAndLoad();
    SkinTonePreferences::shared().setPreferredSkinTone(SkinTone::light);

    pick(emoji("1f44b"), EmojiSelectionAction::type);
    SkinTonePopoverController::shared().onSkinToneSelected(SkinTone::medium, emoji("1f44b"));
    system.time.advance(1s);

    EXPECT_THAT(RecentEmojisManager::shared().recentCodepoints(), ElementsAre("1f44b"));
    EXPECT_THAT(system.log.lines, Contains("TypeManager: Typed '👋🏻' (waving hand)"));
    EXPECT_THAT(system.log.lines, Contains("TypeManager: Typed '👋🏽' (waving hand)"));
}

TEST_F(AppDelegateTest, toneChoiceHidesThePickerAndTypes)
{
    launchAndLoad();
    pressShortcut();

    SkinTonePopoverController::shared().onSkinToneSelected(SkinTone::dark, emoji("1f44b"));
    EXPECT_FALSE(isShown());
    system.time.advance(1s);

    EXPECT_EQ(SkinTonePreferences::shared().preferredSkinTone(), SkinTone::dark);
    EXPECT_THAT(system.log.lines, Contains("TypeManager: Typed '👋🏿' (waving hand)"));
}

TEST_F(AppDelegateTest, toneChoiceChangesThePreferenceEvenWhenTheConversionFails)
{
    launchAndLoad();
    pressShortcut();

    SkinTonePopoverController::shared().onSkinToneSelected(SkinTone::dark, emoji("zz"));
    system.time.advance(1s);

    EXPECT_EQ(SkinTonePreferences::shared().preferredSkinTone(), SkinTone::dark);
    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Failed to convert skin-toned codepoint: zz-1f3ff"));
    EXPECT_TRUE(RecentEmojisManager::shared().recentCodepoints().empty());
    EXPECT_TRUE(system.eventPoster.posted.empty());
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, malformedSelectionsAreIgnored)
{
    launchAndLoad();
    const auto name = EmojiGridViewController::emojiSelectedNotification;
    const Emoji rocket = emoji("1f680");
    const auto post = [&](std::optional<std::map<std::string, std::any>> userInfo) {
        system.notificationCenter.post({name, nullptr, std::move(userInfo)});
    };

    post(std::nullopt);
    post({{}});
    post({{{"emoji", rocket}}});
    post({{{"action", EmojiSelectionAction::type}}});
    post({{{"emoji", std::string("🚀")}, {"action", EmojiSelectionAction::type}}});
    post({{{"emoji", rocket}, {"action", 1}}});
    system.time.advance(1s);

    EXPECT_TRUE(RecentEmojisManager::shared().recentCodepoints().empty());
    EXPECT_TRUE(system.eventPoster.posted.empty());
}

TEST_F(AppDelegateTest, tabAndGridFollowEachOther)
{
    launchAndLoad();
    const EmojiCategory people = EmojiDataManager::shared().manifest()->categories()[1];

    delegate->didScrollToCategory(*delegate->emojiGridViewController(), people);
    EXPECT_EQ(delegate->categoryTabBar()->selectedCategoryId(), "people");
}

TEST_F(AppDelegateTest, clickedTabScrollsTheGrid)
{
    system.httpClient.respond = [](const HttpRequest&) { return HttpResponse{200, longManifestDocument()}; };
    launchAndLoad();
    CollectionView* grid = delegate->emojiGridViewController()->internalCollectionView();
    EXPECT_EQ(grid->visibleTop(), 0);

    delegate->categoryTabBar()->button("second")->click();

    EXPECT_GT(grid->visibleTop(), 0);
    EXPECT_EQ(delegate->categoryTabBar()->selectedCategoryId(), "second");
}

TEST_F(AppDelegateTest, nothingHappensWithoutAWindow)
{
    installed = std::make_unique<InstalledPlatform>(system.platform);
    delegate = std::make_unique<AppDelegate>(system.platform);

    delegate->togglePicker();
    delegate->showPicker();

    EXPECT_EQ(delegate->pickerWindow(), nullptr);
    EXPECT_TRUE(system.log.lines.empty());
}

TEST_F(AppDelegateTest, launchTakesItsStepsInOrder)
{
    std::vector<std::string> calls;
    system.menuHost.calls = system.eventTap.calls = system.updater.calls = system.alert.calls = &calls;
    system.volumeInfo.readOnly = true;

    launch({"--target-app", "x"});
    EXPECT_THAT(calls, ElementsAre("setMainMenu", "create tap", "start updater", "show alert"));
    EXPECT_EQ(system.log.lines.back(), "[Glimmerwick] Sparkle updater initialized");
    EXPECT_THAT(system.log.lines, Not(Contains("[Glimmerwick] Setting target app to: x")));
    system.alert.answer(1);

    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Setting target app to: x"));
}

TEST_F(AppDelegateTest, containerHoldsSearchBarGridAndTabBarInThisOrder)
{
    launch();

    std::vector<QObject*> views;
    for (QObject* child : delegate->pickerWindow()->contentContainerView()->children()) {
        views.push_back(child);
    }
    const auto position = [&](QObject* view) {
        return std::find(views.begin(), views.end(), view) - views.begin();
    };
    EXPECT_LT(position(delegate->searchBarView()), position(delegate->emojiGridViewController()->view()));
    EXPECT_LT(position(delegate->emojiGridViewController()->view()), position(delegate->categoryTabBar()));
}

TEST_F(AppDelegateTest, terminationStopsTheShortcutAlone)
{
    launchAndLoad();
    pressShortcut();

    delegate->applicationWillTerminate();

    EXPECT_FALSE(HotkeyManager::shared().isRunning());
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, launchWaitsForTheInstallLocationAlertBeforeTheFlags)
{
    system.volumeInfo.readOnly = true;
    launchAndLoad({"--show-picker"});
    ASSERT_EQ(system.alert.shown.size(), 1u);
    EXPECT_EQ(system.alert.shown[0].messageText, "Move to Applications Folder?");
    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Manifest loaded successfully"));
    EXPECT_THAT(system.log.lines,
                Not(Contains("[Glimmerwick] Showing picker due to --show-picker argument")));

    system.alert.answer(1);

    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Showing picker due to --show-picker argument"));
}

TEST_F(AppDelegateTest, shortcutOfAnotherProgramIsToldOnceWithAnotherWayIn)
{
    system.eventTap.refuses = true;

    launchAndLoad();
    system.time.advance(1min);

    ASSERT_EQ(system.userNotice.posted.size(), 1u);
    EXPECT_THAT(system.userNotice.posted[0].body, HasSubstr("glimmerwick --toggle"));
    delegate->perform(PickerAction::toggle);
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, missingPermissionIsNoTakenShortcut)
{
    system.eventTap.refuses = true;
    system.accessibilityTrust.trusted = false;

    launchAndLoad();
    system.time.advance(1min);

    EXPECT_THAT(system.userNotice.posted, IsEmpty());
}

TEST_F(AppDelegateTest, shortcutThatWorksIsNotTalkedAbout)
{
    launchAndLoad();

    EXPECT_THAT(system.userNotice.posted, IsEmpty());
}

TEST_F(AppDelegateTest, toggleFlagShowsThePickerForTheApplicationInFront)
{
    launchAndLoad({"--toggle"});

    EXPECT_TRUE(isShown());
    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);
    EXPECT_THAT(system.log.lines,
                Contains("TypeManager: Activating previous frontmost app: Editor (PID: 42)"));
}

TEST_F(AppDelegateTest, toggleAsAnIdentifierTogglesNothing)
{
    launchAndLoad({"--target-app", "--toggle"});

    EXPECT_FALSE(isShown());
}

TEST_F(AppDelegateTest, actionsShowHideAndToggle)
{
    launchAndLoad();

    const struct {
        PickerAction action;
        bool isShownAfterwards;
    } steps[] = {
        {PickerAction::hide, false},   {PickerAction::show, true},   {PickerAction::show, true},
        {PickerAction::hide, false},   {PickerAction::hide, false},  {PickerAction::toggle, true},
        {PickerAction::toggle, false}, {PickerAction::toggle, true}, {PickerAction::hide, false},
    };
    for (const auto& step : steps) {
        delegate->perform(step.action);
        EXPECT_EQ(isShown(), step.isShownAfterwards);
    }
}

TEST_F(AppDelegateTest, showingAShownPickerKeepsWhatWasTyped)
{
    launchAndLoad();
    delegate->perform(PickerAction::show);
    type("rocket");

    delegate->perform(PickerAction::show);

    EXPECT_EQ(delegate->searchBarView()->internalSearchField()->text(), "rocket");
}

TEST_F(AppDelegateTest, showActionTypesIntoTheApplicationInFront)
{
    launchAndLoad();
    delegate->perform(PickerAction::show);

    pick(emoji("1f680"), EmojiSelectionAction::type);
    system.time.advance(1s);

    EXPECT_THAT(system.log.lines,
                Contains("TypeManager: Activating previous frontmost app: Editor (PID: 42)"));
}

TEST_F(AppDelegateTest, otherActionsReachTheUpdaterAndTheMenu)
{
    launchAndLoad();

    delegate->perform(PickerAction::about);
    EXPECT_EQ(system.menuHost.aboutCount, 1);

    delegate->perform(PickerAction::checkForUpdates);
    EXPECT_EQ(system.updater.checkCount, 1);
    EXPECT_EQ(system.menuHost.terminateCount, 0);

    delegate->perform(PickerAction::quit);
    EXPECT_EQ(system.menuHost.terminateCount, 1);
}

TEST_F(AppDelegateTest, plainFurtherStartShowsThePicker)
{
    launchAndLoad();

    EXPECT_EQ(delegate->handleArguments({}), std::nullopt);

    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, furtherStartInTheBackgroundChangesNothing)
{
    launchAndLoad({"--background"});
    EXPECT_FALSE(isShown());

    EXPECT_EQ(delegate->handleArguments({"--background"}), std::nullopt);
    EXPECT_FALSE(isShown());

    delegate->perform(PickerAction::show);
    EXPECT_EQ(delegate->handleArguments({"--background"}), std::nullopt);
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, furtherStartTogglesThePicker)
{
    launchAndLoad();

    EXPECT_EQ(delegate->handleArguments({"--toggle"}), std::nullopt);
    EXPECT_TRUE(isShown());
    EXPECT_EQ(delegate->handleArguments({"--toggle"}), std::nullopt);
    EXPECT_FALSE(isShown());
}

TEST_F(AppDelegateTest, furtherStartShowsThePickerAsTheFlagDoesAtLaunch)
{
    launchAndLoad();

    EXPECT_EQ(delegate->handleArguments({"--show-picker"}), std::nullopt);

    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Showing picker due to --show-picker argument"));
    system.time.advance(499ms);
    EXPECT_FALSE(isShown());
    system.time.advance(1ms);
    EXPECT_TRUE(isShown());
}

TEST_F(AppDelegateTest, furtherStartSetsTheTargetAndShowsNothing)
{
    launchAndLoad();

    EXPECT_EQ(delegate->handleArguments({"--target-app", "org.example.Editor"}), std::nullopt);

    EXPECT_THAT(system.log.lines, Contains("[Glimmerwick] Setting target app to: org.example.Editor"));
    system.time.advance(1s);
    EXPECT_FALSE(isShown());
}

TEST_F(AppDelegateTest, wrongArgumentsOfAFurtherStartAreRefusedAndDoNothing)
{
    launchAndLoad();
    const auto lines = system.log.lines.size();

    EXPECT_THAT(delegate->handleArguments({"--toggle", "--bogus"}), Optional(HasSubstr("--bogus")));
    EXPECT_NE(delegate->handleArguments({"--help"}), std::nullopt);

    system.time.advance(1s);
    EXPECT_FALSE(isShown());
    EXPECT_EQ(system.log.lines.size(), lines);
}

TEST_F(AppDelegateTest, stateIsReportedWheneverItChanges)
{
    std::vector<PickerState> states;
    launch();
    delegate->onStateChanged = [&](PickerState state) { states.push_back(state); };

    system.time.runUntilIdle();
    const PickerState ready{false, true};
    const PickerState shown{true, true};
    EXPECT_THAT(states, ElementsAre(ready));

    pressShortcut();
    EXPECT_THAT(states, ElementsAre(ready, shown));
    press(keyCode::escape);
    EXPECT_THAT(states, ElementsAre(ready, shown, ready));
    delegate->perform(PickerAction::show);
    EXPECT_THAT(states, ElementsAre(ready, shown, ready, shown));
    delegate->perform(PickerAction::hide);
    system.time.runUntilIdle();
    EXPECT_THAT(states, ElementsAre(ready, shown, ready, shown, ready));
}

TEST_F(AppDelegateTest, withoutACatalogueItIsNeverReady)
{
    system.httpClient.respond = [](const HttpRequest&) { return HttpResponse{500, ""}; };
    std::vector<PickerState> states;
    launch();
    delegate->onStateChanged = [&](PickerState state) { states.push_back(state); };

    system.time.runUntilIdle();
    system.time.advance(1min);

    EXPECT_THAT(states, IsEmpty());
}

TEST_F(AppDelegateTest, settlesAWhileAfterTheLaunchAndAfterThePickerWasHidden)
{
    int settledCount = 0;
    launch();
    delegate->onSettled = [&] { ++settledCount; };

    system.time.advance(std::chrono::seconds(10));
    EXPECT_EQ(settledCount, 1);

    pressShortcut();
    QCoreApplication::processEvents();
    system.time.advance(std::chrono::seconds(10));
    EXPECT_EQ(settledCount, 1) << "the picker is shown";

    pressShortcut();
    QCoreApplication::processEvents();
    system.time.advance(std::chrono::seconds(10));
    EXPECT_EQ(settledCount, 2);
}

} // namespace

} // namespace glimmerwick
