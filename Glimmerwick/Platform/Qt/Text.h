#pragma once

#include <QString>

#include <string>
#include <string_view>

namespace glimmerwick {

/// The one place where the core's UTF-8 meets Qt's UTF-16. Ill-formed input becomes U+FFFD.
QString toQString(std::string_view utf8);
std::string toUtf8(const QString& text);

} // namespace glimmerwick
