#pragma once

#include "Models/Emoji.h"
#include "Models/SkinTone.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/RemoteRequests.h"
#include "Platform/Task.h"
#include "Views/CategoryTabBar.h"
#include "Views/EmojiGridViewController.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QObject;

namespace glimmerwick {

class GlimmerwickWindow;
class SearchBarView;
class SearchManager;
class UpdateManager;
struct Notification;
struct Platform;

/// Wires the program together at launch, then shows, hides and toggles the picker and turns picks into typing
/// or copying. Owns the picker window and its views. Lives as long as the process. Main thread.
class AppDelegate : public CategoryTabBarDelegate,
                    public EmojiGridViewControllerDelegate,
                    public RemoteRequests {
public:
    /// The managers are the process-wide ones, made from the same, installed platform.
    explicit AppDelegate(const Platform& platform);
    ~AppDelegate() override;

    /// The launch sequence. Loading the catalogue goes on after it has returned.
    void applicationDidFinishLaunching();
    void applicationWillTerminate();

    /// Told of every change of the state; the first state is neither visible nor ready.
    std::function<void(PickerState)> onStateChanged;

    /// Told when there is nothing left to do until the picker is wanted: a while after the launch, and after
    /// the picker was hidden.
    std::function<void()> onSettled;

    /// Showing records the application in front, as the shortcut does; a picker that is shown already stays
    /// as it is.
    void perform(PickerAction action) override;
    /// The flags mean what they mean at launch. Without any the picker is shown.
    std::optional<std::string> handleArguments(const std::vector<std::string>& arguments) override;

    /// What the global shortcut does.
    void togglePicker();
    /// Shows the picker without recording the application in front.
    void showPicker();
    /// The "Check for Updates..." menu item.
    void checkForUpdates();

    /// Notices for what the user alone can change.
    void tellThatTheShortcutIsTaken();
    void tellThatTypingIsRefused();

    void didSelectCategory(CategoryTabBar& tabBar, const EmojiCategory& category) override;
    void didScrollToCategory(EmojiGridViewController& grid, const EmojiCategory& category) override;

    /// For tests; null before launch.
    GlimmerwickWindow* pickerWindow() const { return m_pickerWindow.get(); }
    EmojiGridViewController* emojiGridViewController() const { return m_emojiGridViewController.get(); }
    SearchBarView* searchBarView() const { return m_searchBarView; }
    CategoryTabBar* categoryTabBar() const { return m_categoryTabBar; }

private:
    void setupMainMenu();
    void setupPickerWindow();
    void setupHotkey();
    void setupNotificationObservers();
    void loadEmojiManifest();
    Task<bool> fetchAndApplyManifest();
    void applyManifest();
    UpdateManager& updateManager();
    void honourFlags();
    void honourTargetAppFlag(const std::vector<std::string>& arguments);
    void honourShowPickerFlag(const std::vector<std::string>& arguments);
    void honourToggleFlag(const std::vector<std::string>& arguments);

    void showPickerForFrontmostApp();
    void hidePicker();
    void reportState();
    void settleLater();
    void settle();

    void resetPickerState();
    void handleEmojiSelected(const Notification& notification);
    void handleSkinToneSelected(SkinTone skinTone, const Emoji& emoji);
    void typeAndReset(const std::string& text, const Emoji& emoji);
    void copyForPastingByHand(const std::string& text, const Emoji& emoji);
    void showCopiedToast();
    void dismissPickerAfterSelection();

    const Platform& m_platform;
    UpdateManager* m_updateManager = nullptr;
    std::unique_ptr<GlimmerwickWindow> m_pickerWindow;
    std::unique_ptr<EmojiGridViewController> m_emojiGridViewController;
    /// Owned by the window, as child widgets.
    SearchBarView* m_searchBarView = nullptr;
    CategoryTabBar* m_categoryTabBar = nullptr;
    std::unique_ptr<SearchManager> m_searchManager;
    /// Watches the window come and go.
    std::unique_ptr<QObject> m_visibilityObserver;
    bool m_isIndexed = false;
    PickerState m_reportedState;
    Registration m_settling;
    /// What the pictures of the first screens take.
    std::size_t m_bytesDrawnAhead = 0;
    Registration m_emojiSelectedObserver;
    Task<bool> m_manifestTask;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
