#pragma once

#include "Models/Emoji.h"

#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace glimmerwick {

/// Prefix index over words, keyed by user-perceived characters. No locking: written once, then only read.
class Trie {
public:
    Trie();
    ~Trie();
    Trie(Trie&&) noexcept;
    Trie& operator=(Trie&&) noexcept;

    /// Indexes one word, lower-cased, for one emoji. An empty word changes nothing.
    void insert(const std::string& word, const Emoji& emoji);

    /// Every emoji with a word that begins with the prefix, each once; empty for an empty prefix.
    std::vector<Emoji> search(const std::string& prefix) const;

    /// Whether exactly this word was inserted.
    bool contains(const std::string& word) const;

    /// The emoji of exactly this word.
    std::unordered_set<Emoji> getEmojis(const std::string& word) const;
};

} // namespace glimmerwick
