#include "Views/PictureReader.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>

#include <cstddef>

namespace glimmerwick::picture {

namespace {

constexpr int maximumSide = 4096;

} // namespace

QImage fromImage(const Image& image)
{
    if (image.width <= 0 || image.height <= 0
        || image.pixels.size()
            != static_cast<std::size_t>(image.width) * static_cast<std::size_t>(image.height)) {
        return {};
    }
    const auto* bytes = reinterpret_cast<const uchar*>(image.pixels.data());
    return QImage(bytes, image.width, image.height, image.width * 4, QImage::Format_ARGB32_Premultiplied)
        .copy();
}

QImage decode(std::string_view bytes, QSize wanted)
{
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize size = reader.size();
    if (size.isEmpty() || size.width() > maximumSide || size.height() > maximumSide) {
        return {};
    }
    const QImage image = reader.read();
    if (image.isNull() || (size.width() <= wanted.width() && size.height() <= wanted.height())) {
        return image;
    }
    return image.scaled(wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace glimmerwick::picture
