#include "Views/ProgressBar.h"

#include "Views/Style.h"

#include <QEvent>
#include <QPainter>

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr int thickness = 6;
constexpr int usualWidth = 200;
constexpr double busyPart = 0.3;
constexpr int motionDuration = 1600;

} // namespace

ProgressBar::ProgressBar(const QString& accessibleName, QWidget* parent) : QProgressBar(parent)
{
    setAccessibleName(accessibleName);
    setTextVisible(false);
    setRange(0, 0);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_motion.setStartValue(0.0);
    m_motion.setEndValue(1.0);
    m_motion.setDuration(motionDuration);
    m_motion.setLoopCount(-1);
    QObject::connect(&m_motion, &QVariantAnimation::valueChanged, this, [this] { update(); });
}

void ProgressBar::setProgress(std::uint64_t done, std::uint64_t total)
{
    setRange(0, total == 0 ? 0 : whole);
    if (total > 0) {
        const double part = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
        setValue(static_cast<int>(part * whole));
    }
    animateIfBusy();
}

QSize ProgressBar::sizeHint() const
{
    return {usualWidth, thickness};
}

void ProgressBar::animateIfBusy()
{
    const bool isMoving = isBusy() && isVisible() && style::animationsEnabled();
    if (isMoving && m_motion.state() != QAbstractAnimation::Running) {
        m_motion.start();
    } else if (!isMoving) {
        m_motion.stop();
    }
}

void ProgressBar::showEvent(QShowEvent* event)
{
    QProgressBar::showEvent(event);
    animateIfBusy();
}

void ProgressBar::hideEvent(QHideEvent* event)
{
    QProgressBar::hideEvent(event);
    m_motion.stop();
}

// Also told when the desktop asks for less motion.
void ProgressBar::changeEvent(QEvent* event)
{
    QProgressBar::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        animateIfBusy();
    }
}

/// In points; while busy a piece that goes from one end to the other and back.
QRectF ProgressBar::filledPart() const
{
    QRectF part = rect();
    if (!isBusy()) {
        part.setWidth(width() * static_cast<double>(value()) / whole);
    } else {
        part.setWidth(width() * busyPart);
        const double there = m_motion.currentValue().toDouble();
        const double eased = style::easeInEaseOut().valueForProgress(there < 0.5 ? 2 * there : 2 - 2 * there);
        // Where nothing is to move, it rests in the middle, as far from done as from begun.
        const double place = m_motion.state() == QAbstractAnimation::Running ? eased : 0.5;
        part.moveLeft((width() - part.width()) * place);
    }
    if (layoutDirection() == Qt::RightToLeft) {
        part.moveRight(width() - part.left());
    }
    return part;
}

void ProgressBar::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(style::separator());
    constexpr double radius = thickness / 2.0;
    painter.drawRoundedRect(rect(), radius, radius);
    QRectF part = filledPart();
    if (part.width() > 0) {
        // Shorter than round ends, it would be drawn as a sliver with points.
        part.setWidth(std::max<double>(part.width(), thickness));
        painter.setBrush(style::accent());
        painter.drawRoundedRect(part, radius, radius);
    }
}

} // namespace glimmerwick
