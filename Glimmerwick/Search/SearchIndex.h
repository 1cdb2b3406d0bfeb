#pragma once

#include "Models/Emoji.h"
#include "Search/MatchType.h"
#include "Search/Trie.h"
#include "Search/Vocabulary.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace glimmerwick {

/// The catalogue made ready for searching: its words lower-cased and split once, and the prefix trie.
/// Immutable once made, so any thread may search.
class SearchIndex {
public:
    using Emojis = std::vector<Emoji>;

    enum class TrieContents { allWords, nothing };

    /// An emoji of the catalogue that was given to the constructor.
    struct ScoredEmoji {
        const Emoji* emoji = nullptr;
        MatchType matchType;
    };

    static constexpr std::size_t maxResults = 50;

    /// Each codepoint occurs once among the emoji. With an empty trie only the fuzzy matches are found.
    explicit SearchIndex(std::shared_ptr<const Emojis> allEmojis,
                         TrieContents trieContents = TrieContents::allWords);

    /// Names and keywords, repeated and empty ones counted too.
    std::size_t wordCount() const { return m_words.size(); }

    /// The best matches, at most `maxResults`, best first. Equal ranks keep the order in which they were
    /// found: prefix matches before fuzzy ones, each in catalogue order.
    std::vector<ScoredEmoji> search(const std::string& query) const;

    /// The queries below are lower-case already.

    /// How one emoji of the catalogue matches. An earlier keyword that begins with the query wins over a
    /// later one that equals it.
    MatchType classifyMatch(const std::string& query, const Emoji& emoji) const;

    /// The emoji with a word at most the threshold away, in catalogue order.
    std::vector<ScoredEmoji> performFuzzySearchWithScores(const std::string& query, int threshold) const;

private:
    using Word = Vocabulary::Word;
    using WordId = Vocabulary::WordId;

    /// The words of one emoji; every emoji has a name.
    struct EmojiWords {
        WordId name;
        std::span<const WordId> keywords;
    };

    void addWords();
    void fillTrie();
    EmojiWords wordsOf(std::size_t emojiNumber) const;
    std::size_t numberOf(const Emoji& emoji) const;

    std::vector<ScoredEmoji> prefixMatches(const std::string& query) const;
    MatchType classifyMatch(Word query, const Emoji& emoji) const;
    std::optional<int> fuzzyMatch(Word query, Word candidate, int threshold) const;

    std::shared_ptr<const Emojis> m_allEmojis;
    /// Many emoji share a keyword: each is split, and compared with a query, once.
    Vocabulary m_vocabulary;
    /// Of every emoji in turn its name, then its keywords.
    std::vector<WordId> m_words;
    /// Where each emoji's words begin in m_words; one entry more than there are emoji.
    std::vector<std::size_t> m_firstWords;
    Trie m_trie;
};

} // namespace glimmerwick
