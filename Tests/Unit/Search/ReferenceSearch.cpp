#include "Unit/Search/ReferenceSearch.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

namespace glimmerwick::reference {

namespace {

constexpr std::size_t mostResults = 50;
constexpr std::size_t enoughWithPrefix = 10;
constexpr int typoThreshold = 2;

bool beginsWith(const Characters& word, const Characters& prefix)
{
    return word.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), word.begin());
}

/// Row by row: the distance of each beginning of the left text to each beginning of the right one.
std::vector<std::vector<int>> allDistances(const Characters& left, const Characters& right)
{
    std::vector<std::vector<int>> distances(left.size() + 1, std::vector<int>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                distances[i][j] = static_cast<int>(i + j);
                continue;
            }
            const int substituted = distances[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1);
            const int inserted = distances[i][j - 1] + 1;
            const int deleted = distances[i - 1][j] + 1;
            distances[i][j] = std::min({substituted, inserted, deleted});
        }
    }
    return distances;
}

/// Smaller means that the emoji means the prefix more: the earliest word, then a prefix that is whole there,
/// then the least behind it.
using Telling = std::tuple<std::size_t, bool, std::size_t>;

Telling tellingOf(std::size_t wordNumber, const Characters& word, const Characters& prefix)
{
    const std::size_t missing = word.size() - prefix.size();
    const bool isCutShort = missing > 0 && unicode::startsWithLetterOrDigit(word[prefix.size()]);
    return {wordNumber, isCutShort, missing};
}

} // namespace

Characters charactersOf(const std::string& text)
{
    Characters characters;
    for (const std::string& cluster : unicode::graphemeClusters(text)) {
        characters.push_back(unicode::canonical(cluster));
    }
    return characters;
}

Characters lowercaseCharactersOf(const std::string& text)
{
    return charactersOf(unicode::lowercased(text));
}

int editDistance(const Characters& left, const Characters& right, int threshold)
{
    const int leftLength = static_cast<int>(left.size());
    const int rightLength = static_cast<int>(right.size());
    if (left == right) {
        return 0;
    }
    if (left.empty()) {
        return std::min(threshold + 1, rightLength);
    }
    if (right.empty()) {
        return std::min(threshold + 1, leftLength);
    }
    if (leftLength - rightLength > threshold || rightLength - leftLength > threshold) {
        return threshold + 1;
    }
    const auto distances = allDistances(left, right);
    for (std::size_t row = 1; row < distances.size(); ++row) {
        if (*std::min_element(distances[row].begin(), distances[row].end()) > threshold) {
            return threshold + 1;
        }
    }
    return distances.back().back();
}

int MatchClass::priority() const
{
    switch (kind) {
    case Kind::exactName:
        return 0;
    case Kind::exactKeyword:
        return 1;
    case Kind::prefixName:
        return 2;
    case Kind::prefixKeyword:
        return 3;
    case Kind::fuzzyName:
        return 4 + distance;
    case Kind::fuzzyKeyword:
        return 5 + distance;
    }
    return -1;
}

std::string MatchClass::description() const
{
    switch (kind) {
    case Kind::exactName:
        return "exactName";
    case Kind::exactKeyword:
        return "exactKeyword";
    case Kind::prefixName:
        return "prefixName";
    case Kind::prefixKeyword:
        return "prefixKeyword";
    case Kind::fuzzyName:
        return "fuzzyName(" + std::to_string(distance) + ")";
    case Kind::fuzzyKeyword:
        return "fuzzyKeyword(" + std::to_string(distance) + ")";
    }
    return "none";
}

std::vector<std::size_t> emojisWithPrefix(const std::vector<IndexedWord>& words, const Characters& prefix)
{
    if (prefix.empty()) {
        return {};
    }
    std::vector<std::size_t> found;
    std::map<std::size_t, std::size_t> firstInserted;
    std::map<std::size_t, std::size_t> wordCounts;
    std::map<std::size_t, Telling> best;
    for (const auto& [word, emoji] : words) {
        firstInserted.try_emplace(emoji, firstInserted.size());
        const std::size_t wordNumber = wordCounts[emoji]++;
        if (!beginsWith(word, prefix)) {
            continue;
        }
        const Telling telling = tellingOf(wordNumber, word, prefix);
        const auto [entry, isNew] = best.try_emplace(emoji, telling);
        if (isNew) {
            found.push_back(emoji);
        }
        entry->second = std::min(entry->second, telling);
    }
    std::sort(found.begin(), found.end(), [&](std::size_t left, std::size_t right) {
        return std::tuple(best.at(left), firstInserted.at(left))
            < std::tuple(best.at(right), firstInserted.at(right));
    });
    return found;
}

Search::Search(const std::vector<Emoji>& emojis)
{
    const auto insert = [this](const Characters& word, std::size_t emoji) {
        if (!word.empty()) {
            m_index.push_back({word, emoji});
        }
    };
    for (std::size_t number = 0; number < emojis.size(); ++number) {
        Words words{lowercaseCharactersOf(emojis[number].name), {}};
        insert(words.name, number);
        for (const std::string& keyword : emojis[number].keywords) {
            words.keywords.push_back(lowercaseCharactersOf(keyword));
            insert(words.keywords.back(), number);
        }
        m_emojis.push_back(words);
    }
}

std::vector<Match> Search::search(const std::string& query) const
{
    const Characters wanted = lowercaseCharactersOf(unicode::trimmed(query));
    if (wanted.empty()) {
        return {};
    }
    std::vector<Match> matches;
    std::set<std::size_t> seen;
    for (const std::size_t emoji : emojisWithPrefix(m_index, wanted)) {
        matches.push_back({emoji, classify(wanted, emoji)});
        seen.insert(emoji);
    }
    if (matches.size() < enoughWithPrefix) {
        for (const Match& match : fuzzyMatches(wanted, typoThreshold)) {
            if (seen.insert(match.emoji).second) {
                matches.push_back(match);
            }
        }
    }
    std::stable_sort(matches.begin(), matches.end(), [](const Match& left, const Match& right) {
        return left.matchClass.priority() < right.matchClass.priority();
    });
    if (matches.size() > mostResults) {
        matches.erase(matches.begin() + mostResults, matches.end());
    }
    return matches;
}

MatchClass Search::classify(const Characters& query, std::size_t emoji) const
{
    using Kind = MatchClass::Kind;
    const Words& words = m_emojis[emoji];
    if (words.name == query) {
        return {Kind::exactName};
    }
    if (beginsWith(words.name, query)) {
        return {Kind::prefixName};
    }
    for (const Characters& keyword : words.keywords) {
        if (keyword == query) {
            return {Kind::exactKeyword};
        }
        if (beginsWith(keyword, query)) {
            return {Kind::prefixKeyword};
        }
    }
    if (const int distance = editDistance(query, words.name, typoThreshold); distance <= typoThreshold) {
        return {Kind::fuzzyName, distance};
    }
    for (const Characters& keyword : words.keywords) {
        if (const int distance = editDistance(query, keyword, typoThreshold); distance <= typoThreshold) {
            return {Kind::fuzzyKeyword, distance};
        }
    }
    return {Kind::fuzzyKeyword, typoThreshold + 1};
}

std::vector<Match> Search::fuzzyMatches(const Characters& query, int threshold) const
{
    std::vector<Match> matches;
    for (std::size_t emoji = 0; emoji < m_emojis.size(); ++emoji) {
        if (const auto matchClass = fuzzyMatch(query, m_emojis[emoji], threshold)) {
            matches.push_back({emoji, *matchClass});
        }
    }
    return matches;
}

std::optional<MatchClass> Search::fuzzyMatch(const Characters& query, const Words& words, int threshold) const
{
    if (const int distance = editDistance(query, words.name, threshold); distance <= threshold) {
        return MatchClass{MatchClass::Kind::fuzzyName, distance};
    }
    int nearest = threshold + 1;
    for (const Characters& keyword : words.keywords) {
        nearest = std::min(nearest, editDistance(query, keyword, threshold));
    }
    if (nearest > threshold) {
        return std::nullopt;
    }
    return MatchClass{MatchClass::Kind::fuzzyKeyword, nearest};
}

} // namespace glimmerwick::reference
