#pragma once

#include "Contract/WaylandClients.h"

#include <QImage>
#include <QRect>

#include <algorithm>
#include <string>

namespace glimmerwick::contract {

/// What an output shows, in its own pixels.
inline QImage screenshot(const std::string& output)
{
    const auto bytes = outputOf("grim -t ppm -o " + output + " -");
    return bytes ? QImage::fromData(QByteArray::fromStdString(*bytes), "PPM") : QImage();
}

/// The smallest rectangle with everything in which two pictures differ; empty when they do not, and when
/// their sizes differ.
inline QRect difference(const QImage& first, const QImage& second)
{
    QRect found;
    if (first.isNull() || first.size() != second.size()) {
        return found;
    }
    for (int y = 0; y < first.height(); ++y) {
        for (int x = 0; x < first.width(); ++x) {
            if (first.pixel(x, y) != second.pixel(x, y)) {
                found |= QRect(x, y, 1, 1);
            }
        }
    }
    return found;
}

} // namespace glimmerwick::contract
