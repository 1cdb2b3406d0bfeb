#include "Views/PanelBackgroundView.h"

#include "Views/DevicePixels.h"
#include "Views/Style.h"

#include <QPaintEvent>
#include <QPainter>
#include <QRegion>

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

void PanelBackgroundView::paintEvent(QPaintEvent* event)
{
    QPainter painter(this);
    const QColor fill = style::panelBackground(m_backdrop);
    if (event->region().subtracted(withoutEdges()).isEmpty()) {
        // The toolkit fills shapes by several threads, for which a letter's results would have to wait.
        painter.setCompositionMode(QPainter::CompositionMode_Source);
        painter.fillRect(event->rect(), fill);
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    if (m_backdrop == Backdrop::opaque) {
        // The shape's corners are not smooth; a fill of the whole rectangle keeps what it lets through even.
        painter.fillRect(rect(), fill);
    }
    devicePixels::drawFramed(painter, rect(), cornerRadius, fill, style::panelBorder());
}

/// Where there is nothing but the fill.
QRegion PanelBackgroundView::withoutEdges() const
{
    constexpr int border = 2;
    return QRegion(rect().adjusted(border, cornerRadius, -border, -cornerRadius))
        .united(rect().adjusted(cornerRadius, border, -cornerRadius, -border));
}

} // namespace glimmerwick
