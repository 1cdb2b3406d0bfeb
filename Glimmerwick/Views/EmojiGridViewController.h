#pragma once

#include "Managers/EmojiDataManager.h"
#include "Models/Emoji.h"
#include "Models/EmojiCategory.h"
#include "Platform/Lifetime.h"
#include "Platform/Registration.h"
#include "Platform/Task.h"
#include "Views/Animation.h"
#include "Views/CollectionView.h"
#include "Views/Logic/GridSections.h"
#include "Views/Logic/VisibleCategoryTracker.h"

#include <QLabel>
#include <QPointer>
#include <QWidget>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

class EmojiGridViewController;
class EmojiRenderer;
class RecentEmojisManager;
class SkinTonePopoverController;
class SkinTonePreferences;
struct Notification;
struct Platform;

/// What becomes of a picked emoji: put on the clipboard alone, or typed into the application in use.
enum class EmojiSelectionAction { copy, type };

class EmojiGridViewControllerDelegate {
public:
    virtual ~EmojiGridViewControllerDelegate() = default;

    /// Called on every pick, before the notification is posted.
    virtual void didSelectEmoji(EmojiGridViewController&, const Emoji&, EmojiSelectionAction) { }

    /// Scrolling made another category of the catalogue the visible one.
    virtual void didScrollToCategory(EmojiGridViewController& grid, const EmojiCategory& category) = 0;
};

/// Shows the catalogue, the recent emoji and search results as a scrolling grid, and announces every pick.
///
/// Main thread; the operations that say so may be called from any thread and then run on the main queue,
/// unless the controller is gone by then.
class EmojiGridViewController : public CollectionViewDataSource,
                                public CollectionViewDelegate,
                                public CollectionViewPrefetching {
public:
    /// Object: the controller. User info: "emoji" (Emoji, without a skin tone) and "action"
    /// (EmojiSelectionAction).
    static const std::string emojiSelectedNotification;

    /// Everything given must outlive the controller.
    EmojiGridViewController(const Platform& platform, EmojiDataManager& emojiDataManager,
                            RecentEmojisManager& recentEmojisManager,
                            SkinTonePreferences& skinTonePreferences, EmojiRenderer& emojiRenderer,
                            SkinTonePopoverController& skinTonePopoverController);
    ~EmojiGridViewController() override;
    EmojiGridViewController(const EmojiGridViewController&) = delete;
    EmojiGridViewController& operator=(const EmojiGridViewController&) = delete;

    /// The root view, made and filled on first use. Belongs to its parent once it has one, and to the
    /// controller until then; either may end first.
    QWidget* view();
    /// The grid itself, for keyboard focus and selection. Makes the view.
    CollectionView* internalCollectionView();

    /// Not owned.
    void setDelegate(EmojiGridViewControllerDelegate* delegate) { m_delegate = delegate; }

    /// Reads the manifest and the recent emoji anew. Any thread.
    void reloadData();
    /// Shows results instead of the categories; without any, says so. Any thread.
    void showSearchResults(std::vector<Emoji> results);
    /// Goes back to the categories. Any thread.
    void clearSearch();
    /// Any thread.
    void scrollToTop(Animation animation);
    /// Draws the emoji that the picker opens with, a few per turn of the main queue, for every screen that it
    /// may open on; and, where pictures are stored, once for each catalogue and tone all others for the
    /// store, one at a time. Main thread.
    void drawAhead();
    /// Told when the first is done, and again when the second is.
    std::function<void()> onDrawnAhead;
    /// Does nothing while searching or when the category is unknown. Any thread.
    void scrollToCategory(const EmojiCategory& category, Animation animation);

    bool isSearching() const { return m_sections.isSearching(); }

    // For the collection view.
    std::size_t numberOfSections() const override;
    std::size_t numberOfItems(std::size_t section) const override;
    CollectionViewItem* itemForIndexPath(CollectionView& collectionView, IndexPath path) override;
    CollectionReusableView* headerForSection(CollectionView& collectionView, std::size_t section) override;
    double headerHeight(std::size_t section) const override;
    void didSelectItems(CollectionView& collectionView, const std::vector<IndexPath>& paths,
                        SelectionModifier modifier) override;
    void prefetchItems(const std::vector<IndexPath>& paths) override;
    void cancelPrefetching(const std::vector<IndexPath>& paths) override;

private:
    using PrefetchTask = Task<Result<std::filesystem::path, EmojiDataManager::ImageDownloadError>>;

    void loadView();
    void viewDidLoad();
    void setupCollectionView();
    void setupNoResultsLabel();
    void setupNotificationObservers();
    void loadEmojiData();
    void loadRecentEmojis();
    void handleSearchResultsChanged(const Notification& notification);
    void handleScrollViewDidScroll();
    void handleRecentsChanged();
    void handleSkinTonePreferenceChanged();
    void updateSearchState();
    void updateVisibleCategory();
    void reloadCollectionView();
    void startPrefetch(const std::string& codepoint);
    std::vector<Emoji> firstScreen() const;
    void warm(std::vector<Emoji> emojis, int generation);
    void warm(const Emoji& emoji);
    void storePictures(std::size_t from, int generation);
    void storePicturesLater(std::chrono::milliseconds delay, std::size_t from, int generation);
    /// Whether it had to be drawn.
    bool storePicture(const Emoji& emoji);
    void tellThatAllIsDrawn();
    /// Off the main thread submits the work to the main queue and answers true.
    bool redispatch(std::function<void()> work);

    const Platform& m_platform;
    EmojiDataManager& m_emojiDataManager;
    RecentEmojisManager& m_recentEmojisManager;
    SkinTonePreferences& m_skinTonePreferences;
    EmojiRenderer& m_emojiRenderer;
    SkinTonePopoverController& m_skinTonePopoverController;

    EmojiGridViewControllerDelegate* m_delegate = nullptr;
    GridSections m_sections;
    VisibleCategoryTracker m_visibleCategory;
    QPointer<QWidget> m_view;
    QPointer<CollectionView> m_collectionView;
    QPointer<QLabel> m_noResultsLabel;
    bool m_isViewLoaded = false;
    bool m_isScrollingToCategory = false;
    /// The number of the latest such scroll.
    int m_scrollToCategory = 0;
    int m_warmGeneration = 0;
    Registration m_storing;
    bool m_isStoringDue = false;
    std::unordered_map<std::string, PrefetchTask> m_activePrefetchTasks;
    std::vector<Registration> m_observers;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
