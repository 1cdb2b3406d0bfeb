#pragma once

#include "Contract/WaylandClients.h"

#include <QImage>
#include <QRect>

#include <algorithm>
#include <string>

namespace glimmerwick::contract {

/// The two outputs of the desktop that the tests run in.
enum class Output { left, right };

/// What an output shows, in its own pixels.
inline QImage screenshot(Output output)
{
    const bool isLeft = output == Output::left;
    const std::string command = qgetenv("XDG_CURRENT_DESKTOP") == "KDE"
        ? std::string("/usr/bin/python3 " GLIMMERWICK_SOURCE_DIR "/Tests/EndToEnd/kwin_screenshot.py ")
            + (isLeft ? "Virtual-0" : "Virtual-1")
        : std::string("grim -t ppm -o ") + (isLeft ? "HEADLESS-1" : "HEADLESS-2") + " -";
    const auto bytes = outputOf(command);
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
