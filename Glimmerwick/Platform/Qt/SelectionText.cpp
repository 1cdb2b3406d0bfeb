#include "Platform/Qt/SelectionText.h"

#include "Platform/Qt/Text.h"

#include <QStringDecoder>

#include <algorithm>

namespace glimmerwick {

namespace {

std::string fromLatin1(const std::string& bytes)
{
    return toUtf8(QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size())));
}

bool isUtf8(const std::string& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded =
        decoder.decode(QByteArrayView(bytes.data(), static_cast<qsizetype>(bytes.size())));
    return !decoder.hasError();
}

/// Compound text is Latin-1 until a sequence that begins with one of these switches to another set.
bool switchesCharacterSet(const std::string& bytes)
{
    constexpr char escape = '\x1b';
    constexpr char controlSequence = '\x9b';
    return std::ranges::any_of(bytes, [](char byte) { return byte == escape || byte == controlSequence; });
}

} // namespace

std::optional<std::string> selectionText(std::string bytes, std::string_view encoding)
{
    if (encoding == "STRING") {
        return fromLatin1(bytes);
    }
    if (encoding == "COMPOUND_TEXT") {
        return switchesCharacterSet(bytes) ? std::nullopt : std::optional(fromLatin1(bytes));
    }
    // Taken as it is, ill-formed or not: what is read is put back, and has to be the same then.
    if (encoding == "UTF8_STRING" || encoding == "text/plain;charset=utf-8" || isUtf8(bytes)) {
        return bytes;
    }
    // This one names no encoding, and where it is not UTF-8 it is nearly always Latin-1.
    return encoding == "text/plain" ? std::optional(fromLatin1(bytes)) : std::nullopt;
}

} // namespace glimmerwick
