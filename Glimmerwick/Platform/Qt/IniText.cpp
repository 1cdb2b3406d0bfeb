#include "Platform/Qt/IniText.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

bool isPlain(char16_t character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z')
        || (character >= '0' && character <= '9') || character == '_' || character == '-' || character == '.';
}

QByteArray hexadecimal(char16_t character, int digits)
{
    return QByteArray::number(character, 16).toUpper().rightJustified(digits, '0');
}

QByteArray escapedKey(const QString& key)
{
    constexpr char16_t lastOfLatin1 = 0xff;
    QByteArray escaped;
    for (const QChar unit : key) {
        const char16_t character = unit.unicode();
        if (character == '/') {
            escaped += '\\';
        } else if (isPlain(character)) {
            escaped += static_cast<char>(character);
        } else if (character <= lastOfLatin1) {
            escaped += '%' + hexadecimal(character, 2);
        } else {
            escaped += "%U" + hexadecimal(character, 4);
        }
    }
    return escaped;
}

QByteArray escapedValue(const QString& value)
{
    if (std::all_of(value.begin(), value.end(), [](QChar unit) { return isPlain(unit.unicode()); })) {
        return value.toLatin1();
    }
    QByteArray escaped("\"");
    for (const char byte : value.toUtf8()) {
        switch (byte) {
        case '"':
        case '\\':
            escaped += '\\';
            escaped += byte;
            break;
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        case '\t':
            escaped += "\\t";
            break;
        default:
            escaped += byte;
        }
    }
    return escaped + '"';
}

/// Keys without a section have one that is called so; one that is really called so, however it writes its
/// letters, is marked.
QByteArray headOf(const QByteArray& section)
{
    if (section.isEmpty()) {
        return "[General]\n";
    }
    return (section.toLower() == "general" ? "[%" : "[") + section + "]\n";
}

} // namespace

QByteArray iniText(const QMap<QString, QString>& values)
{
    QMap<QByteArray, QByteArray> sections;
    for (auto value = values.begin(); value != values.end(); ++value) {
        const auto slash = value.key().indexOf('/');
        const QByteArray section = escapedKey(value.key().left(std::max<qsizetype>(slash, 0)));
        sections[section] +=
            escapedKey(value.key().mid(slash + 1)) + '=' + escapedValue(value.value()) + '\n';
    }
    QByteArray text;
    for (auto section = sections.begin(); section != sections.end(); ++section) {
        text += (text.isEmpty() ? "" : "\n") + headOf(section.key()) + section.value();
    }
    return text;
}

} // namespace glimmerwick
