#include "Views/ProgramIcon.h"

#include "Views/Accessibility.h"
#include "Views/DevicePixels.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>

namespace glimmerwick {

namespace {

/// The drawing's coordinates, like those of the icon that is installed.
constexpr double canvas = 128;

QString themeName()
{
    return QStringLiteral("com.glimmerwick.Glimmerwick");
}

QPainterPath flame()
{
    QPainterPath path(QPointF(69, 16));
    path.cubicTo(70, 34, 98, 44, 98, 72);
    path.cubicTo(98, 91, 83, 105, 64, 105);
    path.cubicTo(45, 105, 30, 91, 30, 72);
    path.cubicTo(30, 59, 37, 51, 43, 43);
    path.cubicTo(45, 49, 48, 53, 53, 54);
    path.cubicTo(50, 39, 56, 25, 69, 16);
    return path;
}

void drawFace(QPainter& painter)
{
    const QColor ink(58, 35, 104);
    painter.setBrush(ink);
    painter.drawEllipse(QPointF(51.5, 72), 5, 7);
    painter.drawEllipse(QPointF(76.5, 72), 5, 7);
    QPainterPath smile(QPointF(50, 86));
    smile.cubicTo(55, 95, 73, 95, 78, 86);
    painter.setPen(QPen(ink, 5, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(smile);
}

QPixmap drawn(int pixels)
{
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(pixels / canvas, pixels / canvas);
    painter.setPen(Qt::NoPen);
    QLinearGradient panel(0, 8, 0, 120);
    panel.setColorAt(0, QColor(111, 91, 214));
    panel.setColorAt(1, QColor(59, 45, 143));
    painter.setBrush(panel);
    painter.drawRoundedRect(QRectF(8, 8, 112, 112), 30, 30);
    QLinearGradient fire(0, 16, 0, 106);
    fire.setColorAt(0, QColor(255, 143, 63));
    fire.setColorAt(0.45, QColor(255, 194, 61));
    fire.setColorAt(1, QColor(255, 229, 138));
    painter.setBrush(fire);
    painter.drawPath(flame());
    drawFace(painter);
    return pixmap;
}

QPixmap picture(int pixels)
{
    const QPixmap themed = QIcon::fromTheme(themeName()).pixmap(QSize(pixels, pixels), 1.0);
    return themed.isNull() ? drawn(pixels) : themed;
}

} // namespace

ProgramIcon::ProgramIcon(int side, QWidget* parent) : QWidget(parent), m_side(side)
{
    accessibility::setRole(*this, QAccessible::Graphic);
    setAccessibleName(QStringLiteral("Glimmerwick"));
    setFixedSize(side, side);
}

QIcon ProgramIcon::icon()
{
    if (QIcon::hasThemeIcon(themeName())) {
        return QIcon::fromTheme(themeName());
    }
    QIcon icon;
    for (const int pixels : {16, 24, 32, 48, 64, 128}) {
        icon.addPixmap(drawn(pixels));
    }
    return icon;
}

void ProgramIcon::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    devicePixels::drawCentred(painter, rect(), picture(devicePixels::count(painter, m_side)));
}

} // namespace glimmerwick
