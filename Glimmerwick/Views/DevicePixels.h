#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>

class QPainter;

/// Drawing that lies on whole pixels of the device, whatever fraction of one a point is. Main thread.
namespace glimmerwick::devicePixels {

/// So many pixels does the length, in the painter's units, come to; at least one.
int count(const QPainter& painter, double length);

/// Draws the picture pixel for pixel, whatever ratio it claims, as near to the middle of the rectangle as
/// whole pixels allow. The rectangle is in the painter's units.
void drawCentred(QPainter& painter, const QRectF& rect, const QPixmap& pixmap);

/// A rounded rectangle with a border inside it, a point wide in whole pixels. The fill goes on beneath the
/// border, which may be translucent.
void drawFramed(QPainter& painter, const QRectF& rect, double radius, const QColor& fill,
                const QColor& border);

} // namespace glimmerwick::devicePixels
