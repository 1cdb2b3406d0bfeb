#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>
#include <QString>

#include <filesystem>
#include <string>

class QPainter;

namespace glimmerwick {

/// A shape that is drawn in any colour. Found by a `SymbolLibrary`.
struct Symbol {
    /// The program's own file; empty for an icon of the desktop's theme.
    QString path;
    /// Empty for a file.
    QString themeName;

    bool isEmpty() const { return path.isEmpty() && themeName.isEmpty(); }
};

/// Symbols by name: the program's own outlines, and for what they lack the one-coloured icons of the
/// desktop's theme. Main thread.
class SymbolLibrary {
public:
    explicit SymbolLibrary(const std::filesystem::path& resourcesDirectory);

    /// Empty when there is none, and for a name that is no plain file name.
    Symbol symbol(const std::string& name) const;

    /// The symbol in one colour, in a square of so many device pixels. Pictures are remembered.
    static QPixmap pixmap(const Symbol& symbol, int pixels, const QColor& color);
    /// Draws it in the largest square amid the rectangle, on whole device pixels; nothing for an empty one.
    static void draw(QPainter& painter, const QRectF& rect, const Symbol& symbol, const QColor& color);

private:
    std::filesystem::path m_folder;
};

} // namespace glimmerwick
