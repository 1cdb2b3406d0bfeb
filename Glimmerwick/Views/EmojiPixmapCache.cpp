#include "Views/EmojiPixmapCache.h"

#include "Platform/GlyphPictures.h"
#include "Platform/PictureStore.h"
#include "Platform/Qt/Text.h"
#include "Views/Style.h"

#include <QByteArray>
#include <QCache>
#include <QCoreApplication>
#include <QPainter>
#include <QRawFont>
#include <private/qfontengine_p.h>
#include <private/qrawfont_p.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::size_t sharedBytes = 4 * 1024 * 1024;

/// A widget cuts its ratio off at 1/65536, so that 1.1 comes from it as 1.09999 and from its screen as 1.1.
constexpr int ratioDigits = 3;

QByteArray makeDetail(int fontSize, int side, double devicePixelRatio)
{
    return QByteArray::number(fontSize) + '/' + QByteArray::number(side) + '@'
        + QByteArray::number(devicePixelRatio, 'f', ratioDigits);
}

QByteArray makeKey(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    return QByteArray(text.data(), static_cast<qsizetype>(text.size())) + '\0'
        + makeDetail(fontSize, side, devicePixelRatio);
}

/// Of the ratio as the detail has it: else one detail could stand for two sizes.
QSize sizeInPixels(int side, double devicePixelRatio)
{
    constexpr double thousand = 1000;
    return QSize(side, side) * (std::round(devicePixelRatio * thousand) / thousand);
}

/// The picture's place, in pixels, when its line is in the middle of the square. Null when the square would
/// show little of it, or nothing.
QRect placeOf(const GlyphPicture& picture, double lineHeight, double squareSide)
{
    const QPointF line = QPointF(squareSide - picture.lineWidth * lineHeight, squareSide - lineHeight) / 2;
    const QRectF place(line + QPointF(picture.left, picture.top) * lineHeight,
                       QSizeF(picture.width, picture.height) * lineHeight);
    const QRectF surroundings(-squareSide, -squareSide, 3 * squareSide, 3 * squareSide);
    return place.isValid() && surroundings.contains(place)
        ? QRect(place.topLeft().toPoint(), place.size().toSize())
        : QRect();
}

/// Whether there was something to draw.
bool drawPicture(QPainter& painter, const GlyphPicture& picture, int fontSize, int side, double ratio)
{
    const QRect place = placeOf(picture, fontSize * ratio, side * ratio);
    if (place.isEmpty()) {
        return false;
    }
    const QByteArrayView png(picture.png.data(), static_cast<qsizetype>(picture.png.size()));
    const QImage whole = QImage::fromData(png, "PNG");
    if (whole.isNull()) {
        return false;
    }
    // All pixels of the picture count, and it begins and ends with a pixel of the screen's: a painter that
    // scales leaves pixels out.
    QImage scaled = whole.convertToFormat(QImage::Format_ARGB32_Premultiplied)
                        .scaled(place.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    scaled.setDevicePixelRatio(ratio);
    painter.drawImage(QPointF(place.topLeft()) / ratio, scaled);
    return true;
}

std::span<std::byte> pixels(QImage& image)
{
    return std::as_writable_bytes(std::span(image.bits(), static_cast<std::size_t>(image.sizeInBytes())));
}

} // namespace

struct EmojiPixmapCache::Entries {
    QCache<QByteArray, QPixmap> cache;
};

EmojiPixmapCache& EmojiPixmapCache::shared()
{
    static EmojiPixmapCache instance(sharedBytes);
    // Pictures must not outlive the application object.
    static const bool isClearedAtTheEnd = [] {
        qAddPostRoutine([] { shared().clear(); });
        return true;
    }();
    static_cast<void>(isClearedAtTheEnd);
    return instance;
}

EmojiPixmapCache::EmojiPixmapCache(std::size_t maximumBytes) : m_entries(std::make_unique<Entries>())
{
    m_entries->cache.setMaxCost(static_cast<qsizetype>(maximumBytes));
}

EmojiPixmapCache::~EmojiPixmapCache() = default;

void EmojiPixmapCache::setGlyphPictures(GlyphPictures* pictures)
{
    m_glyphPictures = pictures;
}

void EmojiPixmapCache::setStore(PictureStore* store, std::string maker)
{
    m_store = store;
    m_maker = std::move(maker);
}

QPixmap EmojiPixmapCache::pixmap(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    const QByteArray key = makeKey(text, fontSize, side, devicePixelRatio);
    if (const QPixmap* known = m_entries->cache.object(key)) {
        return *known;
    }
    QImage image = stored(text, fontSize, side, devicePixelRatio);
    if (image.isNull()) {
        image = draw(text, fontSize, side, devicePixelRatio);
        if (m_store) {
            keep(image, text, kind(fontSize, side, devicePixelRatio));
        }
    }
    image.setDevicePixelRatio(devicePixelRatio);
    const auto cost = std::max<qsizetype>(1, image.sizeInBytes());
    QPixmap pixmap = QPixmap::fromImage(std::move(image), Qt::NoFormatConversion);
    m_entries->cache.insert(key, new QPixmap(pixmap), cost);
    return pixmap;
}

bool EmojiPixmapCache::isStored(const std::string& text, int fontSize, int side,
                                double devicePixelRatio) const
{
    return m_store && m_store->contains(kind(fontSize, side, devicePixelRatio), text);
}

bool EmojiPixmapCache::store(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    const PictureKind kept = kind(fontSize, side, devicePixelRatio);
    if (!m_store || m_store->contains(kept, text)) {
        return false;
    }
    keep(draw(text, fontSize, side, devicePixelRatio), text, kept);
    return true;
}

QImage EmojiPixmapCache::draw(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    const QSize size = sizeInPixels(side, devicePixelRatio);
    if (m_canvas.size() != size) {
        m_canvas = QImage(size, QImage::Format_ARGB32_Premultiplied);
    }
    m_canvas.setDevicePixelRatio(devicePixelRatio);
    m_canvas.fill(Qt::transparent);
    QPainter painter(&m_canvas);
    const auto picture = m_glyphPictures ? m_glyphPictures->glyphPicture(text) : std::nullopt;
    if (!picture || !drawPicture(painter, *picture, fontSize, side, devicePixelRatio)) {
        drawText(painter, text, fontSize, side);
    }
    painter.end();
    ++m_drawCount;
    return m_canvas.copy();
}

void EmojiPixmapCache::drawText(QPainter& painter, const std::string& text, int fontSize, int side)
{
    painter.setRenderHints(QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    painter.setFont(style::emojiFont(fontSize));
    painter.setPen(style::label());
    painter.drawText(QRect(0, 0, side, side), Qt::AlignCenter | Qt::TextSingleLine, toQString(text));
    m_fontSizes.insert(fontSize);
}

PictureKind EmojiPixmapCache::kind(int fontSize, int side, double devicePixelRatio) const
{
    constexpr std::size_t bytesPerPixel = 4;
    const QSize size = sizeInPixels(side, devicePixelRatio);
    return {m_maker, makeDetail(fontSize, side, devicePixelRatio).toStdString(),
            bytesPerPixel * static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height())};
}

/// Null when there is none.
QImage EmojiPixmapCache::stored(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    if (!m_store) {
        return {};
    }
    QImage image(sizeInPixels(side, devicePixelRatio), QImage::Format_ARGB32_Premultiplied);
    return m_store->read(kind(fontSize, side, devicePixelRatio), text, pixels(image)) ? image : QImage();
}

void EmojiPixmapCache::keep(const QImage& image, const std::string& text, const PictureKind& kind)
{
    const auto bytes =
        std::as_bytes(std::span(image.constBits(), static_cast<std::size_t>(image.sizeInBytes())));
    m_store->write(kind, text, {bytes.begin(), bytes.end()});
}

std::size_t EmojiPixmapCache::bytes() const
{
    return static_cast<std::size_t>(m_entries->cache.totalCost());
}

void EmojiPixmapCache::clear()
{
    m_entries->cache.clear();
}

void EmojiPixmapCache::forgetGlyphs()
{
    for (const int fontSize : std::exchange(m_fontSizes, {})) {
        const QRawFont font = QRawFont::fromFont(style::emojiFont(fontSize));
        if (font.isValid()) {
            // What is painted by the processor is kept under no context.
            QRawFontPrivate::get(font)->fontEngine->clearGlyphCache(nullptr);
        }
    }
}

} // namespace glimmerwick
