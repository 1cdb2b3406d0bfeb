#include "Views/IconButton.h"

#include "Views/AccessibleControls.h"
#include "Views/Style.h"

#include <QPainter>

namespace glimmerwick {

namespace {

constexpr double cornerRadius = 6;

} // namespace

IconButton::IconButton(const SymbolLibrary& symbols, const std::string& symbol, int symbolSize,
                       HoverFill hoverFill, QWidget* parent)
    : QAbstractButton(parent), m_symbol(symbols.symbol(symbol)), m_symbolSize(symbolSize),
      m_hoverFill(hoverFill)
{
    accessibility::installControls();
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::ArrowCursor);
}

void IconButton::enterEvent(QEnterEvent*)
{
    m_isMouseInside = true;
    update();
}

void IconButton::leaveEvent(QEvent*)
{
    m_isMouseInside = false;
    update();
}

void IconButton::hideEvent(QHideEvent* event)
{
    QAbstractButton::hideEvent(event);
    m_isMouseInside = false;
}

void IconButton::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_hoverFill == HoverFill::rounded && (m_isMouseInside || isDown())) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(isDown() ? style::separator() : style::fieldBackground());
        painter.drawRoundedRect(rect(), cornerRadius, cornerRadius);
    }
    QRectF symbolRect(0, 0, m_symbolSize, m_symbolSize);
    symbolRect.moveCenter(QRectF(rect()).center());
    SymbolLibrary::draw(painter, symbolRect, m_symbol,
                        m_isMouseInside ? style::label() : style::secondaryLabel());
}

} // namespace glimmerwick
