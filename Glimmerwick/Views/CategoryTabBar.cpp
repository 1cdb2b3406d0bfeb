#include "Views/CategoryTabBar.h"

#include "Models/SkinTone.h"
#include "Platform/Platform.h"
#include "Platform/Process.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/AccessibleControls.h"
#include "Views/PanelBackgroundView.h"
#include "Views/Style.h"
#include "Views/SymbolLibrary.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRegion>
#include <QStyle>
#include <QWheelEvent>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int buttonSize = 28;
constexpr int spacing = 4;
constexpr int sideInset = 8;
constexpr int scrollDuration = 200;
constexpr const char* recentId = "recent";

EmojiCategory recentCategory()
{
    const QString name = QCoreApplication::translate("CategoryTabBar", "Recent");
    return {recentId, toUtf8(name), "1f551", "clock", std::nullopt, {}};
}

/// The text of a codepoint string, piece by piece: an invalid piece is left out.
std::string emojiCharacter(const std::string& icon)
{
    std::string text;
    std::size_t begin = 0;
    while (begin <= icon.size()) {
        const std::size_t end = std::min(icon.find('-', begin), icon.size());
        text += SkinTone::codepointToChar(icon.substr(begin, end - begin)).value_or("");
        begin = end + 1;
    }
    return text;
}

} // namespace

CategoryTabBar::CategoryTabBar(const Platform& platform, QWidget* parent)
    : QWidget(parent), m_platform(platform), m_container(new QWidget(this))
{
    accessibility::installControls();
    accessibility::identify(*this, QStringLiteral("categoryTabBar"));
    setAccessibleName(QCoreApplication::translate("CategoryTabBar", "Categories"));
    m_scrollAnimation.setDuration(scrollDuration);
    m_scrollAnimation.setEasingCurve(style::easeInEaseOut());
    QObject::connect(&m_scrollAnimation, &QVariantAnimation::valueChanged, this,
                     [this](const QVariant& value) { setScrollOffset(value.toDouble()); });
}

void CategoryTabBar::configure(const std::vector<EmojiCategory>& categories)
{
    configure(categories, RecentTab::excluded);
}

void CategoryTabBar::configure(const std::vector<EmojiCategory>& categories, RecentTab recentTab)
{
    m_categories = categories;
    if (recentTab == RecentTab::included) {
        m_categories.insert(m_categories.begin(), recentCategory());
    }
    for (CategoryButton* button : m_orderedButtons) {
        // Later: a click on a tab may be what reconfigures the bar.
        button->hide();
        button->deleteLater();
    }
    m_orderedButtons.clear();
    m_categoryButtons.clear();
    m_selectedCategoryId.reset();
    for (const EmojiCategory& category : m_categories) {
        CategoryButton* button = createCategoryButton(category);
        m_orderedButtons.push_back(button);
        m_categoryButtons[category.id] = button;
        button->show();
    }
    layOutButtons();
    if (!m_categories.empty()) {
        selectCategory(m_categories.front().id, Animation::none);
    }
}

void CategoryTabBar::setRecentTabVisible(bool visible)
{
    if (CategoryButton* recent = button(recentId)) {
        recent->setVisible(visible);
        layOutButtons();
    }
}

CategoryButton* CategoryTabBar::button(const std::string& categoryId) const
{
    const auto found = m_categoryButtons.find(categoryId);
    return found == m_categoryButtons.end() ? nullptr : found->second;
}

CategoryButton* CategoryTabBar::createCategoryButton(const EmojiCategory& category)
{
    auto* button = new CategoryButton(m_container);
    const SymbolLibrary symbols(m_platform.process.resourcesDirectory);
    const bool hasSymbol = category.sfSymbol && !category.sfSymbol->empty()
        && button->configureWithSymbol(symbols, *category.sfSymbol, category.sfSymbolFallback, category.id,
                                       category.name);
    if (!hasSymbol) {
        button->configureWithEmoji(emojiCharacter(category.icon), category.id, category.name);
    }
    QObject::connect(button, &QAbstractButton::clicked, this,
                     [this, button] { categoryButtonClicked(*button); });
    return button;
}

void CategoryTabBar::categoryButtonClicked(const CategoryButton& button)
{
    const auto found =
        std::find_if(m_categories.begin(), m_categories.end(),
                     [&](const EmojiCategory& category) { return category.id == button.categoryId(); });
    if (found == m_categories.end()) {
        return;
    }
    const EmojiCategory category = *found;
    selectCategory(category.id, Animation::animated);
    if (m_delegate) {
        m_delegate->didSelectCategory(*this, category);
    }
}

void CategoryTabBar::selectCategory(const std::string& id, Animation animation)
{
    if (CategoryButton* previous = m_selectedCategoryId ? button(*m_selectedCategoryId) : nullptr) {
        previous->setSelected(false, animation);
    }
    m_selectedCategoryId = id;
    if (CategoryButton* selected = button(id)) {
        selected->setSelected(true, animation);
        scrollButtonIntoView(*selected);
    }
}

void CategoryTabBar::scrollButtonIntoView(const CategoryButton& button)
{
    // As if the tabs ran from the left.
    const QRect place = QStyle::visualRect(layoutDirection(), m_container->rect(), button.geometry());
    const double left = place.x();
    const double right = left + place.width();
    double offset = m_scrollOffset;
    if (left < m_scrollOffset) {
        offset = left;
    } else if (right > m_scrollOffset + width()) {
        offset = right - width();
    }
    m_scrollAnimation.stop();
    if (offset == m_scrollOffset) {
        return;
    }
    if (style::animationsEnabled() && isVisible()) {
        m_scrollAnimation.setStartValue(m_scrollOffset);
        m_scrollAnimation.setEndValue(offset);
        m_scrollAnimation.start();
    } else {
        setScrollOffset(offset);
    }
}

void CategoryTabBar::layOutButtons()
{
    std::vector<CategoryButton*> shown;
    std::copy_if(m_orderedButtons.begin(), m_orderedButtons.end(), std::back_inserter(shown),
                 [](const CategoryButton* button) { return !button->isHidden(); });
    const auto count = static_cast<int>(shown.size());
    const int needed = 2 * sideInset + count * buttonSize + std::max(0, count - 1) * spacing;
    m_container->resize(std::max(width(), needed), height());

    QRect place(sideInset, (height() - buttonSize) / 2, buttonSize, buttonSize);
    for (CategoryButton* button : shown) {
        button->setGeometry(QStyle::visualRect(layoutDirection(), m_container->rect(), place));
        place.translate(buttonSize + spacing, 0);
    }
    setScrollOffset(m_scrollOffset);
}

void CategoryTabBar::setScrollOffset(double offset)
{
    const int hidden = m_container->width() - width();
    m_scrollOffset = std::clamp(offset, 0.0, std::max(0.0, static_cast<double>(hidden)));
    const int scrolled = qRound(m_scrollOffset);
    m_container->move(layoutDirection() == Qt::RightToLeft ? scrolled - hidden : -scrolled, 0);
}

void CategoryTabBar::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange) {
        layOutButtons();
    }
}

void CategoryTabBar::resizeEvent(QResizeEvent*)
{
    // A tab that is scrolled half out of sight must not show beyond the panel's round corners.
    constexpr int radius = PanelBackgroundView::cornerRadius;
    QPainterPath outline;
    outline.addRoundedRect(rect().adjusted(0, -2 * radius, 0, 0), radius, radius);
    setMask(QRegion(outline.toFillPolygon().toPolygon()));
    layOutButtons();
}

void CategoryTabBar::paintEvent(QPaintEvent*)
{
    QPainter(this).fillRect(0, 0, width(), 1, style::separator());
}

void CategoryTabBar::wheelEvent(QWheelEvent* event)
{
    event->accept();
    m_scrollAnimation.stop();
    const QPoint delta = event->pixelDelta().isNull() ? event->angleDelta() / 2 : event->pixelDelta();
    const int sideways = layoutDirection() == Qt::RightToLeft ? -delta.x() : delta.x();
    setScrollOffset(m_scrollOffset - (sideways != 0 ? sideways : delta.y()));
}

} // namespace glimmerwick
