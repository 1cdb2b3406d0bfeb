#include "Views/EmojiGridViewController.h"

#include "Managers/EmojiDataManager.h"
#include "Managers/EmojiRenderer.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Views/Accessibility.h"
#include "Views/CategoryHeaderView.h"
#include "Views/EmojiCell.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/NoResultsLabel.h"
#include "Views/SearchBarView.h"
#include "Views/SkinTonePopoverController.h"
#include "Views/Style.h"

#include <QCoreApplication>
#include <QGridLayout>
#include <QGuiApplication>
#include <QScreen>
#include <QThread>

#include <algorithm>
#include <any>
#include <chrono>
#include <cstddef>
#include <map>
#include <utility>

namespace glimmerwick {

namespace {

constexpr const char* itemIdentifier = "EmojiCell";
constexpr const char* headerIdentifier = "CategoryHeader";
constexpr std::chrono::milliseconds scrollToTopDuration(200);
constexpr std::chrono::milliseconds scrollToCategoryDuration(300);
/// How many emoji are drawn ahead of need before other work gets its turn.
constexpr std::size_t warmedPerTurn = 8;
/// A screen of emoji.
constexpr std::size_t warmedCount = 56;
/// Few enough to be looked for in the store, and found, within a millisecond.
constexpr std::size_t storedPerTurn = 64;
constexpr std::chrono::milliseconds storingDelay(4);
/// After the launch, and after the picker was seen in use: picks have the processor for themselves.
constexpr std::chrono::seconds storingPause(10);
/// Of the picture that a cell draws before it has one from the server.
constexpr double renderingFontSize = 28;

} // namespace

const std::string EmojiGridViewController::emojiSelectedNotification = "EmojiGridViewControllerEmojiSelected";

EmojiGridViewController::EmojiGridViewController(const Platform& platform, EmojiDataManager& emojiDataManager,
                                                 RecentEmojisManager& recentEmojisManager,
                                                 SkinTonePreferences& skinTonePreferences,
                                                 EmojiRenderer& emojiRenderer,
                                                 SkinTonePopoverController& skinTonePopoverController)
    : m_platform(platform), m_emojiDataManager(emojiDataManager), m_recentEmojisManager(recentEmojisManager),
      m_skinTonePreferences(skinTonePreferences), m_emojiRenderer(emojiRenderer),
      m_skinTonePopoverController(skinTonePopoverController)
{
}

EmojiGridViewController::~EmojiGridViewController()
{
    // The view holds cells that refer to what the controller was given, and calls back into the controller.
    delete m_view.data();
}

QWidget* EmojiGridViewController::view()
{
    if (!m_isViewLoaded) {
        m_isViewLoaded = true;
        loadView();
        viewDidLoad();
    }
    return m_view;
}

CollectionView* EmojiGridViewController::internalCollectionView()
{
    view();
    return m_collectionView;
}

void EmojiGridViewController::loadView()
{
    m_view = new QWidget;
    auto* layout = new QGridLayout(m_view);
    layout->setContentsMargins(0, 0, 0, 0);
}

void EmojiGridViewController::viewDidLoad()
{
    setupCollectionView();
    setupNoResultsLabel();
    setupNotificationObservers();
    loadEmojiData();
}

void EmojiGridViewController::setupCollectionView()
{
    m_collectionView = new CollectionView(m_view);
    accessibility::identify(*m_collectionView, QStringLiteral("emojiGrid"));
    m_collectionView->setAccessibleName(QCoreApplication::translate("EmojiGridViewController", "Emoji"));
    const EmojiCell::Services services{m_platform, m_emojiDataManager, m_skinTonePreferences, m_emojiRenderer,
                                       m_skinTonePopoverController};
    m_collectionView->registerItem(itemIdentifier, [services] { return new EmojiCell(services); });
    m_collectionView->registerHeader(headerIdentifier, [] { return new CategoryHeaderView; });
    m_collectionView->setDataSource(this);
    m_collectionView->setDelegate(this);
    m_collectionView->setPrefetching(this);
    m_collectionView->onBoundsDidChange = [this] { handleScrollViewDidScroll(); };
    static_cast<QGridLayout*>(m_view->layout())->addWidget(m_collectionView, 0, 0);
}

void EmojiGridViewController::setupNoResultsLabel()
{
    m_noResultsLabel = new NoResultsLabel;
    static_cast<QGridLayout*>(m_view->layout())->addWidget(m_noResultsLabel, 0, 0);
}

void EmojiGridViewController::setupNotificationObservers()
{
    NotificationCenter& center = m_platform.notificationCenter;
    m_observers.push_back(center.addObserver(
        SearchBarView::searchResultsDidChangeNotification,
        [this](const Notification& notification) { handleSearchResultsChanged(notification); }));
    m_observers.push_back(center.addObserver(SearchBarView::searchClearedNotification,
                                             [this](const Notification&) { clearSearch(); }));
    m_observers.push_back(center.addObserver(RecentEmojisManager::recentsChangedNotification,
                                             [this](const Notification&) { handleRecentsChanged(); }));
    m_observers.push_back(
        center.addObserver(SkinTonePreferences::preferredSkinToneDidChangeNotification,
                           [this](const Notification&) { handleSkinTonePreferenceChanged(); }));
}

bool EmojiGridViewController::redispatch(std::function<void()> work)
{
    if (QThread::currentThread() == QCoreApplication::instance()->thread()) {
        return false;
    }
    m_platform.mainQueue.async([work = std::move(work), alive = m_lifetime.watch()] {
        if (alive) {
            work();
        }
    });
    return true;
}

void EmojiGridViewController::reloadData()
{
    if (redispatch([this] { reloadData(); })) {
        return;
    }
    loadEmojiData();
}

void EmojiGridViewController::loadEmojiData()
{
    const auto& manifest = m_emojiDataManager.manifest();
    if (!manifest) {
        m_platform.log.print("EmojiGridViewController: No manifest available");
        return;
    }
    m_sections.setManifest(*manifest);
    m_platform.log.print("EmojiGridViewController: Loaded " + std::to_string(m_sections.categories().size())
                         + " categories");
    m_platform.log.print("EmojiGridViewController: Loaded " + std::to_string(m_sections.totalEmojiCount())
                         + " total emojis");
    loadRecentEmojis();
    reloadCollectionView();
    m_isStoringDue = true;
    drawAhead();
}

void EmojiGridViewController::loadRecentEmojis()
{
    m_sections.setRecentEmojis(m_recentEmojisManager.recentEmojis());
    m_platform.log.print("EmojiGridViewController: Loaded " + std::to_string(m_sections.recentEmojis().size())
                         + " recent emojis");
}

void EmojiGridViewController::reloadCollectionView()
{
    if (m_collectionView) {
        m_collectionView->reloadData();
    }
}

void EmojiGridViewController::drawAhead()
{
    // Not at once: one pick may change both the tone and the recent emoji.
    m_platform.mainQueue.async([this, generation = ++m_warmGeneration, alive = m_lifetime.watch()] {
        if (alive && generation == m_warmGeneration) {
            warm(firstScreen(), generation);
        }
    });
}

// Not what is shown now, which may be search results.
std::vector<Emoji> EmojiGridViewController::firstScreen() const
{
    std::vector<Emoji> emojis = m_sections.recentEmojis();
    const auto& manifest = m_emojiDataManager.manifest();
    if (!manifest) {
        return emojis;
    }
    for (const EmojiCategory& category : m_sections.categories()) {
        for (const std::string& codepoint : category.emojis) {
            if (emojis.size() >= warmedCount) {
                return emojis;
            }
            if (auto emoji = manifest->emoji(codepoint)) {
                emojis.push_back(*std::move(emoji));
            }
        }
    }
    return emojis;
}

void EmojiGridViewController::warm(std::vector<Emoji> emojis, int generation)
{
    const auto end = emojis.begin() + static_cast<std::ptrdiff_t>(std::min(warmedPerTurn, emojis.size()));
    std::for_each(emojis.begin(), end, [this](const Emoji& emoji) { warm(emoji); });
    emojis.erase(emojis.begin(), end);
    if (emojis.empty()) {
        tellThatAllIsDrawn();
        if (m_isStoringDue && EmojiPixmapCache::shared().hasStore()) {
            storePicturesLater(storingPause, 0, generation);
        }
        return;
    }
    m_platform.mainQueue.async(
        [this, emojis = std::move(emojis), generation, alive = m_lifetime.watch()]() mutable {
            if (alive && generation == m_warmGeneration) {
                warm(std::move(emojis), generation);
            }
        });
}

void EmojiGridViewController::warm(const Emoji& emoji)
{
    if (!m_emojiDataManager.isEmojiNativelySupported(emoji)) {
        m_emojiRenderer.renderEmoji(emoji.char_, renderingFontSize);
        return;
    }
    const std::string text = m_skinTonePreferences.applyPreferredSkinTone(emoji);
    // Which screen it is shown on is known only then.
    for (const QScreen* screen : QGuiApplication::screens()) {
        EmojiCell::drawAhead(text, screen->devicePixelRatio());
    }
}

// One at a time: each is less than a millisecond, so that no key waits for it. And not while the picker is
// used.
void EmojiGridViewController::storePictures(std::size_t from, int generation)
{
    const auto& manifest = m_emojiDataManager.manifest();
    if (!manifest || !EmojiPixmapCache::shared().hasStore()) {
        return;
    }
    if (m_view && m_view->isVisible()) {
        storePicturesLater(storingPause, from, generation);
        return;
    }
    const auto emojis = manifest->sharedEmojis();
    const std::size_t end = std::min(emojis->size(), from + storedPerTurn);
    for (std::size_t number = from; number < end; ++number) {
        if (storePicture((*emojis)[number])) {
            storePicturesLater(storingDelay, number + 1, generation);
            return;
        }
    }
    if (end == emojis->size()) {
        m_isStoringDue = false;
        tellThatAllIsDrawn();
        return;
    }
    storePicturesLater(storingDelay, end, generation);
}

void EmojiGridViewController::storePicturesLater(std::chrono::milliseconds delay, std::size_t from,
                                                 int generation)
{
    m_storing = m_platform.mainQueue.asyncAfter(delay, [this, from, generation, alive = m_lifetime.watch()] {
        if (alive && generation == m_warmGeneration) {
            storePictures(from, generation);
        }
    });
}

bool EmojiGridViewController::storePicture(const Emoji& emoji)
{
    const std::string text = m_skinTonePreferences.applyPreferredSkinTone(emoji);
    std::vector<double> missing;
    for (const QScreen* screen : QGuiApplication::screens()) {
        if (!EmojiCell::isStored(text, screen->devicePixelRatio())) {
            missing.push_back(screen->devicePixelRatio());
        }
    }
    // Asked last: where all pictures are stored, as they are from the second launch on, laying out the whole
    // catalogue would cost time and memory for nothing.
    if (missing.empty() || !m_emojiDataManager.isEmojiNativelySupported(emoji)) {
        return false;
    }
    bool isDrawn = false;
    for (const double devicePixelRatio : missing) {
        isDrawn = EmojiCell::storeAhead(text, devicePixelRatio) || isDrawn;
    }
    return isDrawn;
}

void EmojiGridViewController::tellThatAllIsDrawn()
{
    if (onDrawnAhead) {
        onDrawnAhead();
    }
}

void EmojiGridViewController::handleSearchResultsChanged(const Notification& notification)
{
    if (const auto* results = notification.value<std::vector<Emoji>>("results")) {
        showSearchResults(*results);
    }
}

void EmojiGridViewController::showSearchResults(std::vector<Emoji> results)
{
    if (redispatch([this, results] { showSearchResults(results); })) {
        return;
    }
    m_sections.showSearchResults(std::move(results));
    updateSearchState();
    // Each search's best match comes first, wherever the user had scrolled to.
    if (m_collectionView) {
        m_collectionView->scrollTo(0);
    }
}

void EmojiGridViewController::clearSearch()
{
    if (redispatch([this] { clearSearch(); })) {
        return;
    }
    m_sections.clearSearch();
    updateSearchState();
    m_visibleCategory.reset();
    m_platform.mainQueue.async([this, alive = m_lifetime.watch()] {
        if (alive) {
            updateVisibleCategory();
        }
    });
}

void EmojiGridViewController::updateSearchState()
{
    if (!m_collectionView) {
        return;
    }
    // Its anchor is about to show something else.
    m_skinTonePopoverController.dismiss();
    const bool showsNoResults = m_sections.hasNoSearchResults();
    m_noResultsLabel->setVisible(showsNoResults);
    m_collectionView->setVisible(!showsNoResults);
    reloadCollectionView();
}

void EmojiGridViewController::handleScrollViewDidScroll()
{
    if (!m_sections.isSearching() && !m_isScrollingToCategory) {
        updateVisibleCategory();
    }
}

void EmojiGridViewController::updateVisibleCategory()
{
    if (!m_collectionView) {
        return;
    }
    std::vector<std::optional<double>> headerTops(m_sections.browsingSectionCount());
    for (std::size_t section = 0; section < headerTops.size(); ++section) {
        if (const auto frame = m_collectionView->flowLayout().headerFrame(section)) {
            headerTops[section] = frame->y;
        }
    }
    const auto category = m_visibleCategory.update(m_collectionView->visibleTop(), headerTops, m_sections);
    if (category && m_delegate) {
        const EmojiCategory visible = m_sections.categories()[*category];
        m_delegate->didScrollToCategory(*this, visible);
    }
}

void EmojiGridViewController::handleRecentsChanged()
{
    if (redispatch([this] { handleRecentsChanged(); })) {
        return;
    }
    const std::size_t oldCount = m_sections.recentEmojis().size();
    loadRecentEmojis();
    const std::size_t newCount = m_sections.recentEmojis().size();
    if (!m_sections.isSearching() && m_collectionView) {
        if (oldCount > 0 && newCount > 0) {
            m_collectionView->reloadSection(0);
        } else if (oldCount != newCount) {
            m_collectionView->reloadData();
        }
    }
    m_platform.log.print("EmojiGridViewController: Recent emojis updated, count: "
                         + std::to_string(newCount));
    drawAhead();
}

void EmojiGridViewController::handleSkinTonePreferenceChanged()
{
    if (!redispatch([this] { handleSkinTonePreferenceChanged(); })) {
        reloadCollectionView();
        m_isStoringDue = true;
        drawAhead();
    }
}

void EmojiGridViewController::scrollToTop(Animation animation)
{
    if (redispatch([this, animation] { scrollToTop(animation); }) || !m_collectionView) {
        return;
    }
    if (animation == Animation::none) {
        m_collectionView->scrollTo(0);
    } else {
        m_collectionView->scrollTo(0, scrollToTopDuration, style::easeOut());
    }
}

void EmojiGridViewController::scrollToCategory(const EmojiCategory& category, Animation animation)
{
    if (redispatch([this, category, animation] { scrollToCategory(category, animation); })
        || !m_collectionView || m_sections.isSearching()) {
        return;
    }
    const auto section = m_sections.section(category.id);
    const auto header = section ? m_collectionView->flowLayout().headerFrame(*section) : std::nullopt;
    if (!header) {
        return;
    }
    m_visibleCategory.setCurrent(category.id);
    // On its way the scroll passes other categories, and the last one may be too short to reach the top:
    // neither may take the highlight off the tab that the user clicked.
    const int scroll = ++m_scrollToCategory;
    m_isScrollingToCategory = true;
    const auto duration =
        animation == Animation::none ? std::chrono::milliseconds(0) : scrollToCategoryDuration;
    m_collectionView->scrollTo(header->y, duration, style::easeInEaseOut(), [this, scroll] {
        // A scroll ends when the next one takes its place, too.
        if (scroll == m_scrollToCategory) {
            m_isScrollingToCategory = false;
        }
    });
}

std::size_t EmojiGridViewController::numberOfSections() const
{
    return m_sections.numberOfSections();
}

std::size_t EmojiGridViewController::numberOfItems(std::size_t section) const
{
    return m_sections.numberOfItems(section);
}

CollectionViewItem* EmojiGridViewController::itemForIndexPath(CollectionView& collectionView, IndexPath path)
{
    CollectionViewItem* item = collectionView.makeItem(itemIdentifier);
    const auto emoji = m_sections.emoji(path);
    auto* cell = dynamic_cast<EmojiCell*>(item);
    if (cell && emoji) {
        cell->configure(*emoji);
    }
    return item;
}

CollectionReusableView* EmojiGridViewController::headerForSection(CollectionView& collectionView,
                                                                  std::size_t section)
{
    CollectionReusableView* view = collectionView.makeHeader(headerIdentifier);
    const auto title = m_sections.title(section);
    auto* header = dynamic_cast<CategoryHeaderView*>(view);
    if (header && title) {
        header->setTitle(*title);
    }
    return view;
}

double EmojiGridViewController::headerHeight(std::size_t) const
{
    return m_sections.headerHeight();
}

void EmojiGridViewController::didSelectItems(CollectionView& collectionView,
                                             const std::vector<IndexPath>& paths, SelectionModifier modifier)
{
    if (paths.empty()) {
        return;
    }
    if (const auto emoji = m_sections.emoji(paths.front())) {
        const EmojiSelectionAction action =
            modifier == SelectionModifier::option ? EmojiSelectionAction::copy : EmojiSelectionAction::type;
        if (auto* cell = dynamic_cast<EmojiCell*>(collectionView.item(paths.front()))) {
            cell->showSelectionFeedback();
        }
        if (m_delegate) {
            m_delegate->didSelectEmoji(*this, *emoji, action);
        }
        std::map<std::string, std::any> userInfo{{"emoji", *emoji}, {"action", action}};
        m_platform.notificationCenter.post({emojiSelectedNotification, this, std::move(userInfo)});
    }
    for (const IndexPath path : paths) {
        collectionView.deselectItem(path);
    }
}

void EmojiGridViewController::prefetchItems(const std::vector<IndexPath>& paths)
{
    for (const IndexPath path : paths) {
        const auto emoji = m_sections.emoji(path);
        if (emoji && !m_emojiDataManager.isEmojiNativelySupported(*emoji)
            && m_activePrefetchTasks.count(emoji->codepoint) == 0
            && !m_emojiDataManager.cachedImagePathIfExists(*emoji)) {
            startPrefetch(emoji->codepoint);
        }
    }
}

void EmojiGridViewController::startPrefetch(const std::string& codepoint)
{
    PrefetchTask& task = m_activePrefetchTasks[codepoint];
    task = m_emojiDataManager.downloadImageIfNeeded(codepoint);
    task.start([this, codepoint](const auto&) { m_activePrefetchTasks.erase(codepoint); });
}

void EmojiGridViewController::cancelPrefetching(const std::vector<IndexPath>& paths)
{
    for (const IndexPath path : paths) {
        if (const auto emoji = m_sections.emoji(path)) {
            m_activePrefetchTasks.erase(emoji->codepoint);
        }
    }
}

} // namespace glimmerwick
