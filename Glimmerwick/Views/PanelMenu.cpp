#include "Views/PanelMenu.h"

#include "Platform/Qt/Text.h"
#include "Views/Accessibility.h"
#include "Views/Style.h"

#include <QApplication>
#include <QMouseEvent>
#include <QPainter>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int fontSize = 13;
constexpr int padding = 5;
constexpr int itemHeight = 24;
constexpr int itemInset = 10;
constexpr int equivalentGap = 28;
constexpr int windowMargin = 4;
constexpr double cornerRadius = 8;
constexpr double itemRadius = 5;

QString equivalentText(const PanelMenu::Item& item)
{
    return item.keyEquivalent.empty() ? QString()
                                      : QStringLiteral("Ctrl+") + toQString(item.keyEquivalent).toUpper();
}

} // namespace

PanelMenu* PanelMenu::popUp(std::vector<Item> items, QWidget& in, QPoint at)
{
    QWidget* window = in.window();
    auto* menu = new PanelMenu(std::move(items), window);
    const QSize size = menu->sizeHint();
    const QPoint wanted = in.mapTo(window, at);
    const int x = std::max(windowMargin, std::min(wanted.x(), window->width() - size.width() - windowMargin));
    const int y =
        std::max(windowMargin, std::min(wanted.y(), window->height() - size.height() - windowMargin));
    menu->setGeometry(QRect(QPoint(x, y), size));
    menu->show();
    menu->raise();
    return menu;
}

PanelMenu::PanelMenu(std::vector<Item> items, QWidget* window) : QWidget(window), m_items(std::move(items))
{
    accessibility::identify(*this, QStringLiteral("menu"));
    setFocusPolicy(Qt::NoFocus);
    setMouseTracking(true);
    QApplication::instance()->installEventFilter(this);
}

void PanelMenu::close()
{
    if (!std::exchange(m_isClosed, true)) {
        QApplication::instance()->removeEventFilter(this);
        hide();
        deleteLater();
    }
}

void PanelMenu::choose(std::size_t index)
{
    const auto action = m_items.at(index).action;
    close();
    if (action) {
        action();
    }
}

QSize PanelMenu::sizeHint() const
{
    const QFontMetrics metrics(style::systemFont(fontSize));
    int width = 0;
    for (const Item& item : m_items) {
        const QString equivalent = equivalentText(item);
        const int equivalentWidth =
            equivalent.isEmpty() ? 0 : equivalentGap + metrics.horizontalAdvance(equivalent);
        width = std::max(width, metrics.horizontalAdvance(toQString(item.title)) + equivalentWidth);
    }
    return {width + 2 * (itemInset + padding), static_cast<int>(m_items.size()) * itemHeight + 2 * padding};
}

bool PanelMenu::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonPress) {
        const auto* view = qobject_cast<QWidget*>(watched);
        if (view && view != this) {
            close();
            return false;
        }
    }
    return QWidget::eventFilter(watched, event);
}

QRect PanelMenu::itemRect(std::size_t index) const
{
    return {padding, padding + static_cast<int>(index) * itemHeight, width() - 2 * padding, itemHeight};
}

int PanelMenu::itemAt(QPoint position) const
{
    for (std::size_t index = 0; index < m_items.size(); ++index) {
        if (itemRect(index).contains(position)) {
            return static_cast<int>(index);
        }
    }
    return -1;
}

void PanelMenu::setHighlighted(int index)
{
    if (std::exchange(m_highlighted, index) != index) {
        update();
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

void PanelMenu::leaveEvent(QEvent*)
{
    setHighlighted(-1);
}

void PanelMenu::hideEvent(QHideEvent*)
{
    close();
}

void PanelMenu::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(style::panelBorder(), 1));
    painter.setBrush(style::controlBackground());
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius, cornerRadius);
    painter.setFont(style::systemFont(fontSize));
    for (std::size_t index = 0; index < m_items.size(); ++index) {
        const QRect bounds = itemRect(index);
        const bool isHighlighted = static_cast<int>(index) == m_highlighted;
        if (isHighlighted) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(style::accent());
            painter.drawRoundedRect(bounds, itemRadius, itemRadius);
        }
        const QRect line = bounds.adjusted(itemInset, 0, -itemInset, 0);
        const QColor highlightedText = palette().color(QPalette::HighlightedText);
        painter.setPen(isHighlighted ? highlightedText : style::label());
        painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, toQString(m_items[index].title));
        painter.setPen(isHighlighted ? highlightedText : style::secondaryLabel());
        painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, equivalentText(m_items[index]));
    }
}

} // namespace glimmerwick
