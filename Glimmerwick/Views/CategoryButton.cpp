#include "Views/CategoryButton.h"

#include "Platform/Qt/Text.h"
#include "Views/AccessibleControls.h"
#include "Views/DevicePixels.h"
#include "Views/EmojiPixmapCache.h"
#include "Views/Style.h"

#include <QEvent>
#include <QPainter>

#include <utility>

namespace glimmerwick {

namespace {

constexpr int symbolSize = 18;
constexpr int emojiSize = 18;
constexpr double cornerRadius = 6;
constexpr double selectedAlpha = 0.2;
constexpr double hoverAlpha = 0.1;
constexpr int selectionDuration = 150;

} // namespace

CategoryButton::CategoryButton(QWidget* parent) : QAbstractButton(parent)
{
    accessibility::installControls();
    setFocusPolicy(Qt::NoFocus);
    setFixedSize(CategoryButton::sizeHint());
    m_backgroundAnimation.setDuration(selectionDuration);
    QObject::connect(&m_backgroundAnimation, &QVariantAnimation::valueChanged, this,
                     [this](const QVariant& value) {
                         m_backgroundColor = value.value<QColor>();
                         update();
                     });
}

bool CategoryButton::configureWithSymbol(const SymbolLibrary& symbols, const std::string& symbol,
                                         const std::optional<std::string>& fallback,
                                         const std::string& categoryId, const std::string& categoryName)
{
    Symbol found = symbols.symbol(symbol);
    if (found.isEmpty() && fallback) {
        found = symbols.symbol(*fallback);
    }
    if (found.isEmpty()) {
        return false;
    }
    m_symbol = found;
    setText({});
    setCategory(categoryId, categoryName);
    return true;
}

void CategoryButton::configureWithEmoji(const std::string& emoji, const std::string& categoryId,
                                        const std::string& categoryName)
{
    m_symbol = {};
    setText(toQString(emoji));
    setCategory(categoryId, categoryName);
}

void CategoryButton::setCategory(const std::string& categoryId, const std::string& categoryName)
{
    m_categoryId = categoryId;
    setAccessibleName(toQString(categoryName));
    setToolTip(toQString(categoryName));
    update();
}

void CategoryButton::setSelected(bool selected, Animation animation)
{
    const bool isNews = std::exchange(m_isSelected, selected) != selected;
    updateAppearance(animation);
    if (isNews) {
        accessibility::announceChecked(*this);
    }
}

QColor CategoryButton::iconTint() const
{
    return m_isSelected || m_isMouseInside ? style::accent() : style::secondaryLabel();
}

QColor CategoryButton::wantedBackgroundColor() const
{
    if (m_isSelected) {
        return style::accent(selectedAlpha);
    }
    // Invisible rather than black and transparent, so that a fade stays in the accent's hue.
    return style::accent(m_isMouseInside ? hoverAlpha : 0);
}

void CategoryButton::updateAppearance(Animation animation)
{
    m_backgroundAnimation.stop();
    if (animation == Animation::animated && style::animationsEnabled() && isVisible()) {
        m_backgroundAnimation.setStartValue(m_backgroundColor);
        m_backgroundAnimation.setEndValue(wantedBackgroundColor());
        m_backgroundAnimation.start();
    } else {
        m_backgroundColor = wantedBackgroundColor();
    }
    update();
}

void CategoryButton::enterEvent(QEnterEvent*)
{
    m_isMouseInside = true;
    updateAppearance(Animation::none);
}

void CategoryButton::leaveEvent(QEvent*)
{
    m_isMouseInside = false;
    updateAppearance(Animation::none);
}

void CategoryButton::hideEvent(QHideEvent* event)
{
    QAbstractButton::hideEvent(event);
    m_isMouseInside = false;
    updateAppearance(Animation::none);
}

void CategoryButton::changeEvent(QEvent* event)
{
    QAbstractButton::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateAppearance(Animation::none);
    }
}

void CategoryButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_backgroundColor);
    painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);

    if (m_symbol.isEmpty()) {
        const double ratio = painter.deviceTransform().m11();
        devicePixels::drawCentred(
            painter, rect(), EmojiPixmapCache::shared().pixmap(toUtf8(text()), emojiSize, width(), ratio));
    } else {
        QRectF symbolRect(0, 0, symbolSize, symbolSize);
        symbolRect.moveCenter(QRectF(rect()).center());
        SymbolLibrary::draw(painter, symbolRect, m_symbol, iconTint());
    }
}

} // namespace glimmerwick
