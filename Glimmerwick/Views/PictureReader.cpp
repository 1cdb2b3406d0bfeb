#include "Views/PictureReader.h"

#include "Platform/PictureLimits.h"

#include <QBuffer>
#include <QByteArray>
#include <QImageReader>

#include <cstddef>

namespace glimmerwick::picture {

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
    if (!pictureLimits::allowsContents(bytes)) {
        return {};
    }
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    // The format first: a reader of another one may unpack the whole file to tell its size.
    if (!pictureLimits::allowsFormat(reader.format().toStdString())) {
        return {};
    }
    if (const QSize size = reader.size(); !pictureLimits::allowsSize(size.width(), size.height())) {
        return {};
    }
    const QImage image = reader.read();
    // An icon's picture may be larger than its directory says.
    if (image.isNull() || (image.width() <= wanted.width() && image.height() <= wanted.height())) {
        return image;
    }
    return image.scaled(wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace glimmerwick::picture
