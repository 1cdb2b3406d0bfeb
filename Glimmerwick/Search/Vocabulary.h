#pragma once

#include "Search/Graphemes.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// Words, lower-cased and split into numbered characters once, in one block of memory. Filled first, then
/// only read, by any thread.
class Vocabulary {
public:
    using WordId = std::uint32_t;
    /// The characters of a word. Of a word of this vocabulary: valid while nothing is added.
    using Word = std::span<const GraphemeId>;

    /// Numbers count from 0. An empty word is a word.
    WordId add(std::string_view word);

    std::size_t size() const { return m_ends.size(); }
    Word word(WordId id) const;

    /// The characters of a text that is lower-case already, to compare with the words.
    std::vector<GraphemeId> characters(std::string_view lowercasedText) const;

private:
    GraphemeTable m_graphemes;
    std::vector<GraphemeId> m_characters;
    std::vector<std::size_t> m_ends;
};

} // namespace glimmerwick
