#include "Platform/Qt/QtImageCodec.h"

#include "Platform/PictureLimits.h"
#include "Platform/Qt/Text.h"

#include <QBuffer>
#include <QFont>
#include <QFontDatabase>
#include <QFontInfo>
#include <QFontMetricsF>
#include <QImage>
#include <QImageReader>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

namespace glimmerwick {

namespace {

/// Larger letters are measured at this size and scaled; nobody draws them.
constexpr double largestFontSize = 2048;
constexpr std::int64_t mostDrawnPixels = 16 * 1024 * 1024;

bool isDrawable(double pointSize)
{
    return std::isfinite(pointSize) && pointSize > 0;
}

double realFontSize(double pointSize)
{
    return std::min(pointSize, largestFontSize);
}

int pixelSize(double pointSize)
{
    return std::max(1, static_cast<int>(std::lround(realFontSize(pointSize))));
}

/// Joiners and selectors shape their neighbours and need no glyph of their own.
bool needsGlyph(char32_t character)
{
    constexpr char32_t zeroWidthJoiner = 0x200d;
    const bool isVariationSelector = character >= 0xfe00 && character <= 0xfe0f;
    const bool isTag = character >= 0xe0020 && character <= 0xe007f;
    return character != zeroWidthJoiner && !isVariationSelector && !isTag;
}

/// Colour emoji fonts hold digits too, as parts of key caps; plain digits are no emoji.
bool consistsOfEmoji(const QString& text, const QFont& emojiFont)
{
    const QFontMetricsF metrics(emojiFont);
    bool hasMoreThanAscii = false;
    for (const char32_t character : text.toStdU32String()) {
        if (needsGlyph(character) && !metrics.inFontUcs4(character)) {
            return false;
        }
        hasMoreThanAscii = hasMoreThanAscii || character > 0x7f;
    }
    return hasMoreThanAscii;
}

QFont fontFor(const QString& text, double pointSize, const std::optional<std::string>& emojiFamily)
{
    QFont systemFont = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    systemFont.setPixelSize(pixelSize(pointSize));
    if (!emojiFamily) {
        return systemFont;
    }
    QFont emojiFont(toQString(*emojiFamily));
    emojiFont.setPixelSize(pixelSize(pointSize));
    // With merging, Qt 6.4 takes sequences apart wherever a variation selector stands inside.
    emojiFont.setStyleStrategy(QFont::NoFontMerging);
    if (consistsOfEmoji(text, emojiFont)) {
        return emojiFont;
    }
    // The real family behind a generic name such as "Sans Serif", which no font carries: the emoji font, next
    // in the list, would take even the letters and digits.
    systemFont.setFamilies({QFontInfo(systemFont).family(), emojiFont.family()});
    return systemFont;
}

bool canBeDrawn(int width, int height)
{
    return width > 0 && height > 0 && std::int64_t{width} * height <= mostDrawnPixels;
}

} // namespace

QtImageCodec::QtImageCodec(std::optional<std::string> colourEmojiFontFamily)
    : m_colourEmojiFontFamily(std::move(colourEmojiFontFamily))
{
}

bool QtImageCodec::isDecodableImage(std::string_view bytes)
{
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())
        || !pictureLimits::allowsContents(bytes)) {
        return false;
    }
    QByteArray data = QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size()));
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    // The format first: a reader of another one may unpack the whole file to tell its size.
    if (!pictureLimits::allowsFormat(reader.format().toStdString())) {
        return false;
    }
    const QSize size = reader.size();
    return pictureLimits::allowsSize(size.width(), size.height()) && !reader.read().isNull();
}

TextExtent QtImageCodec::measureText(std::string_view text, double pointSize)
{
    const QString shown = toQString(text);
    if (!isDrawable(pointSize) || shown.isEmpty()) {
        return {};
    }
    const QFontMetricsF metrics(fontFor(shown, pointSize, m_colourEmojiFontFamily));
    double width = 0;
    const QStringList lines = shown.split(QLatin1Char('\n'));
    for (const QString& line : lines) {
        width = std::max(width, metrics.horizontalAdvance(line));
    }
    const double scale = pointSize / realFontSize(pointSize);
    return {width * scale, metrics.lineSpacing() * static_cast<double>(lines.size()) * scale};
}

Image QtImageCodec::drawText(std::string_view text, double pointSize, int width, int height)
{
    if (!canBeDrawn(width, height)) {
        return {};
    }
    QImage canvas(width, height, QImage::Format_ARGB32_Premultiplied);
    canvas.fill(Qt::transparent);
    const QString shown = toQString(text);
    if (isDrawable(pointSize)) {
        QPainter painter(&canvas);
        painter.setFont(fontFor(shown, pointSize, m_colourEmojiFontFamily));
        painter.drawText(canvas.rect(), Qt::AlignLeft | Qt::AlignTop | Qt::TextDontClip, shown);
    }

    Image image{width, height, std::vector<std::uint32_t>(static_cast<std::size_t>(width) * height)};
    const std::size_t rowSize = static_cast<std::size_t>(width) * sizeof(std::uint32_t);
    for (int row = 0; row < height; ++row) {
        std::memcpy(image.pixels.data() + static_cast<std::size_t>(row) * width, canvas.constScanLine(row),
                    rowSize);
    }
    return image;
}

} // namespace glimmerwick
