#include "Views/SymbolLibrary.h"

#include "Platform/Qt/Text.h"

#include <QFileInfo>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

namespace glimmerwick {

namespace {

QPixmap draw(const QString& path, int size, const QColor& color, double devicePixelRatio)
{
    QPixmap pixmap(QSize(size, size) * devicePixelRatio);
    pixmap.setDevicePixelRatio(devicePixelRatio);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(path);
    QPainter painter(&pixmap);
    const QRectF bounds(0, 0, size, size);
    renderer.render(&painter, bounds);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(bounds, color);
    return pixmap;
}

} // namespace

SymbolLibrary::SymbolLibrary(const std::filesystem::path& resourcesDirectory)
    : m_folder(resourcesDirectory / "symbols")
{
}

QString SymbolLibrary::path(const std::string& symbol) const
{
    // The name comes from the catalogue, which came over the network.
    if (symbol.empty() || symbol.find_first_of("/\\") != std::string::npos
        || symbol.find('\0') != std::string::npos) {
        return {};
    }
    const QString path = toQString((m_folder / (symbol + ".svg")).string());
    return QFileInfo(path).isFile() ? path : QString();
}

QPixmap SymbolLibrary::pixmap(const QString& path, int size, const QColor& color, double devicePixelRatio)
{
    const QString key = QStringLiteral("symbol %1 %2 %3 %4")
                            .arg(path)
                            .arg(size)
                            .arg(color.name(QColor::HexArgb))
                            .arg(devicePixelRatio);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = draw(path, size, color, devicePixelRatio);
        QPixmapCache::insert(key, pixmap);
    }
    return pixmap;
}

} // namespace glimmerwick
