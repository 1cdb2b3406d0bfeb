#pragma once

#include <QApplication>
#include <QWidget>
#include <QWindow>

#include <qpa/qwindowsysteminterface.h>

namespace glimmerwick::tests {

/// Turns the wheel by a notch at the place in the window, as if the window system told of it: what is sent to
/// a view otherwise does not go on to its parents.
inline void turnWheel(QWidget& window, QPointF place)
{
    const double ratio = window.devicePixelRatioF();
    QWindowSystemInterface::handleWheelEvent(window.windowHandle(), place * ratio,
                                             window.mapToGlobal(place) * ratio, QPoint(0, -20),
                                             QPoint(0, -120));
    QApplication::processEvents();
}

} // namespace glimmerwick::tests
