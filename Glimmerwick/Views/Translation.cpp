#include "Views/Translation.h"

#include "Platform/Qt/Text.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QTranslator>

#include <memory>

namespace glimmerwick {

namespace {

void install(const QLocale& locale, const QString& name, const QString& folder)
{
    auto translator = std::make_unique<QTranslator>(QCoreApplication::instance());
    if (translator->load(locale, name, QStringLiteral("_"), folder)
        && QCoreApplication::installTranslator(translator.get())) {
        // Its parent, the application object, has it from here on.
        translator.release();
    }
}

} // namespace

void installTranslations(const std::filesystem::path& folder, const QLocale& locale)
{
    install(locale, QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    install(locale, QStringLiteral("glimmerwick"), toQString(folder.string()));
}

} // namespace glimmerwick
