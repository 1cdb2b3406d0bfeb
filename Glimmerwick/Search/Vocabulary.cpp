#include "Search/Vocabulary.h"

#include "Models/UnicodeText.h"

#include <algorithm>

namespace glimmerwick {

Vocabulary::Vocabulary()
    : m_storage(std::make_unique<Storage>()), m_known(0, Hash{m_storage.get()}, Equal{m_storage.get()})
{
}

Vocabulary::~Vocabulary() = default;
Vocabulary::Vocabulary(Vocabulary&&) noexcept = default;
Vocabulary& Vocabulary::operator=(Vocabulary&&) noexcept = default;

Vocabulary::WordId Vocabulary::add(std::string_view word)
{
    if (m_known.size() < size()) {
        recallWords();
    }
    auto& [graphemes, characters, ends] = *m_storage;
    const std::size_t begin = characters.size();
    graphemes.intern(unicode::lowercased(word), characters);
    ends.push_back(static_cast<std::uint32_t>(characters.size()));
    const auto candidate = static_cast<WordId>(ends.size() - 1);
    const auto [known, isNew] = m_known.insert(candidate);
    if (!isNew) {
        ends.pop_back();
        characters.resize(begin);
    }
    return *known;
}

void Vocabulary::shrink()
{
    m_storage->characters.shrink_to_fit();
    m_storage->ends.shrink_to_fit();
    m_known.clear();
    m_known.rehash(0);
}

void Vocabulary::recallWords()
{
    m_known.reserve(size());
    for (WordId id = 0; id < size(); ++id) {
        m_known.insert(id);
    }
}

std::vector<GraphemeId> Vocabulary::characters(std::string_view lowercasedText) const
{
    return m_storage->graphemes.lookUp(lowercasedText);
}

std::size_t Vocabulary::Hash::operator()(WordId id) const
{
    // FNV-1a.
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const GraphemeId character : storage->word(id)) {
        hash = (hash ^ character) * 0x100000001b3;
    }
    return hash;
}

bool Vocabulary::Equal::operator()(WordId left, WordId right) const
{
    return std::ranges::equal(storage->word(left), storage->word(right));
}

} // namespace glimmerwick
