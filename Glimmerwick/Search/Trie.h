#pragma once

#include "Models/Emoji.h"
#include "Search/Graphemes.h"

#include <compare>
#include <cstdint>
#include <deque>
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
    Trie();
    ~Trie();
    /// What was moved from can only be assigned to or destroyed.
    Trie(Trie&&) noexcept;
    Trie& operator=(Trie&&) noexcept;

    /// Indexes one word, lower-cased, for one emoji. An empty word changes nothing.
    void insert(const std::string& word, const Emoji& emoji);

    /// The same, but the emoji is shared instead of copied.
    void insertShared(const std::string& word, const std::shared_ptr<const Emoji>& emoji);

    /// Every emoji with a word that begins with the prefix, each once; empty for an empty prefix. The order
    /// tells how much an emoji means the prefix, and is the same on every run: first by the earliest of its
    /// words that begins with it (the name goes in first, then the keywords, most telling first), then
    /// whether the prefix is whole there ("hot" in "hot face", not in "hotel"), then by how little of the
    /// word is missing, then as the emoji were first inserted.
    std::vector<Emoji> search(const std::string& prefix) const;

    /// The same, uncopied; the pointers stay valid as long as the trie.
    std::vector<const Emoji*> matches(const std::string& prefix) const;

    /// Whether exactly this word was inserted.
    bool contains(const std::string& word) const;

    /// The emoji of exactly this word.
    std::unordered_set<Emoji> getEmojis(const std::string& word) const;

private:
    using NodeIndex = std::uint32_t;
    /// Counts the emoji in the order in which they were first inserted.
    using EmojiNumber = std::uint32_t;

    /// An emoji at the end of one of its words.
    struct Entry {
        EmojiNumber number;
        /// Counts the emoji's words in the order in which they were inserted.
        std::uint32_t wordNumber;
    };

    /// Why an emoji is found; the smaller, the better.
    struct Closeness {
        std::uint32_t wordNumber;
        /// Whether a letter or digit follows the prefix.
        bool endsInsideWord;
        /// Characters of the word behind the prefix.
        std::uint32_t missing;

        auto operator<=>(const Closeness&) const = default;
    };
    /// By emoji number; nothing for an emoji that is not found.
    using EmojiSet = std::vector<std::optional<Closeness>>;

    struct Edge {
        GraphemeId character;
        NodeIndex child;
    };

    /// Emoji stand here as numbers: a value in every node would take tens of megabytes.
    struct TrieNode {
        /// Sorted by character. Nearly every node has one child or none.
        std::vector<Edge> children;
        /// As they were inserted; an emoji may stand here more than once.
        std::vector<Entry> emojis;
        bool isEndOfWord = false;

        std::vector<Edge>::const_iterator position(GraphemeId character) const;
    };

    NodeIndex childFor(NodeIndex parent, GraphemeId character);
    EmojiNumber numberOf(const std::shared_ptr<const Emoji>& emoji);

    /// Takes lower-case text; null when there is no such path, the root for an empty text.
    const TrieNode* findNode(const std::string& text) const;
    void collectEmojis(const TrieNode& from, EmojiSet& into) const;
    std::vector<const Emoji*> emojisBelow(const TrieNode& from) const;
    std::vector<Emoji> getAllEmojis(const TrieNode& from) const;

    GraphemeTable m_graphemes;
    /// The root first. One container of all nodes, because freeing or walking the tree node by node would
    /// recurse as deep as the longest word.
    std::deque<TrieNode> m_nodes;
    std::vector<std::shared_ptr<const Emoji>> m_emojis;
    /// The keys lie in m_emojis.
    std::unordered_map<std::string_view, EmojiNumber> m_numbers;
    /// By emoji number: how many words were inserted for it.
    std::vector<std::uint32_t> m_wordCounts;
};

} // namespace glimmerwick
