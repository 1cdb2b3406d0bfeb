#include "Views/SymbolLibrary.h"

#include "Platform/Qt/Text.h"
#include "Views/DevicePixels.h"

#include <QFileInfo>
#include <QIcon>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <array>
#include <string_view>

namespace glimmerwick {

namespace {

struct ThemeIcon {
    std::string_view symbol;
    const char* icon;
};

/// What catalogues may call by names that icon themes do not know. Those that the program draws itself are
/// not needed here.
constexpr std::array themeIcons{
    ThemeIcon{"airplane", "emoji-travel"},
    ThemeIcon{"bell", "preferences-system-notifications"},
    ThemeIcon{"calendar", "x-office-calendar"},
    ThemeIcon{"camera", "camera-photo"},
    ThemeIcon{"cloud", "weather-overcast"},
    ThemeIcon{"cup.and.saucer", "emoji-food"},
    ThemeIcon{"envelope", "mail-unread"},
    ThemeIcon{"gamecontroller", "input-gaming"},
    ThemeIcon{"gearshape", "emblem-system"},
    ThemeIcon{"hand.raised", "emoji-body"},
    ThemeIcon{"house", "user-home"},
    ThemeIcon{"keyboard", "input-keyboard"},
    ThemeIcon{"moon", "weather-clear-night"},
    ThemeIcon{"music.note", "audio-x-generic"},
    ThemeIcon{"number", "emoji-symbols"},
    ThemeIcon{"pawprint", "emoji-nature"},
    ThemeIcon{"person.2", "emoji-people"},
    ThemeIcon{"photo", "image-x-generic"},
    ThemeIcon{"sportscourt", "emoji-activities"},
    ThemeIcon{"star", "starred"},
    ThemeIcon{"sun.max", "weather-clear"},
    ThemeIcon{"wrench", "emoji-objects"},
};

bool isPlainFileName(const std::string& name)
{
    return !name.empty() && name.find_first_of("/\\") == std::string::npos
        && name.find('\0') == std::string::npos;
}

/// The theme's name for the symbol; empty when the theme has no such icon in one colour.
QString themeName(std::string name)
{
    constexpr std::string_view filled = ".fill";
    if (name.size() > filled.size() && name.ends_with(filled)) {
        name.resize(name.size() - filled.size());
    }
    const auto* known = std::find_if(themeIcons.begin(), themeIcons.end(),
                                     [&](const ThemeIcon& each) { return each.symbol == name; });
    const QString plain =
        known != themeIcons.end() ? QString::fromLatin1(known->icon) : toQString(name).replace('.', '-');
    const QString symbolic = plain + QStringLiteral("-symbolic");
    // A theme answers "heart-large" with its "heart", which then is neither what was meant nor one-coloured;
    // this asks for the very name.
    return QIcon::hasThemeIcon(symbolic) ? symbolic : QString();
}

QPixmap drawn(const Symbol& symbol, int pixels, const QColor& color)
{
    QPixmap pixmap(pixels, pixels);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    if (!symbol.path.isEmpty()) {
        QSvgRenderer(symbol.path).render(&painter, QRectF(pixmap.rect()));
    } else {
        QIcon::fromTheme(symbol.themeName).paint(&painter, pixmap.rect());
    }
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    return pixmap;
}

} // namespace

SymbolLibrary::SymbolLibrary(const std::filesystem::path& resourcesDirectory)
    : m_folder(resourcesDirectory / "symbols")
{
}

Symbol SymbolLibrary::symbol(const std::string& name) const
{
    // The name comes from the catalogue, which came over the network; the theme, too, would open a path.
    if (!isPlainFileName(name)) {
        return {};
    }
    const QString path = toQString((m_folder / (name + ".svg")).string());
    if (QFileInfo(path).isFile()) {
        return {path, {}};
    }
    return {{}, themeName(name)};
}

QPixmap SymbolLibrary::pixmap(const Symbol& symbol, int pixels, const QColor& color)
{
    const QString source =
        symbol.path.isEmpty() ? QIcon::themeName() + QLatin1Char('/') + symbol.themeName : symbol.path;
    const QString key =
        QStringLiteral("symbol %1 %2 %3").arg(pixels).arg(color.name(QColor::HexArgb), source);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        pixmap = drawn(symbol, pixels, color);
        QPixmapCache::insert(key, pixmap);
    }
    return pixmap;
}

void SymbolLibrary::draw(QPainter& painter, const QRectF& rect, const Symbol& symbol, const QColor& color)
{
    if (!symbol.isEmpty()) {
        const int pixels = devicePixels::count(painter, std::min(rect.width(), rect.height()));
        devicePixels::drawCentred(painter, rect, pixmap(symbol, pixels, color));
    }
}

} // namespace glimmerwick
