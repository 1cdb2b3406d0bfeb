#include "Views/LicenceTexts.h"

#include "Platform/Qt/Text.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <array>
#include <optional>

namespace glimmerwick {

namespace {

struct Component {
    const char* name;
    const char* licence;
};

constexpr std::array components{
    Component{"Glimmerwick", "MIT License"},
    Component{QT_TRANSLATE_NOOP("AboutWindow", "Emoji names and search words"),
              "MIT License, Unicode License v3"},
    Component{QT_TRANSLATE_NOOP("AboutWindow", "Emoji pictures"),
              "SIL Open Font License 1.1, Apache License 2.0"},
    Component{"Qt 6", "GNU LGPL 3.0"},
    Component{"ICU", "Unicode License v3"},
    Component{"HarfBuzz", "MIT License"},
    Component{"GLib", "GNU LGPL 2.1"},
    Component{"curl", "curl License"},
    Component{"Fontconfig", "MIT License"},
    Component{"XCB, xkbcommon", "MIT/X11 License"},
    Component{"JSON for Modern C++", "MIT License"},
    Component{"libsodium", "ISC License"},
};

constexpr int columnGap = 3;

/// Far more than the file has; what is larger is another file.
constexpr qint64 largestFile = 1024 * 1024;

QString translated(const char* source)
{
    return QCoreApplication::translate("AboutWindow", source);
}

QString componentList()
{
    qsizetype width = 0;
    for (const Component& component : components) {
        width = std::max(width, translated(component.name).size());
    }
    QString list;
    for (const Component& component : components) {
        list += translated(component.name).leftJustified(width + columnGap)
            + QString::fromLatin1(component.licence) + QLatin1Char('\n');
    }
    return list;
}

std::optional<QString> contentOf(const std::filesystem::path& path)
{
    QFile file(toQString(path.string()));
    if (!file.open(QFile::ReadOnly) || file.size() > largestFile) {
        return std::nullopt;
    }
    return QString::fromUtf8(file.readAll());
}

QString section(const QString& title)
{
    return QLatin1Char('\n') + title + QLatin1Char('\n') + QString(title.size(), QLatin1Char('='))
        + QLatin1String("\n\n");
}

} // namespace

QString licenceTexts(const std::filesystem::path& catalogueLicences)
{
    const QString data = contentOf(catalogueLicences)
                             .value_or(translated(QT_TRANSLATE_NOOP(
                                 "AboutWindow", "The licences of the catalogue's data could not be read.")));
    return componentList() + section(QStringLiteral("Glimmerwick")) + programLicence()
        + section(translated(QT_TRANSLATE_NOOP("AboutWindow", "Catalogue"))) + data;
}

QString programLicence()
{
    return QStringLiteral(R"(MIT License

Copyright (c) 2026 the Glimmerwick developers

Permission is hereby granted, free of charge, to any person obtaining a copy
of this software and associated documentation files (the "Software"), to deal
in the Software without restriction, including without limitation the rights
to use, copy, modify, merge, publish, distribute, sublicense, and/or sell
copies of the Software, and to permit persons to whom the Software is
furnished to do so, subject to the following conditions:

The above copyright notice and this permission notice shall be included in all
copies or substantial portions of the Software.

THE SOFTWARE IS PROVIDED "AS IS", WITHOUT WARRANTY OF ANY KIND, EXPRESS OR
IMPLIED, INCLUDING BUT NOT LIMITED TO THE WARRANTIES OF MERCHANTABILITY,
FITNESS FOR A PARTICULAR PURPOSE AND NONINFRINGEMENT. IN NO EVENT SHALL THE
AUTHORS OR COPYRIGHT HOLDERS BE LIABLE FOR ANY CLAIM, DAMAGES OR OTHER
LIABILITY, WHETHER IN AN ACTION OF CONTRACT, TORT OR OTHERWISE, ARISING FROM,
OUT OF OR IN CONNECTION WITH THE SOFTWARE OR THE USE OR OTHER DEALINGS IN THE
SOFTWARE.
)");
}

} // namespace glimmerwick
