#include "Unit/Search/SearchEquality.h"

#include "Unit/Search/RandomCatalogue.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace glimmerwick {

namespace {

/// One mistake shows in many queries, and making its catalogue small takes a while.
constexpr std::size_t enoughDifferences = 3;
constexpr std::size_t mostEmojis = 200;

bool differs(const std::vector<Emoji>& emojis, const std::string& query)
{
    const ComparedSearch search(emojis);
    return search.found(query) != search.expected(query);
}

/// Leaves out whatever is not needed for the difference, in ever smaller pieces.
template <typename Element, typename StillDiffers>
void shrink(std::vector<Element>& elements, StillDiffers stillDiffers)
{
    for (std::size_t size = elements.size(); size > 0; size /= 2) {
        for (std::size_t begin = 0; begin < elements.size();) {
            const std::vector<Element> whole = elements;
            const auto first = elements.begin() + static_cast<std::ptrdiff_t>(begin);
            elements.erase(first,
                           first + static_cast<std::ptrdiff_t>(std::min(size, elements.size() - begin)));
            if (!stillDiffers()) {
                elements = whole;
                begin += size;
            }
        }
    }
}

std::vector<Emoji> smallest(std::vector<Emoji> emojis, const std::string& query)
{
    const auto stillDiffers = [&] { return differs(emojis, query); };
    shrink(emojis, stillDiffers);
    for (Emoji& emoji : emojis) {
        shrink(emoji.keywords, stillDiffers);
    }
    return emojis;
}

std::string listed(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += " " + line;
    }
    return text.empty() ? " nothing" : text;
}

std::string pasteable(const std::vector<Emoji>& emojis)
{
    std::string text = "{";
    for (const Emoji& emoji : emojis) {
        text += "\n    searchable(" + literal(emoji.codepoint) + ", " + literal(emoji.name) + ", {";
        for (const std::string& keyword : emoji.keywords) {
            text += (&keyword == &emoji.keywords.front() ? "" : ", ") + literal(keyword);
        }
        text += "}),";
    }
    return text + "\n}";
}

std::string report(const std::vector<Emoji>& emojis, const std::string& query, std::uint64_t seed)
{
    const std::vector<Emoji> few = smallest(emojis, query);
    const ComparedSearch search(few);
    return "seed " + std::to_string(seed) + ", query " + literal(query) + "\ncatalogue " + pasteable(few)
        + "\nfound   " + listed(search.found(query)) + "\nexpected" + listed(search.expected(query));
}

void count(const std::vector<std::string>& found, Comparison& comparison)
{
    ++comparison.compared;
    comparison.withoutResults += found.empty() ? 1 : 0;
    comparison.fullResults += found.size() == SearchIndex::maxResults ? 1 : 0;
    for (const std::string& match : found) {
        ++comparison.kinds[match.substr(match.find(' ') + 1)];
    }
}

void compare(const std::vector<Emoji>& emojis, std::size_t queries, RandomCatalogue& random,
             std::uint64_t seed, Comparison& comparison)
{
    const ComparedSearch search(emojis);
    for (std::size_t number = 0; number < queries; ++number) {
        const std::string query = random.query(emojis);
        const std::vector<std::string> found = search.found(query);
        count(found, comparison);
        if (found != search.expected(query)) {
            comparison.differences.push_back(report(emojis, query, seed));
        }
        if (comparison.differences.size() >= enoughDifferences) {
            return;
        }
    }
}

} // namespace

std::string literal(std::string_view text)
{
    std::string written = "\"";
    for (const char each : text) {
        if (each == '"' || each == '\\') {
            written += {'\\', each};
        } else if (each >= ' ' && each <= '~') {
            written += each;
        } else {
            char escape[5];
            std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned char>(each));
            written += escape;
        }
    }
    return written + "\"s";
}

std::string description(const MatchType& type)
{
    const std::string distance = "(" + std::to_string(type.distance) + ")";
    switch (type.kind) {
    case MatchType::Kind::exactName:
        return "exactName";
    case MatchType::Kind::exactKeyword:
        return "exactKeyword";
    case MatchType::Kind::prefixName:
        return "prefixName";
    case MatchType::Kind::prefixKeyword:
        return "prefixKeyword";
    case MatchType::Kind::fuzzyName:
        return "fuzzyName" + distance;
    case MatchType::Kind::fuzzyKeyword:
        return "fuzzyKeyword" + distance;
    }
    return "unknown";
}

ComparedSearch::ComparedSearch(const std::vector<Emoji>& emojis, const std::vector<Emoji>& referenceEmojis)
    : m_emojis(std::make_shared<const SearchIndex::Emojis>(emojis)), m_referenceEmojis(referenceEmojis),
      m_index(m_emojis), m_reference(m_referenceEmojis)
{
}

std::vector<std::string> ComparedSearch::found(const std::string& query) const
{
    std::vector<std::string> lines;
    for (const SearchIndex::ScoredEmoji& match : m_index.search(query)) {
        lines.push_back(match.emoji->codepoint + " " + description(match.matchType));
    }
    return lines;
}

std::vector<std::string> ComparedSearch::expected(const std::string& query) const
{
    std::vector<std::string> lines;
    for (const reference::Match& match : m_reference.search(query)) {
        lines.push_back(m_referenceEmojis[match.emoji].codepoint + " " + match.matchClass.description());
    }
    return lines;
}

Comparison compareOnRandomCatalogues(std::size_t queries, std::size_t queriesEach, std::uint64_t seed)
{
    Comparison comparison;
    for (std::uint64_t each = seed; comparison.compared < queries; ++each) {
        RandomCatalogue random(each);
        const std::vector<Emoji> emojis = random.emojis(mostEmojis);
        compare(emojis, std::min(queriesEach, queries - comparison.compared), random, each, comparison);
        if (comparison.differences.size() >= enoughDifferences) {
            break;
        }
    }
    return comparison;
}

Comparison compareOn(const std::vector<Emoji>& emojis, std::size_t queries, std::uint64_t seed)
{
    Comparison comparison;
    RandomCatalogue random(seed);
    compare(emojis, queries, random, seed, comparison);
    return comparison;
}

} // namespace glimmerwick
