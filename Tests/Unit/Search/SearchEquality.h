#pragma once

#include "Models/Emoji.h"
#include "Search/SearchIndex.h"
#include "Unit/Search/ReferenceSearch.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// The text as a C++ literal of a std::string, to paste; what is not printable ASCII is escaped byte by byte.
std::string literal(std::string_view text);

/// A kind of match as the reference describes its own.
std::string description(const MatchType& type);

/// The index and the reference over one catalogue, or, to show that a difference is seen, over two.
class ComparedSearch {
public:
    explicit ComparedSearch(const std::vector<Emoji>& emojis) : ComparedSearch(emojis, emojis) { }
    ComparedSearch(const std::vector<Emoji>& emojis, const std::vector<Emoji>& referenceEmojis);

    /// Codepoints and kinds of match, best first.
    std::vector<std::string> found(const std::string& query) const;
    std::vector<std::string> expected(const std::string& query) const;

    const SearchIndex& index() const { return m_index; }
    const reference::Search& reference() const { return m_reference; }
    const Emoji& emoji(std::size_t number) const { return (*m_emojis)[number]; }

private:
    std::shared_ptr<const SearchIndex::Emojis> m_emojis;
    std::vector<Emoji> m_referenceEmojis;
    SearchIndex m_index;
    reference::Search m_reference;
};

/// What searching many times came to.
struct Comparison {
    std::size_t compared = 0;
    /// How often each kind of match was found.
    std::map<std::string, std::size_t> kinds;
    std::size_t withoutResults = 0;
    /// Searches that found as many as are shown at most.
    std::size_t fullResults = 0;
    /// At most a few, each with the smallest catalogue that shows it, to paste.
    std::vector<std::string> differences;
};

/// One random catalogue of at most 200 emoji for every so many queries. The catalogue of a difference is
/// named by its own seed.
Comparison compareOnRandomCatalogues(std::size_t queries, std::size_t queriesEach, std::uint64_t seed);

Comparison compareOn(const std::vector<Emoji>& emojis, std::size_t queries, std::uint64_t seed);

} // namespace glimmerwick
