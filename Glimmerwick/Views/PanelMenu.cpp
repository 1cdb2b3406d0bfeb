#include "Views/PanelMenu.h"

#include "Platform/KeyEvent.h"
#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/AccessibleControls.h"
#include "Views/DevicePixels.h"
#include "Views/PanelMenuItem.h"
#include "Views/Style.h"

#include <QApplication>
#include <QKeySequence>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int padding = 5;
constexpr int windowMargin = 4;
constexpr double cornerRadius = 8;

/// In the user's words for the modifier.
QString equivalentText(const PanelMenu::Item& item)
{
    if (item.keyEquivalent.empty()) {
        return {};
    }
    const QString portable = QStringLiteral("Ctrl+") + toQString(item.keyEquivalent).toUpper();
    return QKeySequence(portable, QKeySequence::PortableText).toString(QKeySequence::NativeText);
}

} // namespace

PanelMenu* PanelMenu::popUp(std::vector<Item> items, QWidget& in, QPoint at)
{
    QWidget* window = in.window();
    auto* menu = new PanelMenu(std::move(items), window);
    menu->setLayoutDirection(in.layoutDirection());
    const QSize size =
        menu->sizeHint().boundedTo({window->width() - 2 * windowMargin, window->height() - 2 * windowMargin});
    const bool isMirrored = in.layoutDirection() == Qt::RightToLeft;
    const QPoint corner = in.mapTo(window, isMirrored ? QPoint(in.width() - at.x(), at.y()) : at);
    const int wantedX = isMirrored ? corner.x() - size.width() : corner.x();
    const int x = std::clamp(wantedX, windowMargin, window->width() - size.width() - windowMargin);
    const int y = std::clamp(corner.y(), windowMargin, window->height() - size.height() - windowMargin);
    menu->setGeometry(QRect(QPoint(x, y), size));
    menu->show();
    menu->raise();
    menu->m_lentKeys = accessibility::lendKeys(*window);
    return menu;
}

PanelMenu::PanelMenu(std::vector<Item> items, QWidget* window) : QWidget(window), m_items(std::move(items))
{
    accessibility::installControls();
    accessibility::identify(*this, QStringLiteral("menu"));
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    addItemViews();
    QApplication::instance()->installEventFilter(this);
}

void PanelMenu::addItemViews()
{
    for (const Item& item : m_items) {
        const std::size_t index = m_itemViews.size();
        auto* view = new PanelMenuItem(toQString(item.title), equivalentText(item), this);
        view->onPress = [this, index] { choose(index); };
        m_itemViews.push_back(view);
    }
}

void PanelMenu::close()
{
    if (std::exchange(m_isClosed, true)) {
        return;
    }
    QApplication::instance()->removeEventFilter(this);
    hide();
    deleteLater();
    m_lentKeys.reset();
}

void PanelMenu::choose(std::size_t index)
{
    const auto action = m_items.at(index).action;
    close();
    if (action) {
        action();
    }
}

bool PanelMenu::handleKey(std::int64_t code)
{
    switch (code) {
    case keyCode::downArrow:
        highlightNext(1);
        return true;
    case keyCode::upArrow:
        highlightNext(-1);
        return true;
    case keyCode::return_:
    case keyCode::keypadEnter:
        if (m_highlighted >= 0) {
            choose(static_cast<std::size_t>(m_highlighted));
        }
        return true;
    case keyCode::escape:
        close();
        return true;
    case keyCode::leftArrow:
    case keyCode::rightArrow:
        return true;
    default:
        return false;
    }
}

void PanelMenu::highlightNext(int step)
{
    const int count = static_cast<int>(m_items.size());
    if (count == 0) {
        return;
    }
    const int from = m_highlighted >= 0 || step > 0 ? m_highlighted : 0;
    setHighlighted((from + step + count) % count);
}

QSize PanelMenu::sizeHint() const
{
    int width = 0;
    for (const PanelMenuItem* view : m_itemViews) {
        width = std::max(width, view->sizeHint().width());
    }
    return {width + 2 * padding, static_cast<int>(m_items.size()) * PanelMenuItem::lineHeight + 2 * padding};
}

bool PanelMenu::eventFilter(QObject* watched, QEvent* event)
{
    // The second press of two fast ones arrives as a double click alone.
    const bool isPress =
        event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick;
    if (!isPress && event->type() != QEvent::Wheel) {
        return QWidget::eventFilter(watched, event);
    }
    const auto* view = qobject_cast<QWidget*>(watched);
    if (!view || view == this || isAncestorOf(view)) {
        return QWidget::eventFilter(watched, event);
    }
    const bool isInside = view->window() == window();
    close();
    return isPress && isInside;
}

int PanelMenu::itemAt(QPoint position) const
{
    const auto found = std::find_if(m_itemViews.begin(), m_itemViews.end(), [&](const PanelMenuItem* view) {
        return view->geometry().contains(position);
    });
    return found == m_itemViews.end() ? -1 : static_cast<int>(found - m_itemViews.begin());
}

void PanelMenu::setHighlighted(int index)
{
    if (std::exchange(m_highlighted, index) == index) {
        return;
    }
    for (std::size_t at = 0; at < m_itemViews.size(); ++at) {
        m_itemViews[at]->setHighlighted(static_cast<int>(at) == index);
    }
    if (index >= 0) {
        accessibility::announceFocus(*m_itemViews[static_cast<std::size_t>(index)]);
    }
}

void PanelMenu::mouseMoveEvent(QMouseEvent* event)
{
    setHighlighted(itemAt(event->position().toPoint()));
}

void PanelMenu::mousePressEvent(QMouseEvent* event)
{
    setHighlighted(itemAt(event->position().toPoint()));
}

void PanelMenu::mouseReleaseEvent(QMouseEvent* event)
{
    const int index = itemAt(event->position().toPoint());
    if (index >= 0) {
        choose(static_cast<std::size_t>(index));
    }
}

void PanelMenu::wheelEvent(QWheelEvent* event)
{
    event->accept();
}

void PanelMenu::leaveEvent(QEvent*)
{
    setHighlighted(-1);
}

void PanelMenu::hideEvent(QHideEvent*)
{
    close();
}

void PanelMenu::resizeEvent(QResizeEvent*)
{
    int top = padding;
    for (PanelMenuItem* view : m_itemViews) {
        view->setGeometry(padding, top, width() - 2 * padding, PanelMenuItem::lineHeight);
        top += PanelMenuItem::lineHeight;
    }
}

void PanelMenu::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    devicePixels::drawFramed(painter, rect(), cornerRadius, style::controlBackground(), style::panelBorder());
}

} // namespace glimmerwick
