#include "Views/CollectionViewItem.h"

#include "Views/Accessibility.h"

#include <QMouseEvent>

#include <utility>

namespace glimmerwick {

void CollectionViewItem::setSelected(bool selected)
{
    if (std::exchange(m_isSelected, selected) != selected) {
        accessibility::announceSelection(*this);
    }
}

void CollectionViewItem::performClick()
{
    if (onClick) {
        onClick(*this, SelectionModifier::none);
    }
}

void CollectionViewItem::mousePressEvent(QMouseEvent* event)
{
    // The right button must not fall through to the window, which would begin to drag.
    event->accept();
    if (event->button() == Qt::LeftButton) {
        m_isClick = true;
    }
}

void CollectionViewItem::mouseReleaseEvent(QMouseEvent* event)
{
    event->accept();
    if (event->button() != Qt::LeftButton || !std::exchange(m_isClick, false)) {
        return;
    }
    if (rect().contains(event->position().toPoint()) && onClick) {
        const bool isOptionHeld = event->modifiers().testFlag(Qt::AltModifier);
        onClick(*this, isOptionHeld ? SelectionModifier::option : SelectionModifier::none);
    }
}

} // namespace glimmerwick
