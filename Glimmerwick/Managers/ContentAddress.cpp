#include "Managers/ContentAddress.h"

#include <algorithm>
#include <cstddef>

namespace glimmerwick {

namespace {

constexpr bool isLetter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

constexpr bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

constexpr bool isHexadecimalDigit(char byte)
{
    return isDigit(byte) || (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F');
}

bool isUnreserved(char byte)
{
    return isLetter(byte) || isDigit(byte) || std::string_view("-._~").find(byte) != std::string_view::npos;
}

bool mayStandInURL(char byte)
{
    return isUnreserved(byte) || std::string_view(":/?#[]@!$&'()*+,;=%").find(byte) != std::string_view::npos;
}

bool hasWholeEscapes(std::string_view text)
{
    for (std::size_t index = text.find('%'); index != std::string_view::npos;
         index = text.find('%', index + 1)) {
        if (index + 2 >= text.size() || !isHexadecimalDigit(text[index + 1])
            || !isHexadecimalDigit(text[index + 2])) {
            return false;
        }
    }
    return true;
}

bool isScheme(std::string_view text)
{
    return !text.empty() && isLetter(text.front()) && std::all_of(text.begin(), text.end(), [](char byte) {
        return isLetter(byte) || isDigit(byte) || byte == '+' || byte == '-' || byte == '.';
    });
}

bool hasSchemeWhereNeeded(std::string_view text)
{
    const std::string_view firstSegment = text.substr(0, text.find_first_of("/?#"));
    const std::size_t colon = firstSegment.find(':');
    return colon == std::string_view::npos || isScheme(firstSegment.substr(0, colon));
}

/// Where the path begins: behind scheme and authority.
std::size_t pathBegin(std::string_view url)
{
    const std::size_t colon = url.find(':');
    const std::size_t afterScheme =
        colon != std::string_view::npos && isScheme(url.substr(0, colon)) ? colon + 1 : 0;
    if (url.substr(afterScheme, 2) != "//") {
        return afterScheme;
    }
    return std::min(url.find('/', afterScheme + 2), url.size());
}

std::string percentEncoded(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    for (const char byte : text) {
        if (isUnreserved(byte)) {
            encoded += byte;
            continue;
        }
        const auto value = static_cast<unsigned char>(byte);
        encoded += '%';
        encoded += digits[value / digits.size()];
        encoded += digits[value % digits.size()];
    }
    return encoded;
}

} // namespace

bool isURL(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), mayStandInURL) && hasWholeEscapes(text)
        && hasSchemeWhereNeeded(text) && std::count(text.begin(), text.end(), '#') <= 1;
}

std::string appendingPathComponent(std::string_view url, std::string_view component)
{
    const std::size_t tailBegin = std::min(url.find_first_of("?#"), url.size());
    std::string_view head = url.substr(0, tailBegin);
    const std::size_t begin = pathBegin(head);
    while (head.size() > begin && head.back() == '/') {
        head.remove_suffix(1);
    }
    return std::string(head) + "/" + percentEncoded(component) + std::string(url.substr(tailBegin));
}

} // namespace glimmerwick
