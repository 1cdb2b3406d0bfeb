#pragma once

#include "Search/Graphemes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace glimmerwick {

/// Different words, lower-cased and split into numbered characters once, in one block of memory: many emoji
/// share a keyword. Filled first, then only read, by any thread.
class Vocabulary {
public:
    using WordId = std::uint32_t;
    /// The characters of a word. Of a word of this vocabulary: valid while nothing is added.
    using Word = std::span<const GraphemeId>;

    Vocabulary();
    ~Vocabulary();
    /// What was moved from can only be assigned to or destroyed.
    Vocabulary(Vocabulary&&) noexcept;
    Vocabulary& operator=(Vocabulary&&) noexcept;

    /// The number of the word, the same for words that are equal but for letter case. Numbers count from 0.
    /// An empty word is a word.
    WordId add(std::string_view word);

    /// Gives back the memory that only adding needs. The next word added then takes as long as adding all
    /// again.
    void shrink();

    std::size_t size() const { return m_storage->ends.size(); }
    Word word(WordId id) const { return m_storage->word(id); }

    /// The characters of a text that is lower-case already, to compare with the words.
    std::vector<GraphemeId> characters(std::string_view lowercasedText) const;

    /// Whether the character, one of a word of this vocabulary, is a letter or digit.
    bool isPartOfWord(GraphemeId character) const { return m_storage->graphemes.isPartOfWord(character); }

private:
    struct Storage {
        Word word(WordId id) const
        {
            const std::size_t begin = id == 0 ? 0 : ends[id - 1];
            return Word(characters).subspan(begin, ends[id] - begin);
        }

        GraphemeTable graphemes;
        std::vector<GraphemeId> characters;
        /// By word.
        std::vector<std::uint32_t> ends;
    };

    /// By characters, of words in the storage.
    struct Hash {
        std::size_t operator()(WordId id) const;
        const Storage* storage;
    };
    struct Equal {
        bool operator()(WordId left, WordId right) const;
        const Storage* storage;
    };

    void recallWords();

    /// Apart, so that moving the vocabulary leaves it where the known words look for it.
    std::unique_ptr<Storage> m_storage;
    /// All words, or none after shrinking: only adding looks here, and it takes as much as the words
    /// themselves.
    std::unordered_set<WordId, Hash, Equal> m_known;
};

} // namespace glimmerwick
