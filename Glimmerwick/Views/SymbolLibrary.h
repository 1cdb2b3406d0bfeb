#pragma once

#include <QColor>
#include <QPixmap>
#include <QString>

#include <filesystem>
#include <string>

namespace glimmerwick {

/// The program's own symbols: outlines in files named by the symbol, drawn in any colour. Main thread.
class SymbolLibrary {
public:
    explicit SymbolLibrary(const std::filesystem::path& resourcesDirectory);

    /// The symbol's file; empty when there is none, and for a name that is no plain file name.
    QString path(const std::string& symbol) const;

    /// The symbol of a file in one colour. Pictures are remembered.
    static QPixmap pixmap(const QString& path, int size, const QColor& color, double devicePixelRatio);

private:
    std::filesystem::path m_folder;
};

} // namespace glimmerwick
