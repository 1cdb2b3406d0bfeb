#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// A small number that stands for one user-perceived character; only numbers of the same table compare.
using GraphemeId = std::uint32_t;

/// Numbers user-perceived characters, so that words are compared by integers instead of by Unicode rules.
/// Canonically equivalent characters share a number. Any thread may read while none writes.
class GraphemeTable {
public:
    GraphemeTable();

    /// The text's characters; new ones are given a number. Letter case is kept.
    std::vector<GraphemeId> intern(std::string_view text);

    /// The same, appended, which spares an allocation for each of many words.
    void intern(std::string_view text, std::vector<GraphemeId>& into);

    /// The text's characters without adding any: one that the table lacks gets a number that nothing in the
    /// table has, the same one wherever it occurs in the text.
    std::vector<GraphemeId> lookUp(std::string_view text) const;

    /// Whether the character, one of this table, stands inside a word: a letter or digit.
    bool isPartOfWord(GraphemeId character) const { return m_partsOfWords[character]; }

private:
    std::unordered_map<std::string, GraphemeId> m_ids;
    /// By character.
    std::vector<bool> m_partsOfWords;
    /// Nearly all characters of nearly all words, known from the start: by byte, which is the number too.
    static constexpr GraphemeId asciiCount = 128;
};

} // namespace glimmerwick
