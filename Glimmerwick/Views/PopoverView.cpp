#include "Views/PopoverView.h"

#include "Views/Style.h"

#include <QApplication>
#include <QGraphicsOpacityEffect>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <utility>

namespace glimmerwick {

namespace {

constexpr double cornerRadius = 10;
constexpr double arrowHalfWidth = 8;
/// Room around the bubble for its shadow and arrow.
constexpr int shadowMargin = 12;
constexpr int shadowRings = 10;
constexpr double shadowOffset = 2;
constexpr int fadeDuration = 150;

Rect toRect(const QRect& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
            static_cast<double>(rect.height())};
}

QPainterPath outline(const QRectF& bubble, QPointF tip, PopoverEdge edge)
{
    QPainterPath path;
    path.addRoundedRect(bubble, cornerRadius, cornerRadius);
    QPainterPath arrow;
    const double base = edge == PopoverEdge::above ? bubble.bottom() - 0.5 : bubble.top() + 0.5;
    arrow.moveTo(tip.x() - arrowHalfWidth, base);
    arrow.lineTo(tip);
    arrow.lineTo(tip.x() + arrowHalfWidth, base);
    arrow.closeSubpath();
    return path.united(arrow);
}

void drawShadow(QPainter& painter, const QRectF& bubble)
{
    const int alpha = style::isDark() ? 9 : 5;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, alpha));
    for (int ring = 1; ring <= shadowRings; ++ring) {
        const QRectF grown = bubble.translated(0, shadowOffset).adjusted(-ring, -ring, ring, ring);
        painter.drawRoundedRect(grown, cornerRadius + ring, cornerRadius + ring);
    }
}

} // namespace

PopoverView::PopoverView(QWidget* content, QWidget& anchor, PopoverEdge preferredEdge)
    : QWidget(anchor.window()), m_content(content), m_anchor(&anchor)
{
    setFocusPolicy(Qt::NoFocus);
    m_content->setParent(this);
    place(preferredEdge);
    QApplication::instance()->installEventFilter(this);
    m_fade.setDuration(fadeDuration);
    QObject::connect(&m_fade, &QVariantAnimation::valueChanged, this,
                     [this](const QVariant& value) { setOpacity(value.toDouble()); });
    QObject::connect(&m_fade, &QVariantAnimation::finished, this, [this] {
        if (m_isClosed) {
            hide();
        }
    });
    if (style::animationsEnabled()) {
        fade(0, 1);
    }
    show();
    raise();
}

void PopoverView::fade(double from, double to)
{
    m_fade.stop();
    m_fade.setStartValue(from);
    m_fade.setEndValue(to);
    setOpacity(from);
    m_fade.start();
}

void PopoverView::setOpacity(double opacity)
{
    if (opacity >= 1) {
        setGraphicsEffect(nullptr);
        return;
    }
    auto* effect = qobject_cast<QGraphicsOpacityEffect*>(graphicsEffect());
    if (!effect) {
        effect = new QGraphicsOpacityEffect(this);
        setGraphicsEffect(effect);
    }
    effect->setOpacity(opacity);
}

double PopoverView::opacity() const
{
    const auto* effect = qobject_cast<QGraphicsOpacityEffect*>(graphicsEffect());
    return effect ? effect->opacity() : 1;
}

void PopoverView::place(PopoverEdge preferredEdge)
{
    const QRect anchorRect(m_anchor->mapTo(window(), QPoint(0, 0)), m_anchor->size());
    const QSize size = m_content->size();
    m_placement = placePopover({static_cast<double>(size.width()), static_cast<double>(size.height())},
                               toRect(anchorRect), toRect(window()->rect()), preferredEdge);
    const QPoint corner(qRound(m_placement.bubble.x), qRound(m_placement.bubble.y));
    setGeometry(QRect(corner, size).adjusted(-shadowMargin, -shadowMargin, shadowMargin, shadowMargin));
    m_content->move(shadowMargin, shadowMargin);
}

void PopoverView::close()
{
    if (std::exchange(m_isClosed, true)) {
        return;
    }
    QApplication::instance()->removeEventFilter(this);
    if (style::animationsEnabled() && isVisible()) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        fade(opacity(), 0);
    } else {
        hide();
        deleteLater();
    }
    if (const auto told = std::exchange(onClose, nullptr)) {
        told();
    }
}

bool PopoverView::eventFilter(QObject* watched, QEvent* event)
{
    const bool isPressing =
        event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick;
    const bool isPointing = isPressing || event->type() == QEvent::Wheel;
    const bool isPointingOutside =
        isPointing && isOutside(qobject_cast<QWidget*>(watched), *static_cast<QSinglePointEvent*>(event));
    const bool losesAnchor = event->type() == QEvent::Hide && watched == m_anchor;
    if (!isPointingOutside && !losesAnchor) {
        return false;
    }
    const bool isSwallowed =
        isPressing && isPointingOutside && static_cast<QWidget*>(watched)->window() == window();
    close();
    return isSwallowed;
}

bool PopoverView::isOutside(const QWidget* view, const QSinglePointEvent& event) const
{
    if (view == this) {
        // Only the shadow and the arrow lie there.
        return !m_content->geometry().contains(event.position().toPoint());
    }
    return view && !isAncestorOf(view);
}

void PopoverView::hideEvent(QHideEvent*)
{
    m_fade.stop();
    deleteLater();
    close();
}

void PopoverView::wheelEvent(QWheelEvent* event)
{
    // Else it would go on to the views outside, and close the popover from there.
    event->accept();
}

void PopoverView::mousePressEvent(QMouseEvent* event)
{
    // Between the buttons: neither a choice nor the beginning of a drag of the window.
    event->accept();
}

void PopoverView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bubble = m_content->geometry();
    const QPointF tip = QPointF(m_placement.arrowTip.x, m_placement.arrowTip.y) - QPointF(pos());
    drawShadow(painter, bubble);
    painter.setPen(QPen(style::separator(), 1));
    painter.setBrush(style::controlBackground());
    painter.drawPath(outline(bubble, tip, m_placement.edge));
}

} // namespace glimmerwick
