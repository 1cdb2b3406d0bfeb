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

GraphemeTable::GraphemeTable()
{
    for (GraphemeId ascii = 0; ascii < asciiCount; ++ascii) {
        const std::string character(1, static_cast<char>(ascii));
        m_ids.emplace(character, ascii);
        m_partsOfWords.push_back(unicode::startsWithLetterOrDigit(character));
    }
}

std::vector<GraphemeId> GraphemeTable::intern(std::string_view text)
{
    std::vector<GraphemeId> ids;
    intern(text, ids);
    return ids;
}

void GraphemeTable::intern(std::string_view text, std::vector<GraphemeId>& into)
{
    if (unicode::isPlainAscii(text)) {
        into.insert(into.end(), text.begin(), text.end());
        return;
    }
    for (std::string& character : characters(text)) {
        const auto next = static_cast<GraphemeId>(m_ids.size());
        const auto [entry, isNew] = m_ids.try_emplace(std::move(character), next);
        if (isNew) {
            m_partsOfWords.push_back(unicode::startsWithLetterOrDigit(entry->first));
        }
        into.push_back(entry->second);
    }
}

std::vector<GraphemeId> GraphemeTable::lookUp(std::string_view text) const
{
    if (unicode::isPlainAscii(text)) {
        return {text.begin(), text.end()};
    }
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
