#include "Views/OverlayScrollBar.h"

#include "Views/Style.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr double minimumThumbHeight = 28;
constexpr double edge = 2;
constexpr double thinWidth = 4;
constexpr double wideWidth = 6;
constexpr int fadeDuration = 1000;
/// The part of the fade during which the bar still stands.
constexpr double standing = 0.7;

} // namespace

OverlayScrollBar::OverlayScrollBar(QWidget* parent) : QWidget(parent)
{
    setFocusPolicy(Qt::NoFocus);
    m_fade.setStartValue(0.0);
    m_fade.setEndValue(1.0);
    m_fade.setDuration(fadeDuration);
    QObject::connect(&m_fade, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        const double left = 1 - value.toDouble();
        // Without animations it stands as long, and is gone.
        m_opacity =
            style::animationsEnabled() ? std::clamp(left / (1 - standing), 0.0, 1.0) : (left > 0 ? 1.0 : 0.0);
        update();
    });
    hide();
}

void OverlayScrollBar::setRange(double top, double visibleHeight, double contentHeight)
{
    m_top = top;
    m_visibleHeight = visibleHeight;
    m_contentHeight = contentHeight;
    setVisible(contentHeight > visibleHeight && visibleHeight > 0);
    update();
}

void OverlayScrollBar::flash()
{
    m_fade.stop();
    m_opacity = 1;
    if (!m_isMouseInside && !m_grip) {
        m_fade.start();
    }
    update();
}

QRectF OverlayScrollBar::thumb() const
{
    const double track = height() - 2 * edge;
    const double thumbHeight = std::max(minimumThumbHeight, track * m_visibleHeight / m_contentHeight);
    const double range = std::max(1.0, m_contentHeight - m_visibleHeight);
    const double top = edge + (track - thumbHeight) * std::clamp(m_top / range, 0.0, 1.0);
    const double thumbWidth = m_isMouseInside || m_grip ? wideWidth : thinWidth;
    const double left = layoutDirection() == Qt::RightToLeft ? edge : width() - edge - thumbWidth;
    return {left, top, thumbWidth, thumbHeight};
}

double OverlayScrollBar::contentPerPoint() const
{
    const double travel = height() - 2 * edge - thumb().height();
    return travel > 0 ? (m_contentHeight - m_visibleHeight) / travel : 0;
}

void OverlayScrollBar::enterEvent(QEnterEvent*)
{
    m_isMouseInside = true;
    flash();
}

void OverlayScrollBar::leaveEvent(QEvent*)
{
    m_isMouseInside = false;
    flash();
}

void OverlayScrollBar::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        return;
    }
    const QRectF held = thumb();
    const double y = event->position().y();
    const bool isInThumb = y >= held.top() && y <= held.bottom();
    m_grip = isInThumb ? y - held.top() : held.height() / 2;
    if (!isInThumb) {
        mouseMoveEvent(event);
    }
}

void OverlayScrollBar::mouseMoveEvent(QMouseEvent* event)
{
    if (m_grip && onScroll) {
        onScroll((event->position().y() - *m_grip - edge) * contentPerPoint());
    }
}

void OverlayScrollBar::mouseReleaseEvent(QMouseEvent*)
{
    m_grip.reset();
    flash();
}

void OverlayScrollBar::paintEvent(QPaintEvent*)
{
    if (m_opacity <= 0) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(m_opacity);
    painter.setPen(Qt::NoPen);
    painter.setBrush(style::secondaryLabel());
    const QRectF shape = thumb();
    painter.drawRoundedRect(shape, shape.width() / 2, shape.width() / 2);
}

} // namespace glimmerwick
