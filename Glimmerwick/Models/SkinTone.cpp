#include "Models/SkinTone.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include <unicode/utf8.h>

namespace glimmerwick {

namespace {

constexpr std::array<std::string_view, 6> rawValues{"", "1f3fb", "1f3fc", "1f3fd", "1f3fe", "1f3ff"};

constexpr bool isScalarValue(std::uint32_t value)
{
    return value <= 0x10ffff && !(value >= 0xd800 && value <= 0xdfff);
}

/// The scalar that a non-empty piece of a codepoint string stands for.
std::optional<std::uint32_t> parseScalar(std::string_view piece)
{
    if (piece.front() == '+') {
        piece.remove_prefix(1);
    }
    constexpr int hexadecimal = 16;
    std::uint32_t value = 0;
    const char* const pieceEnd = piece.data() + piece.size();
    const auto [end, error] = std::from_chars(piece.data(), pieceEnd, value, hexadecimal);
    if (error != std::errc{} || end != pieceEnd || !isScalarValue(value)) {
        return std::nullopt;
    }
    return value;
}

void appendScalar(std::string& text, std::uint32_t scalar)
{
    char bytes[U8_MAX_LENGTH];
    std::size_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, scalar);
    text.append(bytes, length);
}

} // namespace

const std::array<SkinTone, 6>& SkinTone::allCases()
{
    static constexpr std::array<SkinTone, 6> cases{default_, light, mediumLight, medium, mediumDark, dark};
    return cases;
}

std::optional<SkinTone> SkinTone::fromRawValue(std::string_view rawValue)
{
    for (const SkinTone tone : allCases()) {
        if (tone.rawValue() == rawValue) {
            return tone;
        }
    }
    return std::nullopt;
}

std::string_view SkinTone::rawValue() const
{
    return rawValues[m_case];
}

std::string SkinTone::apply(std::string_view codepoint) const
{
    std::string toned(codepoint);
    if (m_case != default_) {
        toned.append("-").append(rawValue());
    }
    return toned;
}

std::optional<std::string> SkinTone::codepointToChar(std::string_view codepoint)
{
    std::string text;
    while (!codepoint.empty()) {
        const std::string_view piece = codepoint.substr(0, codepoint.find('-'));
        codepoint.remove_prefix(std::min(piece.size() + 1, codepoint.size()));
        if (piece.empty()) {
            continue;
        }
        const auto scalar = parseScalar(piece);
        if (!scalar) {
            return std::nullopt;
        }
        appendScalar(text, *scalar);
    }
    return text.empty() ? std::nullopt : std::optional(text);
}

} // namespace glimmerwick
