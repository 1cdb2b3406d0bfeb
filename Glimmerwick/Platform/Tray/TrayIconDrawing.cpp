#include "Platform/Tray/TrayIconDrawing.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>
#include <QtEndian>

#include <vector>

namespace glimmerwick::trayIconDrawing {

namespace {

// The grey that differs from black as much as from white: nothing tells which of them the panel is.
const QColor visibleOnAnyPanel(0x75, 0x75, 0x75);

std::vector<QImage> images(const std::filesystem::path& drawing)
{
    QSvgRenderer renderer(QFile::decodeName(drawing.c_str()));
    std::vector<QImage> images;
    for (const int pixels : {16, 22, 24, 32, 48, 64}) {
        QImage image(pixels, pixels, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        renderer.render(&painter, QRectF(image.rect()));
        painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
        painter.fillRect(image.rect(), visibleOnAnyPanel);
        painter.end();
        images.push_back(image);
    }
    return images;
}

} // namespace

QIcon icon(const std::filesystem::path& drawing)
{
    QIcon icon;
    for (const QImage& image : images(drawing)) {
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

QList<bus::Picture> pictures(const std::filesystem::path& drawing)
{
    QList<bus::Picture> pictures;
    for (const QImage& image : images(drawing)) {
        const auto pixels = image.sizeInBytes();
        QByteArray bytes(pixels, Qt::Uninitialized);
        constexpr int bytesOfPixel = 4;
        qToBigEndian<quint32>(image.constBits(), pixels / bytesOfPixel, bytes.data());
        pictures << bus::Picture{image.width(), image.height(), bytes};
    }
    return pictures;
}

} // namespace glimmerwick::trayIconDrawing
