#include "Models/ReleaseVersion.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace glimmerwick {

namespace {

constexpr std::size_t longestText = 64;

// Not those of <cctype>, which follow the locale.
bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

bool isLetter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

bool isNumber(std::string_view text)
{
    return !text.empty() && std::ranges::all_of(text, isDigit);
}

bool isIdentifier(std::string_view text)
{
    return !text.empty()
        && std::ranges::all_of(text, [](char byte) { return isDigit(byte) || isLetter(byte); });
}

std::optional<std::uint64_t> numberFrom(std::string_view text)
{
    std::uint64_t number = 0;
    if (!isNumber(text)
        || std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc()) {
        return std::nullopt;
    }
    return number;
}

/// The parts between the points; one empty part for the empty text.
std::vector<std::string_view> splitAtPoints(std::string_view text)
{
    std::vector<std::string_view> parts;
    while (true) {
        const std::size_t point = text.find('.');
        parts.push_back(text.substr(0, point));
        if (point == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(point + 1);
    }
}

std::string_view withoutLeadingZeros(std::string_view number)
{
    return number.substr(std::min(number.find_first_not_of('0'), number.size()));
}

/// Of any length, so that what names a pre-release may be a date with a time.
std::strong_ordering compareNumbers(std::string_view left, std::string_view right)
{
    left = withoutLeadingZeros(left);
    right = withoutLeadingZeros(right);
    return left.size() != right.size() ? left.size() <=> right.size() : left <=> right;
}

/// A number stands before a word.
std::strong_ordering compareIdentifiers(std::string_view left, std::string_view right)
{
    const bool isLeftNumber = isNumber(left);
    const bool isRightNumber = isNumber(right);
    if (isLeftNumber && isRightNumber) {
        return compareNumbers(left, right);
    }
    return isLeftNumber == isRightNumber ? left <=> right : isRightNumber <=> isLeftNumber;
}

std::strong_ordering comparePreReleases(const std::vector<std::string>& left,
                                        const std::vector<std::string>& right)
{
    if (left.empty() || right.empty()) {
        return left.empty() <=> right.empty();
    }
    return std::lexicographical_compare_three_way(left.begin(), left.end(), right.begin(), right.end(),
                                                  compareIdentifiers);
}

} // namespace

std::optional<ReleaseVersion> ReleaseVersion::parse(std::string_view text)
{
    if (text.size() > longestText) {
        return std::nullopt;
    }
    ReleaseVersion version;
    version.m_text = text;
    const std::size_t hyphen = text.find('-');
    for (const std::string_view part : splitAtPoints(text.substr(0, hyphen))) {
        const auto number = numberFrom(part);
        if (!number) {
            return std::nullopt;
        }
        version.m_numbers.push_back(*number);
    }
    if (hyphen != std::string_view::npos) {
        for (const std::string_view part : splitAtPoints(text.substr(hyphen + 1))) {
            if (!isIdentifier(part)) {
                return std::nullopt;
            }
            version.m_preRelease.emplace_back(part);
        }
    }
    return version;
}

std::strong_ordering ReleaseVersion::operator<=>(const ReleaseVersion& other) const
{
    const std::size_t count = std::max(m_numbers.size(), other.m_numbers.size());
    for (std::size_t index = 0; index < count; ++index) {
        const std::uint64_t left = index < m_numbers.size() ? m_numbers[index] : 0;
        const std::uint64_t right = index < other.m_numbers.size() ? other.m_numbers[index] : 0;
        if (left != right) {
            return left <=> right;
        }
    }
    return comparePreReleases(m_preRelease, other.m_preRelease);
}

} // namespace glimmerwick
