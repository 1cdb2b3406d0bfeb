#include "Views/IconButton.h"

#include "Views/Style.h"
#include "Views/SymbolLibrary.h"

#include <QPainter>

namespace glimmerwick {

namespace {

constexpr double cornerRadius = 6;

} // namespace

IconButton::IconButton(const SymbolLibrary& symbols, const std::string& symbol, int symbolSize,
                       HoverFill hoverFill, QWidget* parent)
    : QAbstractButton(parent), m_symbolPath(symbols.path(symbol)), m_symbolSize(symbolSize),
      m_hoverFill(hoverFill)
{
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
    if (!m_symbolPath.isEmpty()) {
        const QColor color = m_isMouseInside ? style::label() : style::secondaryLabel();
        painter.drawPixmap((width() - m_symbolSize) / 2, (height() - m_symbolSize) / 2,
                           SymbolLibrary::pixmap(m_symbolPath, m_symbolSize, color, devicePixelRatioF()));
    }
}

} // namespace glimmerwick
