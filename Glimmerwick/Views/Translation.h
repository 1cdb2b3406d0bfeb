#pragma once

#include <QLocale>

#include <filesystem>

namespace glimmerwick {

/// Has the program's texts, which are English in the source, and the toolkit's shown in the locale's language
/// where there is a translation: "glimmerwick_<language>.qm" in the folder, and what the toolkit brings
/// along. The layout's direction follows the toolkit's. To be called once, behind the application object's
/// making and ahead of the first view's. Main thread.
void installTranslations(const std::filesystem::path& folder, const QLocale& locale = QLocale());

} // namespace glimmerwick
