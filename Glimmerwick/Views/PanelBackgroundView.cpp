#include "Views/PanelBackgroundView.h"

#include "Views/DevicePixels.h"
#include "Views/Style.h"

#include <QPainter>

namespace glimmerwick {

PanelBackgroundView::PanelBackgroundView(Material material, QWidget* window)
    : QWidget(window), m_glassContentView(material == Material::glass ? new QWidget(this) : nullptr)
{
    setGeometry(window->rect());
}

void PanelBackgroundView::setBackdrop(Backdrop backdrop)
{
    m_backdrop = backdrop;
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
    const QColor fill = style::panelBackground(m_backdrop);
    if (m_backdrop == Backdrop::opaque) {
        // The shape's corners are not smooth; a fill of the whole rectangle keeps what it lets through even.
        painter.fillRect(rect(), fill);
    }
    devicePixels::drawFramed(painter, rect(), cornerRadius, fill, style::panelBorder());
}

} // namespace glimmerwick
