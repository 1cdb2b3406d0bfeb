#include "Managers/KeyFile.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace glimmerwick {

namespace {

/// Every newline character, in UTF-8.
constexpr std::array<std::string_view, 7> newlines{"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

/// The length of the newline that the text begins with; 0 when it begins with none.
std::size_t newlineLength(std::string_view text)
{
    const auto found = std::find_if(newlines.begin(), newlines.end(),
                                    [text](std::string_view newline) { return text.starts_with(newline); });
    return found == newlines.end() ? 0 : found->size();
}

/// Takes the first line and the newline behind it off the text.
std::string_view takeLine(std::string_view& text)
{
    std::size_t end = 0;
    while (end < text.size() && newlineLength(text.substr(end)) == 0) {
        ++end;
    }
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end);
    text.remove_prefix(newlineLength(text));
    return line;
}

std::string_view withoutBlanksAround(std::string_view line)
{
    constexpr std::string_view blanks = " \t";
    const std::size_t begin = line.find_first_not_of(blanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return line.substr(begin, line.find_last_not_of(blanks) - begin + 1);
}

std::optional<std::string> valueInLine(std::string_view line, std::string_view key)
{
    if (line.empty() || line.front() == '#' || std::count(line.begin(), line.end(), '=') != 1) {
        return std::nullopt;
    }
    const std::size_t equals = line.find('=');
    if (line.substr(0, equals) != key) {
        return std::nullopt;
    }
    return std::string(line.substr(equals + 1));
}

} // namespace

std::optional<std::string> valueInKeyFile(std::string_view text, std::string_view key)
{
    while (!text.empty()) {
        if (auto value = valueInLine(withoutBlanksAround(takeLine(text)), key)) {
            return value;
        }
    }
    return std::nullopt;
}

} // namespace glimmerwick
