#include "Views/DevicePixels.h"

#include <QPainter>
#include <QPainterPath>
#include <QTransform>

#include <algorithm>

namespace glimmerwick::devicePixels {

int count(const QPainter& painter, double length)
{
    return std::max(1, qRound(length * painter.deviceTransform().m11()));
}

void drawCentred(QPainter& painter, const QRectF& rect, const QPixmap& pixmap)
{
    const QTransform toDevice = painter.deviceTransform();
    const QPointF centre = toDevice.map(rect.center());
    const QSizeF size = pixmap.size();
    const QTransform wanted = QTransform::fromTranslate(qRound(centre.x() - size.width() / 2),
                                                        qRound(centre.y() - size.height() / 2));
    painter.save();
    // Below the world's transform lies the device's own, which stays.
    painter.setWorldTransform(wanted * toDevice.inverted() * painter.worldTransform());
    painter.drawPixmap(QRectF(QPointF(), size), pixmap, QRectF(QPointF(), size));
    painter.restore();
}

void drawFramed(QPainter& painter, const QRectF& rect, double radius, const QColor& fill,
                const QColor& border)
{
    QPainterPath shape;
    shape.addRoundedRect(rect, radius, radius);
    painter.fillPath(shape, fill);
    const double width = count(painter, 1) / painter.deviceTransform().m11();
    // What lies within both outlines is left out.
    shape.addRoundedRect(rect.adjusted(width, width, -width, -width), radius - width, radius - width);
    painter.fillPath(shape, border);
}

} // namespace glimmerwick::devicePixels
