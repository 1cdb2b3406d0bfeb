#pragma once

#include "Models/Emoji.h"
#include "Search/MatchType.h"
#include "Search/SimilarWords.h"
#include "Search/Trie.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {

/// The catalogue made ready for searching: its words lower-cased, split and sorted once. Immutable once made,
/// so any thread may search.
class SearchIndex {
public:
    using Emojis = std::vector<Emoji>;

    /// An emoji of the catalogue that was given to the constructor.
    struct ScoredEmoji {
        const Emoji* emoji = nullptr;
        MatchType matchType;
    };

    static constexpr std::size_t maxResults = 50;

    /// Each codepoint occurs once among the emoji.
    explicit SearchIndex(std::shared_ptr<const Emojis> allEmojis);
    SearchIndex(const SearchIndex&) = delete;
    SearchIndex& operator=(const SearchIndex&) = delete;

    /// Names and keywords, repeated and empty ones counted too.
    std::size_t wordCount() const { return m_wordCount; }

    /// The best matches of the query, trimmed and lower-cased, at most `maxResults`, best first; none for a
    /// blank one. Emoji with a word that begins with it, and where those are fewer than ten, however short
    /// the query, also emoji with a word at most two edits away. Equal ranks keep the order in which they
    /// were found: prefix matches in the order of the trie, then fuzzy ones in catalogue order.
    std::vector<ScoredEmoji> search(const std::string& query) const;

    /// The first `maxResults` by rank; equal ranks keep their order.
    static std::vector<ScoredEmoji> bestOf(std::vector<ScoredEmoji> found);

    /// The queries below are lower-case already.

    /// How one emoji of the catalogue matches, by all the rules. An earlier keyword that begins with the
    /// query wins over a later one that equals it. A search needs the rules for prefixes alone and reads
    /// their answer off the trie.
    MatchType classifyMatch(const std::string& query, const Emoji& emoji) const;

    /// The emoji with a word at most the threshold away, in catalogue order.
    std::vector<ScoredEmoji> performFuzzySearchWithScores(const std::string& query, int threshold) const;

private:
    using Word = Vocabulary::Word;

    /// An emoji that has empty words: the trie has none, but a short query is a few edits away from them.
    struct EmptyWords {
        std::size_t emojiNumber;
        bool isNameEmpty;
    };

    static MatchType classifyMatch(const Trie::Match& match);
    std::vector<ScoredEmoji> performFuzzySearchWithScores(Word query, int threshold) const;
    /// The best `maxResults` of the prefix stage, best first.
    std::vector<ScoredEmoji> prefixMatches(Word query) const;
    const Vocabulary& vocabulary() const { return m_trie.vocabulary(); }

    std::shared_ptr<const Emojis> m_allEmojis;
    /// Its emoji numbers are the places in m_allEmojis.
    const Trie m_trie;
    const SimilarWords m_similarWords;
    std::vector<EmptyWords> m_emptyWords;
    std::size_t m_wordCount = 0;
};

} // namespace glimmerwick
