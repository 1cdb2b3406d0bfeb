#include "Search/Graphemes.h"

#include "Models/UnicodeText.h"

namespace glimmerwick {

namespace {

// Composing first makes equivalent texts equal bytes, and every cluster of a composed text is composed
// itself.
std::vector<std::string> characters(std::string_view text)
{
    return unicode::graphemeClusters(unicode::canonical(text));
}

} // namespace

std::vector<GraphemeId> GraphemeTable::intern(std::string_view text)
{
    std::vector<GraphemeId> ids;
    for (std::string& character : characters(text)) {
        const auto next = static_cast<GraphemeId>(m_ids.size());
        const auto [entry, isNew] = m_ids.try_emplace(std::move(character), next);
        if (isNew) {
            m_partsOfWords.push_back(unicode::startsWithLetterOrDigit(entry->first));
        }
        ids.push_back(entry->second);
    }
    return ids;
}

std::vector<GraphemeId> GraphemeTable::lookUp(std::string_view text) const
{
    std::vector<GraphemeId> ids;
    std::unordered_map<std::string, GraphemeId> unknown;
    for (std::string& character : characters(text)) {
        if (const auto found = m_ids.find(character); found != m_ids.end()) {
            ids.push_back(found->second);
            continue;
        }
        const auto next = static_cast<GraphemeId>(m_ids.size() + unknown.size());
        ids.push_back(unknown.try_emplace(std::move(character), next).first->second);
    }
    return ids;
}

} // namespace glimmerwick
