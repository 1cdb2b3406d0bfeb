#include "Views/EmojiPixmapCache.h"

#include "Platform/Qt/Text.h"
#include "Views/Style.h"

#include <QByteArray>
#include <QCache>
#include <QCoreApplication>
#include <QPainter>

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr std::size_t sharedBytes = 16 * 1024 * 1024;

QByteArray makeKey(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    QByteArray key(text.data(), static_cast<qsizetype>(text.size()));
    // A widget cuts its ratio off at 1/65536, so that 1.1 comes from it as 1.09999 and from its screen
    // as 1.1.
    constexpr int ratioDigits = 3;
    key += '\0' + QByteArray::number(fontSize) + '/' + QByteArray::number(side) + '@'
        + QByteArray::number(devicePixelRatio, 'f', ratioDigits);
    return key;
}

QPixmap draw(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    QPixmap pixmap(QSize(side, side) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHints(QPainter::TextAntialiasing | QPainter::SmoothPixmapTransform);
    painter.setFont(style::emojiFont(fontSize));
    painter.setPen(style::label());
    painter.drawText(QRect(0, 0, side, side), Qt::AlignCenter | Qt::TextSingleLine, toQString(text));
    return pixmap;
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

QPixmap EmojiPixmapCache::pixmap(const std::string& text, int fontSize, int side, double devicePixelRatio)
{
    const QByteArray key = makeKey(text, fontSize, side, devicePixelRatio);
    if (const QPixmap* known = m_entries->cache.object(key)) {
        return *known;
    }
    QPixmap drawn = draw(text, fontSize, side, devicePixelRatio);
    ++m_drawCount;
    const qsizetype cost = std::max<qsizetype>(1, static_cast<qsizetype>(drawn.width()) * drawn.height() * 4);
    m_entries->cache.insert(key, new QPixmap(drawn), cost);
    return drawn;
}

std::size_t EmojiPixmapCache::bytes() const
{
    return static_cast<std::size_t>(m_entries->cache.totalCost());
}

void EmojiPixmapCache::clear()
{
    m_entries->cache.clear();
}

} // namespace glimmerwick
