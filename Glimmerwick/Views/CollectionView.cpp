#include "Views/CollectionView.h"

#include "Views/Accessibility.h"
#include "Views/OverlayScrollBar.h"
#include "Views/Style.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QStyle>
#include <QWheelEvent>
#include <QWindow>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <utility>

namespace glimmerwick {

namespace {

/// How much more than the visible part exists, above and below: one row with its spacing.
constexpr double aliveMargin = 44;
constexpr double wheelNotch = 88;
constexpr double wheelNotchAngle = 120;
constexpr std::chrono::milliseconds wheelDuration(140);

/// Shows that content goes on above.
class TopEdge : public QWidget {
public:
    explicit TopEdge(QWidget* parent) : QWidget(parent)
    {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        hide();
    }

protected:
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), style::separator()); }
};

/// Views that wait to be used again, by the identifier they were registered with.
template <typename View> class ReusePool {
public:
    void registerView(const std::string& identifier, std::function<View*()> make)
    {
        m_kinds[identifier].make = std::move(make);
    }

    View* take(const std::string& identifier, QWidget* parent)
    {
        const auto kind = m_kinds.find(identifier);
        assert(kind != m_kinds.end());
        if (!kind->second.waiting.empty()) {
            View* view = kind->second.waiting.back();
            kind->second.waiting.pop_back();
            return view;
        }
        View* view = kind->second.make();
        view->setParent(parent);
        m_identifiers[view] = identifier;
        return view;
    }

    void giveBack(View* view)
    {
        view->prepareForReuse();
        m_kinds[m_identifiers.at(view)].waiting.push_back(view);
    }

    /// Not done on giving back: most views that leave one end of the grid are wanted at the other at once.
    void hideWaiting()
    {
        for (const auto& [identifier, kind] : m_kinds) {
            for (View* view : kind.waiting) {
                view->hide();
            }
        }
    }

private:
    struct Kind {
        std::function<View*()> make;
        std::vector<View*> waiting;
    };

    std::map<std::string, Kind> m_kinds;
    std::map<View*, std::string> m_identifiers;
};

} // namespace

struct CollectionView::Pool {
    ReusePool<CollectionViewItem> items;
    ReusePool<CollectionReusableView> headers;
};

CollectionView::CollectionView(QWidget* parent)
    : QWidget(parent), m_content(new QWidget(this)), m_topEdge(new TopEdge(this)),
      m_scrollBar(new OverlayScrollBar(this)), m_pool(std::make_unique<Pool>())
{
    accessibility::install();
    setFocusPolicy(Qt::StrongFocus);
    // What an input method composes while the grid has the focus is text for the search field.
    setAttribute(Qt::WA_InputMethodEnabled);
    m_scrollBar->onScroll = [this](double top) { scrollTo(top); };
    QObject::connect(&m_scrollAnimation, &QVariantAnimation::valueChanged, this,
                     [this](const QVariant& value) { setVisibleTop(value.toDouble()); });
    QObject::connect(&m_scrollAnimation, &QVariantAnimation::finished, this,
                     [this] { endScrollAnimation(); });
}

CollectionView::~CollectionView()
{
    m_scrollAnimation.disconnect();
}

void CollectionView::registerItem(const std::string& identifier, std::function<CollectionViewItem*()> make)
{
    m_pool->items.registerView(identifier, std::move(make));
}

void CollectionView::registerHeader(const std::string& identifier,
                                    std::function<CollectionReusableView*()> make)
{
    m_pool->headers.registerView(identifier, std::move(make));
}

CollectionViewItem* CollectionView::makeItem(const std::string& identifier)
{
    CollectionViewItem* item = m_pool->items.take(identifier, m_content);
    // A click can bring its own cell back here, and must not lose the callback that is running.
    if (!item->onClick) {
        item->onClick = [this](CollectionViewItem& clicked, SelectionModifier modifier) {
            itemClicked(clicked, modifier);
        };
    }
    return item;
}

CollectionReusableView* CollectionView::makeHeader(const std::string& identifier)
{
    return m_pool->headers.take(identifier, m_content);
}

void CollectionView::reloadData()
{
    recycleItems([](IndexPath) { return true; });
    recycleHeaders([](std::size_t) { return true; });
    m_selectedItem.reset();
    m_prefetched.clear();
    rebuildLayout();
}

void CollectionView::reloadSection(std::size_t section)
{
    recycleItems([section](IndexPath path) { return path.section == section; });
    recycleHeaders([section](std::size_t other) { return other == section; });
    if (m_selectedItem && m_selectedItem->section == section) {
        m_selectedItem.reset();
    }
    std::erase_if(m_prefetched, [section](IndexPath path) { return path.section == section; });
    rebuildLayout();
}

void CollectionView::rebuildLayout()
{
    std::vector<FlowLayout::Section> sections(m_dataSource ? m_dataSource->numberOfSections() : 0);
    for (std::size_t section = 0; section < sections.size(); ++section) {
        sections[section].itemCount = m_dataSource->numberOfItems(section);
        sections[section].headerHeight = m_delegate ? m_delegate->headerHeight(section) : 0;
    }
    m_layout.setWidth(width());
    m_layout.setSections(std::move(sections));
    const auto isGone = [this](IndexPath path) { return path.item >= m_layout.numberOfItems(path.section); };
    recycleItems(isGone);
    recycleHeaders([this](std::size_t section) { return !m_layout.headerFrame(section); });
    std::erase_if(m_prefetched, isGone);
    m_content->resize(width(), std::max(height(), static_cast<int>(std::ceil(m_layout.contentHeight()))));
    setVisibleTop(m_visibleTop);
    refreshVisibleViews();
}

void CollectionView::refreshVisibleViews()
{
    m_scrollBar->setRange(m_visibleTop, height(), m_layout.contentHeight());
    m_topEdge->setVisible(m_visibleTop > 0);
    if (!isVisible()) {
        return;
    }
    const double top = m_visibleTop - aliveMargin;
    const double bottom = m_visibleTop + height() + aliveMargin;
    refreshItems(top, bottom);
    refreshHeaders(top, bottom);
    refreshPrefetching(m_visibleTop - height(), m_visibleTop + 2 * height());
    m_pool->items.hideWaiting();
    m_pool->headers.hideWaiting();
    announceChangedFocus();
    updateHoverSoon();
}

QRect CollectionView::frameOf(const Rect& rect) const
{
    const QRect fromTheLeft(qRound(rect.x), qRound(rect.y), qRound(rect.width), qRound(rect.height));
    return QStyle::visualRect(layoutDirection(), m_content->rect(), fromTheLeft);
}

void CollectionView::refreshItems(double top, double bottom)
{
    const std::vector<IndexPath> wanted = m_layout.items(top, bottom);
    recycleItems([&](IndexPath path) { return !std::binary_search(wanted.begin(), wanted.end(), path); });
    for (const IndexPath path : wanted) {
        CollectionViewItem*& item = m_items[path];
        if (!item) {
            item = m_dataSource->itemForIndexPath(*this, path);
            item->setSelected(m_selectedItem == path);
        }
        item->setGeometry(frameOf(*m_layout.itemFrame(path)));
        item->show();
    }
}

void CollectionView::refreshHeaders(double top, double bottom)
{
    const std::vector<std::size_t> wanted = m_layout.headers(top, bottom);
    recycleHeaders(
        [&](std::size_t section) { return !std::binary_search(wanted.begin(), wanted.end(), section); });
    for (const std::size_t section : wanted) {
        auto known = m_headers.find(section);
        if (known == m_headers.end()) {
            CollectionReusableView* header = m_dataSource->headerForSection(*this, section);
            if (!header) {
                continue;
            }
            known = m_headers.emplace(section, header).first;
        }
        known->second->setGeometry(frameOf(*m_layout.headerFrame(section)));
        known->second->show();
    }
}

void CollectionView::refreshPrefetching(double top, double bottom)
{
    if (!m_prefetching) {
        return;
    }
    std::set<IndexPath> wanted;
    std::vector<IndexPath> entered;
    for (const IndexPath path : m_layout.items(top, bottom)) {
        if (m_items.count(path) == 0) {
            wanted.insert(path);
            if (m_prefetched.count(path) == 0) {
                entered.push_back(path);
            }
        }
    }
    std::vector<IndexPath> left;
    for (const IndexPath path : m_prefetched) {
        if (wanted.count(path) == 0 && m_items.count(path) == 0) {
            left.push_back(path);
        }
    }
    m_prefetched = std::move(wanted);
    if (!left.empty()) {
        m_prefetching->cancelPrefetching(left);
    }
    if (!entered.empty()) {
        m_prefetching->prefetchItems(entered);
    }
}

void CollectionView::recycleItems(const std::function<bool(IndexPath)>& isRecycled)
{
    for (auto entry = m_items.begin(); entry != m_items.end();) {
        if (isRecycled(entry->first)) {
            m_pool->items.giveBack(entry->second);
            entry = m_items.erase(entry);
        } else {
            ++entry;
        }
    }
}

void CollectionView::recycleHeaders(const std::function<bool(std::size_t)>& isRecycled)
{
    for (auto entry = m_headers.begin(); entry != m_headers.end();) {
        if (isRecycled(entry->first)) {
            m_pool->headers.giveBack(entry->second);
            entry = m_headers.erase(entry);
        } else {
            ++entry;
        }
    }
}

void CollectionView::selectItem(IndexPath path, ScrollPosition position)
{
    if (!m_layout.itemFrame(path)) {
        return;
    }
    // Not by way of no selection: the keys would be told to go to the view in between.
    if (CollectionViewItem* deselected = m_selectedItem ? item(*m_selectedItem) : nullptr) {
        deselected->setSelected(m_selectedItem == path);
    }
    m_selectedItem = path;
    m_isSelecting = true;
    scrollToItem(path, position);
    m_isSelecting = false;
    if (CollectionViewItem* selected = item(path)) {
        selected->setSelected(true);
    }
    announceFocus();
}

void CollectionView::deselectItem(IndexPath path)
{
    if (m_selectedItem != path) {
        return;
    }
    m_selectedItem.reset();
    if (CollectionViewItem* deselected = item(path)) {
        deselected->setSelected(false);
    }
    announceChangedFocus();
}

void CollectionView::deselectAll()
{
    if (m_selectedItem) {
        deselectItem(*m_selectedItem);
    }
}

CollectionViewItem* CollectionView::item(IndexPath path) const
{
    const auto found = m_items.find(path);
    return found == m_items.end() ? nullptr : found->second;
}

CollectionReusableView* CollectionView::header(std::size_t section) const
{
    const auto found = m_headers.find(section);
    return found == m_headers.end() ? nullptr : found->second;
}

std::vector<CollectionViewItem*> CollectionView::visibleItems() const
{
    std::vector<CollectionViewItem*> items;
    for (const auto& [path, item] : m_items) {
        items.push_back(item);
    }
    return items;
}

bool CollectionView::isInSight(const QWidget& view) const
{
    return rect().intersects(view.geometry().translated(m_content->pos()));
}

CollectionViewItem* CollectionView::selectedView() const
{
    CollectionViewItem* selected = m_selectedItem ? item(*m_selectedItem) : nullptr;
    return selected && isInSight(*selected) ? selected : nullptr;
}

std::vector<QWidget*> CollectionView::viewsInSight() const
{
    std::vector<QWidget*> views;
    const auto add = [&](QWidget* view) {
        if (isInSight(*view)) {
            views.push_back(view);
        }
    };
    auto nextHeader = m_headers.begin();
    for (const auto& [path, item] : m_items) {
        for (; nextHeader != m_headers.end() && nextHeader->first <= path.section; ++nextHeader) {
            add(nextHeader->second);
        }
        add(item);
    }
    std::for_each(nextHeader, m_headers.end(), [&](const auto& entry) { add(entry.second); });
    return views;
}

void CollectionView::announceFocus()
{
    CollectionViewItem* selected = selectedView();
    m_announcedItem = selected ? m_selectedItem : std::nullopt;
    if (accessibility::hasKeys(*this)) {
        accessibility::announceFocus(selected ? static_cast<QWidget&>(*selected) : *this);
    }
}

void CollectionView::announceChangedFocus()
{
    if (!m_isSelecting && m_announcedItem != (selectedView() ? m_selectedItem : std::nullopt)) {
        announceFocus();
    }
}

double CollectionView::maximumVisibleTop() const
{
    return std::max(0.0, m_layout.contentHeight() - height());
}

void CollectionView::setVisibleTop(double top)
{
    const double clamped = std::clamp(top, 0.0, maximumVisibleTop());
    m_content->move(0, -qRound(clamped));
    if (clamped == m_visibleTop) {
        return;
    }
    m_visibleTop = clamped;
    refreshVisibleViews();
    m_scrollBar->flash();
    if (onBoundsDidChange) {
        onBoundsDidChange();
    }
}

void CollectionView::scrollTo(double top)
{
    endScrollAnimation();
    setVisibleTop(top);
}

void CollectionView::scrollTo(double top, std::chrono::milliseconds duration, const QEasingCurve& curve,
                              std::function<void()> completion)
{
    endScrollAnimation();
    m_scrollCompletion = std::move(completion);
    if (style::animationsEnabled() && isVisible()) {
        startScrollAnimation(top, duration, curve);
    } else {
        setVisibleTop(top);
        endScrollAnimation();
    }
}

void CollectionView::startScrollAnimation(double top, std::chrono::milliseconds duration,
                                          const QEasingCurve& curve)
{
    {
        // A finished animation tells its value at the end of every new way before it starts on it.
        const QSignalBlocker quiet(m_scrollAnimation);
        m_scrollAnimation.setStartValue(m_visibleTop);
        m_scrollAnimation.setEndValue(std::clamp(top, 0.0, maximumVisibleTop()));
        m_scrollAnimation.setDuration(static_cast<int>(duration.count()));
        m_scrollAnimation.setEasingCurve(curve);
    }
    m_scrollAnimation.start();
}

void CollectionView::endScrollAnimation()
{
    m_scrollAnimation.stop();
    if (const auto completion = std::exchange(m_scrollCompletion, nullptr)) {
        completion();
    }
}

void CollectionView::scrollToItem(IndexPath path, ScrollPosition position)
{
    const std::optional<Rect> frame = m_layout.itemFrame(path);
    if (!frame || position == ScrollPosition::none) {
        return;
    }
    scrollTo(position == ScrollPosition::top ? frame->y : frame->midY() - height() / 2.0);
}

void CollectionView::itemClicked(CollectionViewItem& clicked, SelectionModifier modifier)
{
    const auto found = std::find_if(m_items.begin(), m_items.end(),
                                    [&](const auto& entry) { return entry.second == &clicked; });
    if (found == m_items.end()) {
        return;
    }
    const IndexPath path = found->first;
    selectItem(path, ScrollPosition::none);
    if (m_delegate) {
        m_delegate->didSelectItems(*this, {path}, modifier);
    }
}

void CollectionView::resizeEvent(QResizeEvent*)
{
    placeEdges();
    rebuildLayout();
}

void CollectionView::placeEdges()
{
    const QRect atTheEnd(width() - OverlayScrollBar::thickness, 0, OverlayScrollBar::thickness, height());
    m_scrollBar->setGeometry(QStyle::visualRect(layoutDirection(), rect(), atTheEnd));
    m_topEdge->setGeometry(0, 0, width(), 1);
}

void CollectionView::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange) {
        placeEdges();
        refreshVisibleViews();
    }
}

void CollectionView::showEvent(QShowEvent*)
{
    refreshVisibleViews();
}

void CollectionView::updateHoverSoon()
{
    if (!underMouse() || std::exchange(m_isHoverUpdatePending, true)) {
        return;
    }
    // When the present event is done with: it may be the click of a cell that has just been moved.
    QMetaObject::invokeMethod(
        this, [this] { updateHover(); }, Qt::QueuedConnection);
}

void CollectionView::updateHover()
{
    m_isHoverUpdatePending = false;
    QWindow* native = window()->windowHandle();
    if (!native || !isVisible() || QGuiApplication::mouseButtons() != Qt::NoButton) {
        return;
    }
    // The toolkit looks for what is under the pointer when the pointer moves, and knows which view to leave.
    const QPointF pointer = QCursor::pos();
    QMouseEvent move(QEvent::MouseMove, native->mapFromGlobal(pointer), pointer, Qt::NoButton, Qt::NoButton,
                     QGuiApplication::keyboardModifiers());
    QCoreApplication::sendEvent(native, &move);
    // It tells nothing to a view that has stayed, and has forgotten the pointer when it was used again.
    for (CollectionViewItem* item : visibleItems()) {
        item->setMouseInside(item->underMouse());
    }
}

void CollectionView::wheelEvent(QWheelEvent* event)
{
    event->accept();
    if (!event->pixelDelta().isNull()) {
        scrollTo(m_visibleTop - event->pixelDelta().y());
        return;
    }
    const double distance = -event->angleDelta().y() / wheelNotchAngle * wheelNotch;
    // Notches in quick succession add up.
    const bool isUnderWay = m_scrollAnimation.state() == QAbstractAnimation::Running && !m_scrollCompletion;
    const double from = isUnderWay ? m_scrollAnimation.endValue().toDouble() : m_visibleTop;
    if (std::abs(event->angleDelta().y()) < wheelNotchAngle) {
        scrollTo(from + distance);
    } else {
        scrollTo(from + distance, wheelDuration, QEasingCurve::OutCubic);
    }
}

} // namespace glimmerwick
