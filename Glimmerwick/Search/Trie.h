#pragma once

#include "Models/Emoji.h"
#include "Search/Vocabulary.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace glimmerwick {

/// Prefix index over words, keyed by user-perceived characters. No locking: written once, then only read.
///
/// Emoji with equal codepoints are one emoji; the value seen first is the one kept.
class Trie {
public:
    /// Counts the emoji in the order in which they were first inserted.
    using EmojiNumber = std::uint32_t;

    /// Why an emoji is found: the best of its words that begin with the prefix. The smaller, the better.
    struct Closeness {
        /// Counts the emoji's words in the order in which they were inserted, but for empty ones.
        std::uint32_t wordNumber;
        /// Whether a letter or digit follows the prefix.
        bool endsInsideWord;
        /// Characters of the word behind the prefix.
        std::uint32_t missing;

        auto operator<=>(const Closeness&) const = default;
    };

    /// The pointer stays valid as long as the trie.
    struct Match {
        const Emoji* emoji;
        EmojiNumber number;
        Closeness closeness;
    };

    /// An emoji with a word.
    struct Posting {
        EmojiNumber number;
        std::uint32_t wordNumber;
    };

    Trie();
    ~Trie();
    /// What was moved from can only be assigned to or destroyed.
    Trie(Trie&&) noexcept;
    Trie& operator=(Trie&&) noexcept;

    /// Indexes one word, lower-cased, for one emoji. An empty word changes nothing. Each new word moves those
    /// behind it; `insertAll` is the way to insert many.
    void insert(const std::string& word, const Emoji& emoji);

    /// Inserts the name, then the keywords, of each emoji, sharing it. The same as inserting them one by one,
    /// but in a time that grows little faster than the words.
    void insertAll(const std::shared_ptr<const std::vector<Emoji>>& emojis);

    /// Every emoji with a word that begins with the prefix, each once; empty for an empty prefix. The order
    /// tells how much an emoji means the prefix, and is the same on every run: first by the earliest of its
    /// words that begins with it (the name goes in first, then the keywords, most telling first), then
    /// whether the prefix is whole there ("hot" in "hot face", not in "hotel"), then by how little of the
    /// word is missing, then as the emoji were first inserted.
    std::vector<Emoji> search(const std::string& prefix) const;

    /// The same emoji, uncopied and with the reason, for lower-case characters of the vocabulary; in the
    /// order in which they were first inserted. Sorting them by closeness gives the order of `search`.
    std::vector<Match> matches(Vocabulary::Word prefix) const;

    /// Whether exactly this word was inserted.
    bool contains(const std::string& word) const;

    /// The emoji of exactly this word.
    std::unordered_set<Emoji> getEmojis(const std::string& word) const;

    /// Every word, and with each its emoji in the order in which they were inserted; one may be there twice.
    const Vocabulary& vocabulary() const { return m_vocabulary; }
    template <typename Visit> void forEachPosting(Vocabulary::WordId word, Visit visit) const
    {
        for (std::uint32_t at = m_chains[word].first; at != none; at = m_postings[at].next) {
            visit(m_postings[at].posting);
        }
    }

private:
    using WordId = Vocabulary::WordId;
    using Word = Vocabulary::Word;

    static constexpr std::uint32_t none = ~std::uint32_t(0);

    struct LinkedPosting {
        Posting posting;
        std::uint32_t next;
    };

    /// The postings of one word, by their places.
    struct Chain {
        std::uint32_t first = none;
        std::uint32_t last = none;
    };

    /// A path from the root: where the words that begin with its characters stand in the order of words.
    /// Nodes of their own, with a child for each character, would take ten times the memory.
    struct TrieNode {
        std::size_t begin;
        std::size_t end;
        std::size_t depth;
    };

    /// A match before it is told which emoji it is.
    struct Found {
        Closeness closeness;
        EmojiNumber number;

        auto operator<=>(const Found&) const = default;
    };

    /// After many were inserted, gives back what only inserting needs.
    void shrink();
    void recallNumbers();
    EmojiNumber numberOf(const std::shared_ptr<const Emoji>& emoji);
    /// The word's number, and whether it has no place in the order yet; nothing for an empty word.
    struct Added {
        WordId word;
        bool isNew;
    };
    std::optional<Added> add(const std::string& word, const std::shared_ptr<const Emoji>& emoji);
    bool comesBefore(WordId left, WordId right) const;

    void sortOrder();

    std::optional<TrieNode> findNode(Word characters) const;
    std::optional<TrieNode> findNode(const std::string& lowercasedText) const;
    /// The word that ends at the node.
    std::optional<WordId> wordEndingAt(const TrieNode& node) const;
    /// Each emoji once, by number.
    std::vector<Found> collectEmojis(const TrieNode& from) const;
    std::vector<Emoji> getAllEmojis(const TrieNode& from) const;
    /// By emoji number.
    std::vector<Found> onceEach(std::vector<Found> found) const;

    Vocabulary m_vocabulary;
    /// The words sorted by their characters' numbers: those with a common beginning stand together.
    std::vector<WordId> m_order;
    /// By word.
    std::vector<Chain> m_chains;
    std::vector<LinkedPosting> m_postings;
    std::vector<std::shared_ptr<const Emoji>> m_emojis;
    /// Of all emoji, or none after shrinking. The keys lie in m_emojis.
    std::unordered_map<std::string_view, EmojiNumber> m_numbers;
    /// By emoji number: how many words were inserted for it.
    std::vector<std::uint32_t> m_wordCounts;
};

} // namespace glimmerwick
