// Searches for arbitrary bytes, in a fixed catalogue and in one made of the input itself.
//
// Input: the query up to the first empty line, then an emoji a line: its name and keywords, parted by "|".

#include "Fuzz/Invariant.h"
#include "Models/Emoji.h"
#include "Models/UnicodeText.h"
#include "Search/SearchIndex.h"
#include "Unit/Search/ReferenceSearch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using Emojis = SearchIndex::Emojis;
using Matches = std::vector<SearchIndex::ScoredEmoji>;

/// Bounds the time one input takes; more than the 50 results, so that some are left out.
constexpr std::size_t mostEmojis = 64;

std::vector<std::string> split(std::string_view text, char separator)
{
    std::vector<std::string> pieces;
    for (std::size_t end = text.find(separator); end != std::string_view::npos; end = text.find(separator)) {
        pieces.emplace_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    pieces.emplace_back(text);
    return pieces;
}

std::shared_ptr<const Emojis> catalogue(std::string_view lines)
{
    auto emojis = std::make_shared<Emojis>();
    for (const std::string& line : split(lines, '\n')) {
        if (emojis->size() == mostEmojis) {
            break;
        }
        std::vector<std::string> words = split(line, '|');
        Emoji emoji;
        emoji.codepoint = std::to_string(emojis->size());
        emoji.name = std::move(words.front());
        emoji.keywords.assign(words.begin() + 1, words.end());
        emojis->push_back(std::move(emoji));
    }
    return emojis;
}

/// Letters of several scripts and lengths, clusters of several scalars, words that are prefixes of others or
/// an edit away, repeated and empty ones.
std::shared_ptr<const Emojis> fixedCatalogue()
{
    return catalogue("grinning face|happy|smile|:D\n"
                     "face with tears of joy|lol|haha|laugh|crying\n"
                     "cat|kitten|pet|Catlike\n"
                     "cat face|cat|pet|meow\n"
                     "bat|animal|vampire\n"
                     "hot face|heat|sweating|hot\n"
                     "hotel|building|hote\n"
                     "\u00e9clair|e\u0301clair|pastry\n"
                     "STRASSE|stra\u00dfe|\u0130stanbul\n"
                     "\u039f\u0394\u039f\u03a3|\u03bf\u03b4\u03cc\u03c2\n"
                     "flag: Japan|\U0001f1ef\U0001f1f5|jp|\u65e5\u672c\n"
                     "woman technologist|\U0001f469\u200d\U0001f4bb|coder\n"
                     "|empty name|\n"
                     "a|b|c|ab|abc\n"
                     "keycap: #|#\ufe0f\u20e3|hash||\n"
                     "\u1112\u1161\u11ab|\ud55c");
}

std::string normalized(const std::string& query)
{
    return unicode::lowercased(unicode::trimmed(query));
}

void checkResults(const Matches& matches, const Emojis& emojis)
{
    requireInvariant(matches.size() <= SearchIndex::maxResults, "at most 50 results");
    std::unordered_set<std::string> seen;
    int previousRank = 0;
    for (const auto& [emoji, matchType] : matches) {
        requireInvariant(emoji >= emojis.data() && emoji < emojis.data() + emojis.size(),
                         "a result is an emoji of the catalogue");
        requireInvariant(seen.insert(emoji->codepoint).second, "no emoji twice");
        requireInvariant(matchType.priority() >= previousRank, "ranks do not decrease");
        requireInvariant(matchType.distance >= 0 && matchType.distance <= 2, "at most two edits");
        previousRank = matchType.priority();
    }
}

void checkSame(const Matches& left, const Matches& right)
{
    const bool isSame = std::ranges::equal(left, right, [](const auto& one, const auto& other) {
        return one.emoji == other.emoji && one.matchType == other.matchType;
    });
    requireInvariant(isSame, "the same query finds the same");
}

/// The plain implementation computes whole tables of distances, so long queries would take it minutes.
constexpr std::size_t longestCompared = 64;

void checkAgainstReference(const Matches& matches, const Emojis& emojis, const std::string& query)
{
    const std::vector<reference::Match> expected = reference::Search(emojis).search(query);
    const bool isSame = std::ranges::equal(matches, expected, [&](const auto& one, const auto& other) {
        return one.emoji == &emojis[other.emoji] && one.matchType.priority() == other.matchClass.priority()
            && static_cast<int>(one.matchType.kind) == static_cast<int>(other.matchClass.kind);
    });
    requireInvariant(isSame, "the plain implementation finds the same");
}

void checkSearch(const std::shared_ptr<const Emojis>& emojis, const SearchIndex& index,
                 const std::string& query)
{
    const Matches matches = index.search(query);
    checkResults(matches, *emojis);
    checkSame(matches, index.search(query));
    if (normalized(query).empty()) {
        requireInvariant(matches.empty(), "a blank query finds nothing");
    } else if (query.size() <= longestCompared) {
        checkAgainstReference(matches, *emojis, query);
    }
}

void checkSearch(const std::shared_ptr<const Emojis>& emojis, const std::string& query)
{
    const SearchIndex index(emojis);
    checkSearch(emojis, index, query);
    checkSame(index.search(query), SearchIndex(emojis).search(query));
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    static const std::shared_ptr<const Emojis> fixed = fixedCatalogue();
    static const SearchIndex fixedIndex(fixed);

    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(input.find("\n\n"), size);
    const std::string query(input.substr(0, end));

    checkSearch(fixed, fixedIndex, query);
    if (end < size) {
        checkSearch(catalogue(input.substr(end + 2)), query);
    }
    return 0;
}
