#include "Platform/Qt/Text.h"

namespace glimmerwick {

QString toQString(std::string_view utf8)
{
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

std::string toUtf8(const QString& text)
{
    return text.toStdString();
}

} // namespace glimmerwick
