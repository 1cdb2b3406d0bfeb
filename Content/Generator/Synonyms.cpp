#include "Synonyms.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::string_view separator = ", ";
constexpr std::string_view unwantedMark = "not:";

/// Empty when the list has an empty word.
std::vector<std::string> splitWords(std::string_view list)
{
    std::vector<std::string> words;
    while (true) {
        const auto end = list.find(separator);
        std::string word = unicode::trimmed(list.substr(0, end));
        if (word.empty()) {
            return {};
        }
        words.push_back(std::move(word));
        if (end == std::string_view::npos) {
            return words;
        }
        list.remove_prefix(end + separator.size());
    }
}

} // namespace

Result<Synonyms, GeneratorError> Synonyms::parse(std::string_view text, const std::string& fileName)
{
    Synonyms synonyms;
    std::istringstream lines{std::string(text)};
    std::size_t number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        // The keycap # begins with the sign of a comment, but no blank follows it.
        if (line.empty() || line == "#" || line.starts_with("# ")) {
            continue;
        }
        const auto fail = [&](const std::string& problem) {
            return Failure(GeneratorError{fileName + ":" + std::to_string(number) + ": " + problem});
        };
        const auto blank = line.find(' ');
        auto words = blank == std::string::npos ? std::vector<std::string>{}
                                                : splitWords(std::string_view(line).substr(blank + 1));
        if (words.empty()) {
            return fail("not an emoji, a blank and words separated by \", \"");
        }
        const auto unwanted = std::ranges::stable_partition(
            words, [](const std::string& word) { return !word.starts_with(unwantedMark); });
        Line parsed;
        for (const std::string& word : unwanted) {
            parsed.unwanted.push_back(word.substr(unwantedMark.size()));
        }
        words.erase(unwanted.begin(), unwanted.end());
        parsed.words = std::move(words);
        if (!synonyms.m_lines.emplace(line.substr(0, blank), std::move(parsed)).second) {
            return fail("a second line for " + line.substr(0, blank));
        }
    }
    return synonyms;
}

const std::vector<std::string>& Synonyms::words(const std::string& emoji) const
{
    return line(emoji).words;
}

const std::vector<std::string>& Synonyms::unwanted(const std::string& emoji) const
{
    return line(emoji).unwanted;
}

std::vector<std::string> Synonyms::emojis() const
{
    std::vector<std::string> emojis;
    for (const auto& [emoji, words] : m_lines) {
        emojis.push_back(emoji);
    }
    return emojis;
}

const Synonyms::Line& Synonyms::line(const std::string& emoji) const
{
    static const Line none;
    const auto found = m_lines.find(emoji);
    return found == m_lines.end() ? none : found->second;
}

} // namespace glimmerwick
