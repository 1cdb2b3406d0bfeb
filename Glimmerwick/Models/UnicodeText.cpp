#include "Models/UnicodeText.h"

#include "Models/ClusterRules.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <unicode/brkiter.h>
#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf8.h>

namespace glimmerwick::unicode {

namespace {

constexpr std::string_view replacementCharacter = "\uFFFD";

/// A failure here is an ICU without its data: nothing that handles text could work.
void require(UErrorCode status)
{
    if (U_FAILURE(status)) {
        std::fprintf(stderr, "glimmerwick: ICU cannot be used: %s\n", u_errorName(status));
        std::abort();
    }
}

icu::StringPiece toPiece(std::string_view text)
{
    return {text.data(), static_cast<std::int32_t>(text.size())};
}

icu::UnicodeString toUtf16(std::string_view text)
{
    return icu::UnicodeString::fromUTF8(toPiece(text));
}

std::string toUtf8(const icu::UnicodeString& text)
{
    std::string bytes;
    text.toUTF8String(bytes);
    return bytes;
}

constexpr bool isAscii(char byte)
{
    return static_cast<unsigned char>(byte) < 0x80;
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return isAscii(byte); });
}

void append(std::string& text, char32_t scalar)
{
    std::array<char, U8_MAX_LENGTH> bytes{};
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(scalar));
    text.append(bytes.data(), length);
}

/// Calls `take` with each scalar in order, U+FFFD for what is none.
template <typename Take> void forEachScalar(std::string_view text, Take take)
{
    for (std::size_t index = 0; index < text.size();) {
        UChar32 scalar = 0;
        U8_NEXT_OR_FFFD(text, index, text.size(), scalar);
        take(static_cast<char32_t>(scalar));
    }
}

/// Setting an iterator up costs far more than a typical text, and it must not be shared between threads.
icu::BreakIterator& characterIterator()
{
    thread_local const std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> made(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        require(status);
        return made;
    }();
    return *iterator;
}

std::vector<std::string> clustersOfAnyScript(std::string_view text)
{
    const icu::UnicodeString whole = toUtf16(text);
    icu::BreakIterator& iterator = characterIterator();
    iterator.setText(whole);
    std::vector<std::string> clusters;
    std::int32_t begin = iterator.first();
    for (std::int32_t end = iterator.next(); end != icu::BreakIterator::DONE; end = iterator.next()) {
        clusters.push_back(toUtf8(whole.tempSubStringBetween(begin, end)));
        begin = end;
    }
    return clusters;
}

bool isWhiteSpace(UChar32 scalar)
{
    return u_isUWhiteSpace(scalar);
}

bool isControlOrLineBreak(UChar32 scalar)
{
    return (U_GET_GC_MASK(scalar) & (U_GC_CC_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) != 0;
}

void appendEscape(std::string& line, UChar32 scalar)
{
    switch (scalar) {
    case '\n':
        line += "\\n";
        return;
    case '\r':
        line += "\\r";
        return;
    case '\t':
        line += "\\t";
        return;
    default:
        break;
    }
    char digits[8];
    constexpr int hexadecimal = 16;
    const auto end = std::to_chars(std::begin(digits), std::end(digits), scalar, hexadecimal).ptr;
    line.append("\\u{").append(digits, end).append("}");
}

/// Bytes. Words are far shorter, and below it the time for marks out of order does not show.
constexpr std::size_t longText = 1024;

std::vector<UChar32> decomposedScalars(std::string_view text)
{
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* decomposer = icu::Normalizer2::getNFDInstance(status);
    require(status);
    std::vector<UChar32> scalars;
    icu::UnicodeString parts;
    for (std::size_t index = 0; index < text.size();) {
        UChar32 scalar = 0;
        U8_NEXT_OR_FFFD(text, index, text.size(), scalar);
        if (!decomposer->getDecomposition(scalar, parts)) {
            scalars.push_back(scalar);
            continue;
        }
        for (std::int32_t part = 0; part < parts.length(); part = parts.moveIndex32(part, 1)) {
            scalars.push_back(parts.char32At(part));
        }
    }
    return scalars;
}

/// An equivalent text whose marks stand in canonical order. Composing puts them in order one by one, each
/// past all that it follows: a megabyte of two kinds of marks by turns takes minutes.
icu::UnicodeString withMarksInOrder(std::string_view text)
{
    std::vector<UChar32> scalars = decomposedScalars(text);
    const auto isStarter = [](UChar32 scalar) { return u_getCombiningClass(scalar) == 0; };
    for (auto begin = scalars.begin(); begin != scalars.end();) {
        begin = std::find_if_not(begin, scalars.end(), isStarter);
        const auto end = std::find_if(begin, scalars.end(), isStarter);
        std::ranges::stable_sort(begin, end, {}, u_getCombiningClass);
        begin = end;
    }
    return icu::UnicodeString::fromUTF32(scalars.data(), static_cast<std::int32_t>(scalars.size()));
}

bool startsWithOneOf(std::string_view text, std::uint32_t categories)
{
    if (text.empty()) {
        return false;
    }
    std::size_t index = 0;
    UChar32 scalar = 0;
    U8_NEXT_OR_FFFD(text, index, text.size(), scalar);
    return (U_GET_GC_MASK(scalar) & categories) != 0;
}

} // namespace

bool isPlainAscii(std::string_view text)
{
    // The only cluster within ASCII is CR LF.
    return isAscii(text) && text.find('\r') == std::string_view::npos;
}

bool isWellFormed(std::string_view text)
{
    const std::size_t size = text.size();
    for (std::size_t index = 0; index < size;) {
        UChar32 scalar = 0;
        U8_NEXT(text, index, size, scalar);
        if (scalar < 0) {
            return false;
        }
    }
    return true;
}

std::string lowercased(std::string_view text)
{
    if (isAscii(text)) {
        std::string lowered(text);
        std::transform(lowered.begin(), lowered.end(), lowered.begin(), [](char byte) {
            return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte | 0x20) : byte;
        });
        return lowered;
    }
    if (!isWellFormed(text)) {
        return lowercased(toUtf8(toUtf16(text)));
    }
    // Not of a locale object: the first one makes ICU look up the user's and read what it knows of locales.
    std::string lowered;
    icu::StringByteSink<std::string> sink(&lowered);
    UErrorCode status = U_ZERO_ERROR;
    icu::CaseMap::utf8ToLower("", 0, toPiece(text), sink, nullptr, status);
    require(status);
    return lowered;
}

std::string trimmed(std::string_view text)
{
    const icu::UnicodeString whole = toUtf16(text);
    std::int32_t begin = 0;
    std::int32_t end = whole.length();
    while (begin < end && isWhiteSpace(whole.char32At(begin))) {
        begin = whole.moveIndex32(begin, 1);
    }
    while (end > begin && isWhiteSpace(whole.char32At(end - 1))) {
        end = whole.moveIndex32(end, -1);
    }
    return toUtf8(whole.tempSubStringBetween(begin, end));
}

std::vector<std::string> graphemeClusters(std::string_view text)
{
    std::vector<std::string> clusters;
    if (isPlainAscii(text)) {
        clusters.reserve(text.size());
        for (const char byte : text) {
            clusters.emplace_back(1, byte);
        }
        return clusters;
    }
    bool areRulesEnough = true;
    forEachScalar(text,
                  [&](char32_t scalar) { areRulesEnough = areRulesEnough && ClusterRules::cover(scalar); });
    if (!areRulesEnough) {
        return clustersOfAnyScript(text);
    }
    ClusterRules rules;
    forEachScalar(text, [&](char32_t scalar) {
        if (rules.beginsWith(scalar)) {
            clusters.emplace_back();
        }
        append(clusters.back(), scalar);
    });
    return clusters;
}

std::size_t graphemeClusterCount(std::string_view text)
{
    return isPlainAscii(text) ? text.size() : graphemeClusters(text).size();
}

std::string canonical(std::string_view text)
{
    if (isAscii(text)) {
        return std::string(text);
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
    require(status);
    // The case of nearly all words.
    if (text.size() < longText && isWellFormed(text) && composer->isNormalizedUTF8(toPiece(text), status)) {
        return std::string(text);
    }
    const icu::UnicodeString composed =
        composer->normalize(text.size() < longText ? toUtf16(text) : withMarksInOrder(text), status);
    require(status);
    return toUtf8(composed);
}

bool startsWithPrintable(std::string_view text)
{
    constexpr std::uint32_t printable = U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK | U_GC_P_MASK | U_GC_S_MASK;
    return text.starts_with(' ') || startsWithOneOf(text, printable);
}

bool startsWithLetterOrDigit(std::string_view text)
{
    return startsWithOneOf(text, U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK);
}

std::string escapedForLog(std::string_view text)
{
    std::string line;
    line.reserve(text.size());
    const std::size_t size = text.size();
    for (std::size_t index = 0; index < size;) {
        const std::size_t begin = index;
        UChar32 scalar = 0;
        U8_NEXT(text, index, size, scalar);
        if (scalar < 0) {
            line += replacementCharacter;
        } else if (isControlOrLineBreak(scalar)) {
            appendEscape(line, scalar);
        } else {
            line.append(text, begin, index - begin);
        }
    }
    return line;
}

} // namespace glimmerwick::unicode
