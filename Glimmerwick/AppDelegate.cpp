#include "AppDelegate.h"

#include "CommandLine.h"
#include "GlimmerwickWindow.h"
#include "HotkeyManager.h"
#include "Managers/ClipboardManager.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/EmojiRenderer.h"
#include "Managers/InstallLocationChecker.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Managers/TypeManager.h"
#include "Managers/UpdateManager.h"
#include "PermissionManager.h"
#include "Platform/AccessibilityTrust.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/MenuHost.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/Qt/Text.h"
#include "Platform/Shell.h"
#include "Platform/UserDefaults.h"
#include "Search/SearchManager.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/SearchBarView.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/ToastView.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>

#include <algorithm>
#include <chrono>
#include <utility>

namespace glimmerwick {

namespace {

constexpr auto toggleCommandUsedKey = "ToggleCommandUsed";

constexpr int searchDebounceDelayMs = 50;
constexpr std::chrono::milliseconds showPickerFlagDelay(500);

/// Whoever picks several emoji does so sooner.
constexpr std::chrono::seconds settlingDelay(5);

constexpr int searchBarInset = 8;
constexpr int searchBarHeight = 36;
constexpr int searchBarBand = 52;
constexpr int tabBarHeight = 36;

/// A text that people see, in their language.
std::string translated(const char* source)
{
    return toUtf8(QCoreApplication::translate("AppDelegate", source));
}

std::string defaultDescription(const EmojiDataManager::ManifestError& error)
{
    using Kind = EmojiDataManager::ManifestError::Kind;
    switch (error.kind) {
    case Kind::networkError:
        return "networkError(" + error.underlying + ")";
    case Kind::httpError:
        return "httpError(statusCode: " + std::to_string(error.statusCode) + ")";
    case Kind::parsingError:
        return "parsingError(" + error.underlying + ")";
    case Kind::noData:
        break;
    }
    return "noData";
}

/// Reports that a widget has been shown or hidden, or has got the keys or lost them, by whomever.
class VisibilityObserver : public QObject {
public:
    VisibilityObserver(QObject& widget, std::function<void()> report) : m_report(std::move(report))
    {
        widget.installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show || event->type() == QEvent::Hide
            || event->type() == QEvent::ActivationChange) {
            m_report();
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_report;
};

} // namespace

AppDelegate::AppDelegate(const Platform& platform) : m_platform(platform) { }

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    m_platform.log.print("[Glimmerwick] App launched");
    setupMainMenu();
    setupPickerWindow();
    setupHotkey();
    setupNotificationObservers();
    loadEmojiManifest();
    updateManager();
    m_platform.log.print("[Glimmerwick] Sparkle updater initialized");
    InstallLocationChecker::checkInstallLocation([this, alive = m_lifetime.watch()] {
        if (alive) {
            honourFlags();
        }
    });
}

void AppDelegate::applicationWillTerminate()
{
    HotkeyManager::shared().stop();
}

void AppDelegate::setupMainMenu()
{
    MenuHost& host = m_platform.menuHost;
    const MenuItem separator{MenuItem::Kind::separator, {}, {}, nullptr};
    host.setMainMenu({
        {MenuItem::Kind::action,
         translated(QT_TRANSLATE_NOOP("AppDelegate", "About Glimmerwick")),
         {},
         [&host] { host.showAboutPanel(); }},
        separator,
        {MenuItem::Kind::action,
         translated(QT_TRANSLATE_NOOP("AppDelegate", "Check for Updates...")),
         {},
         [this, alive = m_lifetime.watch()] {
             if (alive) {
                 checkForUpdates();
             }
         }},
        separator,
        {MenuItem::Kind::action, translated(QT_TRANSLATE_NOOP("AppDelegate", "Quit Glimmerwick")), "q",
         [&host] { host.terminate(); }},
    });
}

void AppDelegate::setupPickerWindow()
{
    m_pickerWindow = std::make_unique<GlimmerwickWindow>(m_platform, EmojiDataManager::shared(),
                                                         SkinTonePopoverController::shared());
    QWidget* container = m_pickerWindow->contentContainerView();
    if (!container) {
        return;
    }

    m_searchBarView = new SearchBarView(m_platform, container);
    m_emojiGridViewController = std::make_unique<EmojiGridViewController>(
        m_platform, EmojiDataManager::shared(), RecentEmojisManager::shared(), SkinTonePreferences::shared(),
        EmojiRenderer::shared(), SkinTonePopoverController::shared());
    m_emojiGridViewController->setDelegate(this);
    m_emojiGridViewController->onDrawnAhead = [this] {
        if (m_bytesDrawnAhead == 0) {
            m_bytesDrawnAhead = EmojiPixmapCache::shared().bytes();
            m_pickerWindow->drawAhead();
        }
        settleLater();
    };

    const int width = container->width();
    const int height = container->height();
    QWidget* gridView = m_emojiGridViewController->view();
    gridView->setParent(container);
    m_categoryTabBar = new CategoryTabBar(m_platform, container);
    m_categoryTabBar->setDelegate(this);
    m_searchBarView->setGeometry(searchBarInset, searchBarInset, width - 2 * searchBarInset, searchBarHeight);
    gridView->setGeometry(0, searchBarBand, width, height - searchBarBand - tabBarHeight);
    m_categoryTabBar->setGeometry(0, height - tabBarHeight, width, tabBarHeight);

    m_pickerWindow->setSearchField(m_searchBarView->internalSearchField());
    m_pickerWindow->addKeyOverlay(m_searchBarView->menuOverlay());
    m_pickerWindow->setEmojiCollectionView(m_emojiGridViewController->internalCollectionView());
    m_pickerWindow->willPickFromKeyboard = [this] {
        if (m_searchManager) {
            m_searchManager->flushPendingSearch();
        }
    };
    // Later, when the window that is being shown also has the keys.
    m_visibilityObserver = std::make_unique<VisibilityObserver>(
        *m_pickerWindow, [this, alive = m_lifetime.watch(), &mainQueue = m_platform.mainQueue] {
            mainQueue.async([this, alive] {
                if (alive) {
                    reportState();
                }
            });
        });
}

void AppDelegate::setupHotkey()
{
    HotkeyManager& hotkey = HotkeyManager::shared();
    hotkey.onHotkeyTriggered = [this, alive = m_lifetime.watch()] {
        if (alive) {
            togglePicker();
        }
    };
    if (hotkey.start()) {
        return;
    }
    if (!m_platform.accessibilityTrust.canBeGranted()) {
        // There is nothing to wait for.
        tellThatTheShortcutIsTaken();
        return;
    }
    PermissionManager& permission = PermissionManager::shared();
    permission.requestAccessibilityPermission();
    permission.onPermissionGranted = [this, alive = m_lifetime.watch(), &hotkey] {
        // The permission is there, so what still refuses is another program that has the keys.
        if (!hotkey.start() && alive) {
            tellThatTheShortcutIsTaken();
        }
    };
    permission.startPollingForPermission();
}

void AppDelegate::tellThatTheShortcutIsTaken()
{
    // Whoever has bound the command to a key knows, and need not be told at every login.
    if (m_platform.userDefaults.boolean(toggleCommandUsedKey).value_or(false)) {
        return;
    }
    m_platform.userNotice.post(
        {translated(QT_TRANSLATE_NOOP("AppDelegate", "The picker has no shortcut")),
         translated(QT_TRANSLATE_NOOP(
             "AppDelegate",
             "Ctrl+Super+Space belongs to another program, or this desktop or keyboard lacks it. Have your "
             "desktop's keyboard settings run this command on a key of your choice: glimmerwick --toggle"))});
}

void AppDelegate::tellThatTypingIsRefused()
{
    m_platform.userNotice.post({translated(QT_TRANSLATE_NOOP("AppDelegate", "Emoji cannot be typed")),
                                translated(QT_TRANSLATE_NOOP(
                                    "AppDelegate",
                                    "Your desktop was not allowed to let Glimmerwick type. It asks again the "
                                    "next time you pick an emoji; with Alt held down, a pick is copied."))});
}

void AppDelegate::setupNotificationObservers()
{
    m_emojiSelectedObserver = m_platform.notificationCenter.addObserver(
        EmojiGridViewController::emojiSelectedNotification,
        [this](const Notification& notification) { handleEmojiSelected(notification); });
    SkinTonePopoverController::shared().onSkinToneSelected =
        [this, alive = m_lifetime.watch()](SkinTone skinTone, const Emoji& emoji) {
            if (alive) {
                handleSkinToneSelected(skinTone, emoji);
            }
        };
}

void AppDelegate::loadEmojiManifest()
{
    m_manifestTask = fetchAndApplyManifest();
    m_manifestTask.start();
}

Task<bool> AppDelegate::fetchAndApplyManifest()
{
    const auto outcome = co_await EmojiDataManager::shared().fetchManifest(false);
    if (!outcome) {
        m_platform.log.print("[Glimmerwick] Failed to load manifest: " + defaultDescription(outcome.error()));
        co_return false;
    }
    m_platform.log.print("[Glimmerwick] Manifest loaded successfully");
    applyManifest();
    co_return true;
}

void AppDelegate::applyManifest()
{
    const auto& manifest = EmojiDataManager::shared().manifest();
    if (!manifest) {
        return;
    }
    if (m_emojiGridViewController) {
        m_emojiGridViewController->reloadData();
    }
    if (m_categoryTabBar) {
        m_categoryTabBar->configure(manifest->categories());
    }
    auto searchManager = std::make_unique<SearchManager>(*manifest, searchDebounceDelayMs, m_platform);
    searchManager->onIndexingComplete = [this] {
        m_isIndexed = true;
        reportState();
    };
    if (m_searchBarView) {
        m_searchBarView->connect(*searchManager);
    }
    // An earlier manager goes only now, so that the search bar is never without one.
    m_searchManager = std::move(searchManager);
}

UpdateManager& AppDelegate::updateManager()
{
    if (!m_updateManager) {
        m_updateManager = &UpdateManager::shared();
    }
    return *m_updateManager;
}

void AppDelegate::honourFlags()
{
    const auto& arguments = m_platform.process.arguments;
    honourTargetAppFlag(arguments);
    honourShowPickerFlag(arguments);
    honourToggleFlag({arguments.begin() + 1, arguments.end()});
}

void AppDelegate::honourTargetAppFlag(const std::vector<std::string>& arguments)
{
    const auto flag = std::find(arguments.begin(), arguments.end(), "--target-app");
    if (flag == arguments.end() || std::next(flag) == arguments.end()) {
        return;
    }
    const std::string& bundleIdentifier = *std::next(flag);
    m_platform.log.print("[Glimmerwick] Setting target app to: " + bundleIdentifier);
    TypeManager::shared().setTargetApp(bundleIdentifier);
}

void AppDelegate::honourShowPickerFlag(const std::vector<std::string>& arguments)
{
    if (std::find(arguments.begin(), arguments.end(), "--show-picker") == arguments.end()) {
        return;
    }
    m_platform.log.print("[Glimmerwick] Showing picker due to --show-picker argument");
    TypeManager::shared().storeFrontmostApp();
    m_platform.mainQueue
        .asyncAfter(showPickerFlagDelay,
                    [this, alive = m_lifetime.watch()] {
                        if (alive) {
                            showPicker();
                        }
                    })
        .release();
}

// Whoever presses the key bound to this wants the picker, whether or not it was running.
void AppDelegate::honourToggleFlag(const std::vector<std::string>& arguments)
{
    const auto commandLine = CommandLine::parse(arguments);
    if (commandLine && commandLine.value().toggle) {
        m_platform.userDefaults.setBoolean(toggleCommandUsedKey, true);
        togglePicker();
    }
}

std::optional<std::string> AppDelegate::handleArguments(const std::vector<std::string>& arguments)
{
    const auto commandLine = CommandLine::parse(arguments);
    if (!commandLine) {
        return commandLine.error();
    }
    if (commandLine.value().request != CommandLine::Request::run) {
        return "what only prints something is not for a running picker";
    }
    if (commandLine.value().isPlainStart()) {
        perform(PickerAction::show);
        return std::nullopt;
    }
    honourTargetAppFlag(arguments);
    honourShowPickerFlag(arguments);
    honourToggleFlag(arguments);
    reportState();
    return std::nullopt;
}

void AppDelegate::perform(PickerAction action)
{
    switch (action) {
    case PickerAction::toggle:
        togglePicker();
        break;
    case PickerAction::show:
        showPickerForFrontmostApp();
        break;
    case PickerAction::hide:
        hidePicker();
        break;
    case PickerAction::about:
        m_platform.menuHost.showAboutPanel();
        break;
    case PickerAction::checkForUpdates:
        checkForUpdates();
        break;
    case PickerAction::quit:
        m_platform.menuHost.terminate();
        break;
    }
    reportState();
}

void AppDelegate::showPickerForFrontmostApp()
{
    if (m_pickerWindow && !m_pickerWindow->isVisible()) {
        togglePicker();
    }
}

void AppDelegate::hidePicker()
{
    if (m_pickerWindow) {
        m_pickerWindow->dismiss();
    }
}

void AppDelegate::reportState()
{
    const PickerState state{m_pickerWindow && m_pickerWindow->isReadyForKeys(), m_isIndexed};
    if (state == m_reportedState) {
        return;
    }
    m_reportedState = state;
    if (onStateChanged) {
        onStateChanged(state);
    }
    settleLater();
}

void AppDelegate::settleLater()
{
    m_settling = m_platform.mainQueue.asyncAfter(settlingDelay, [this, alive = m_lifetime.watch()] {
        if (alive) {
            settle();
        }
    });
}

void AppDelegate::settle()
{
    if (m_pickerWindow && m_pickerWindow->isVisible()) {
        // Its being hidden is told of.
        return;
    }
    EmojiPixmapCache& pictures = EmojiPixmapCache::shared();
    if (m_emojiGridViewController && m_bytesDrawnAhead > 0 && pictures.bytes() > 2 * m_bytesDrawnAhead) {
        pictures.clear();
        m_emojiGridViewController->drawAhead();
        return;
    }
    pictures.forgetGlyphs();
    if (onSettled) {
        onSettled();
    }
}

void AppDelegate::showPicker()
{
    resetPickerState();
    if (m_pickerWindow) {
        m_pickerWindow->showAtMouseLocation();
    }
}

void AppDelegate::togglePicker()
{
    if (!m_pickerWindow) {
        return;
    }
    if (m_pickerWindow->isVisible()) {
        m_pickerWindow->dismiss();
        return;
    }
    TypeManager::shared().storeFrontmostApp();
    showPicker();
}

void AppDelegate::resetPickerState()
{
    if (m_searchBarView) {
        m_searchBarView->clear();
    }
    if (m_emojiGridViewController) {
        m_emojiGridViewController->clearSearch();
        m_emojiGridViewController->scrollToTop(Animation::none);
    }
}

void AppDelegate::handleEmojiSelected(const Notification& notification)
{
    const Emoji* emoji = notification.value<Emoji>("emoji");
    const EmojiSelectionAction* action = notification.value<EmojiSelectionAction>("action");
    if (!emoji || !action) {
        return;
    }
    RecentEmojisManager::shared().addRecent(emoji->codepoint);
    const std::string text = SkinTonePreferences::shared().applyPreferredSkinTone(*emoji);
    switch (*action) {
    case EmojiSelectionAction::copy:
        ClipboardManager::shared().copyToClipboard(text, *emoji);
        // The toast goes away with the picker in the same turn: nobody waits for a picker that is done.
        showCopiedToast();
        dismissPickerAfterSelection();
        break;
    case EmojiSelectionAction::type:
        typeAndReset(text, *emoji);
        break;
    }
}

void AppDelegate::handleSkinToneSelected(SkinTone skinTone, const Emoji& emoji)
{
    SkinTonePreferences::shared().setPreferredSkinTone(skinTone);
    const std::string codepoints = skinTone.apply(emoji.codepoint);
    const auto text = SkinTone::codepointToChar(codepoints);
    if (!text) {
        m_platform.log.print("[Glimmerwick] Failed to convert skin-toned codepoint: " + codepoints);
        return;
    }
    RecentEmojisManager::shared().addRecent(emoji.codepoint);
    typeAndReset(*text, emoji);
}

void AppDelegate::typeAndReset(const std::string& text, const Emoji& emoji)
{
    if (!m_platform.accessibilityTrust.canBeGranted()) {
        copyForPastingByHand(text, emoji);
        return;
    }
    TypeManager::shared().typeCharacter(text, emoji, m_pickerWindow.get(),
                                        [this, alive = m_lifetime.watch()](bool) {
                                            if (alive) {
                                                resetPickerState();
                                            }
                                        });
}

void AppDelegate::copyForPastingByHand(const std::string& text, const Emoji& emoji)
{
    m_platform.log.print("[Glimmerwick] This session lets no program type: copying instead");
    const bool isCopied = ClipboardManager::shared().copyToClipboard(text, emoji);
    dismissPickerAfterSelection();
    if (isCopied) {
        m_platform.userNotice.post(
            {translated(QT_TRANSLATE_NOOP("AppDelegate", "Emoji copied")),
             translated(QT_TRANSLATE_NOOP("AppDelegate",
                                          "This desktop lets no program type for you. To insert the emoji, "
                                          "press Ctrl+V."))});
    }
}

void AppDelegate::showCopiedToast()
{
    if (QWidget* container = m_pickerWindow ? m_pickerWindow->contentContainerView() : nullptr) {
        ToastView::showCopied(*container, std::nullopt, m_platform.mainQueue);
    }
}

void AppDelegate::dismissPickerAfterSelection()
{
    if (m_pickerWindow) {
        m_pickerWindow->dismiss();
    }
    resetPickerState();
}

void AppDelegate::checkForUpdates()
{
    updateManager().checkForUpdates();
}

void AppDelegate::didSelectCategory(CategoryTabBar&, const EmojiCategory& category)
{
    if (m_emojiGridViewController) {
        m_emojiGridViewController->scrollToCategory(category, Animation::animated);
    }
}

void AppDelegate::didScrollToCategory(EmojiGridViewController&, const EmojiCategory& category)
{
    if (m_categoryTabBar) {
        m_categoryTabBar->selectCategory(category.id, Animation::animated);
    }
}

} // namespace glimmerwick
