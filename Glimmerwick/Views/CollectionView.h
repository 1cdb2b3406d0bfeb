#pragma once

#include "Views/CollectionViewItem.h"
#include "Views/Logic/FlowLayout.h"
#include "Views/Logic/IndexPath.h"

#include <QEasingCurve>
#include <QVariantAnimation>
#include <QWidget>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace glimmerwick {

class CollectionView;
class OverlayScrollBar;

/// Where a selected item is scrolled to.
enum class ScrollPosition { none, top, centeredVertically };

class CollectionViewDataSource {
public:
    virtual ~CollectionViewDataSource() = default;

    virtual std::size_t numberOfSections() const = 0;
    virtual std::size_t numberOfItems(std::size_t section) const = 0;
    /// An item from `makeItem`.
    virtual CollectionViewItem* itemForIndexPath(CollectionView& collectionView, IndexPath path) = 0;
    /// A header from `makeHeader`; null for none.
    virtual CollectionReusableView* headerForSection(CollectionView& collectionView, std::size_t section) = 0;
};

class CollectionViewDelegate {
public:
    virtual ~CollectionViewDelegate() = default;

    /// 0 for no header.
    virtual double headerHeight(std::size_t section) const = 0;
    virtual void didSelectItems(CollectionView& collectionView, const std::vector<IndexPath>& paths,
                                SelectionModifier modifier) = 0;
};

class CollectionViewPrefetching {
public:
    virtual ~CollectionViewPrefetching() = default;

    /// Items that scrolling is about to show.
    virtual void prefetchItems(const std::vector<IndexPath>& paths) = 0;
    /// Items announced before that are no longer about to be shown.
    virtual void cancelPrefetching(const std::vector<IndexPath>& paths) = 0;
};

/// A vertically scrolling grid of reusable items in sections with headers. Only what is visible, and a row
/// above and below it, exists. At most one item is selected. Main thread.
class CollectionView : public QWidget {
public:
    explicit CollectionView(QWidget* parent = nullptr);
    ~CollectionView() override;

    /// None is owned; each may be null.
    void setDataSource(CollectionViewDataSource* dataSource) { m_dataSource = dataSource; }
    CollectionViewDataSource* dataSource() const { return m_dataSource; }
    void setDelegate(CollectionViewDelegate* delegate) { m_delegate = delegate; }
    CollectionViewDelegate* delegate() const { return m_delegate; }
    void setPrefetching(CollectionViewPrefetching* prefetching) { m_prefetching = prefetching; }

    /// Called on every change of what part of the content is visible.
    std::function<void()> onBoundsDidChange;

    void registerItem(const std::string& identifier, std::function<CollectionViewItem*()> make);
    void registerHeader(const std::string& identifier, std::function<CollectionReusableView*()> make);
    /// A reused or a new one; for the data source. The identifier must be registered.
    CollectionViewItem* makeItem(const std::string& identifier);
    CollectionReusableView* makeHeader(const std::string& identifier);

    /// Asks the data source for everything again. Drops the selection; keeps the scroll position where it
    /// can.
    void reloadData();
    /// Asks again for one section, whose number of items may have changed. Keeps the selection in others.
    void reloadSection(std::size_t section);

    std::size_t numberOfSections() const { return m_layout.numberOfSections(); }
    std::size_t numberOfItems(std::size_t section) const { return m_layout.numberOfItems(section); }
    const FlowLayout& flowLayout() const { return m_layout; }

    /// Replaces the selection. Selecting only highlights; the delegate is not told. No item, no change.
    void selectItem(IndexPath path, ScrollPosition position);
    void deselectItem(IndexPath path);
    void deselectAll();
    const std::optional<IndexPath>& selectedItem() const { return m_selectedItem; }

    /// The item's view, or null when it does not exist or is out of sight.
    CollectionViewItem* item(IndexPath path) const;
    CollectionReusableView* header(std::size_t section) const;
    std::vector<CollectionViewItem*> visibleItems() const;
    /// The selected item's view while a part of it is in sight, else null.
    CollectionViewItem* selectedView() const;
    /// The headers and items of which a part is in sight, in the order that they are read in.
    std::vector<QWidget*> viewsInSight() const;

    /// Tells assistive technology again where the keys go: to the selected item, if it is in sight, or to the
    /// view. A change of that is told without asking.
    void announceFocus();

    /// The height in the content at which the visible part begins.
    double visibleTop() const { return m_visibleTop; }
    double maximumVisibleTop() const;
    /// Ends an animation under way. Stays within the content.
    void scrollTo(double top);
    /// The completion runs once, when the position is reached or when something else moves the content
    /// before.
    void scrollTo(double top, std::chrono::milliseconds duration, const QEasingCurve& curve,
                  std::function<void()> completion = nullptr);
    void scrollToItem(IndexPath path, ScrollPosition position);

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct Pool;

    /// In the content; mirrored where text runs from the right.
    QRect frameOf(const Rect& rect) const;
    bool isInSight(const QWidget& view) const;
    void placeEdges();
    void announceChangedFocus();
    void updateHoverSoon();
    void updateHover();

    void rebuildLayout();
    void refreshVisibleViews();
    void refreshItems(double top, double bottom);
    void refreshHeaders(double top, double bottom);
    void refreshPrefetching(double top, double bottom);
    void recycleItems(const std::function<bool(IndexPath)>& isRecycled);
    void recycleHeaders(const std::function<bool(std::size_t)>& isRecycled);
    void setVisibleTop(double top);
    void startScrollAnimation(double top, std::chrono::milliseconds duration, const QEasingCurve& curve);
    void endScrollAnimation();
    void itemClicked(CollectionViewItem& item, SelectionModifier modifier);

    CollectionViewDataSource* m_dataSource = nullptr;
    CollectionViewDelegate* m_delegate = nullptr;
    CollectionViewPrefetching* m_prefetching = nullptr;
    QWidget* m_content = nullptr;
    QWidget* m_topEdge = nullptr;
    OverlayScrollBar* m_scrollBar = nullptr;
    FlowLayout m_layout;
    double m_visibleTop = 0;
    std::optional<IndexPath> m_selectedItem;
    std::map<IndexPath, CollectionViewItem*> m_items;
    std::map<std::size_t, CollectionReusableView*> m_headers;
    std::set<IndexPath> m_prefetched;
    std::unique_ptr<Pool> m_pool;
    QVariantAnimation m_scrollAnimation{this};
    std::function<void()> m_scrollCompletion;
    /// The item that was last told to get the keys; none while it was the view itself.
    std::optional<IndexPath> m_announcedItem;
    /// Meanwhile the scroll to an item moves others out of sight, which is not told.
    bool m_isSelecting = false;
    bool m_isHoverUpdatePending = false;
};

} // namespace glimmerwick
