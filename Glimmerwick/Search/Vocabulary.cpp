#include "Search/Vocabulary.h"

#include "Models/UnicodeText.h"

namespace glimmerwick {

Vocabulary::WordId Vocabulary::add(std::string_view word)
{
    const auto characters = m_graphemes.intern(unicode::lowercased(word));
    m_characters.insert(m_characters.end(), characters.begin(), characters.end());
    m_ends.push_back(m_characters.size());
    return static_cast<WordId>(m_ends.size() - 1);
}

Vocabulary::Word Vocabulary::word(WordId id) const
{
    const std::size_t begin = id == 0 ? 0 : m_ends[id - 1];
    return Word(m_characters).subspan(begin, m_ends[id] - begin);
}

std::vector<GraphemeId> Vocabulary::characters(std::string_view lowercasedText) const
{
    return m_graphemes.lookUp(lowercasedText);
}

} // namespace glimmerwick
