#include "Views/PanelBackgroundView.h"

#include "Views/Style.h"

#include <QPainter>

namespace glimmerwick {

PanelBackgroundView::PanelBackgroundView(Material material, QWidget* window)
    : QWidget(window), m_glassContentView(material == Material::glass ? new QWidget(this) : nullptr)
{
    setGeometry(window->rect());
}

void PanelBackgroundView::setBlending(Blending blending)
{
    m_blending = blending;
    update();
}

QWidget* PanelBackgroundView::contentView() const
{
    return m_glassContentView ? m_glassContentView : const_cast<PanelBackgroundView*>(this);
}

void PanelBackgroundView::resizeEvent(QResizeEvent*)
{
    if (m_glassContentView) {
        m_glassContentView->setGeometry(rect());
    }
}

void PanelBackgroundView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = style::panelBackground();
    if (m_blending == Blending::opaque) {
        fill.setAlpha(255);
        // The mask's corners are not smooth; a fill of the whole rectangle keeps what it lets through even.
        painter.fillRect(rect(), fill);
    }
    painter.setPen(QPen(style::panelBorder(), 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
}

} // namespace glimmerwick
