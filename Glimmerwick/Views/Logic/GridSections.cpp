#include "Views/Logic/GridSections.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

void GridSections::setManifest(const Manifest& manifest)
{
    m_categories = manifest.sharedCategories();
    m_totalEmojiCount = 0;
    for (const EmojiCategory& category : categories()) {
        std::vector<const Emoji*> emojis;
        for (const std::string& codepoint : category.emojis) {
            if (const Emoji* emoji = manifest.find(codepoint)) {
                emojis.push_back(emoji);
            }
        }
        m_totalEmojiCount += emojis.size();
        m_emojisByCategory[category.id] = std::move(emojis);
    }
    m_catalogue = manifest.sharedEmojis();
}

void GridSections::setRecentEmojis(std::vector<Emoji> recentEmojis)
{
    m_recentEmojis = std::move(recentEmojis);
}

void GridSections::showSearchResults(std::vector<Emoji> results)
{
    m_searchResults = std::move(results);
    m_isSearching = true;
}

void GridSections::clearSearch()
{
    m_searchResults.clear();
    m_isSearching = false;
}

std::size_t GridSections::numberOfSections() const
{
    return m_isSearching ? (m_searchResults.empty() ? 0 : 1) : browsingSectionCount();
}

std::size_t GridSections::numberOfItems(std::size_t section) const
{
    if (const auto* shown = categoryEmojis(section)) {
        return shown->size();
    }
    const auto* shown = otherEmojis(section);
    return shown ? shown->size() : 0;
}

std::optional<Emoji> GridSections::emoji(IndexPath path) const
{
    if (path.item >= numberOfItems(path.section)) {
        return std::nullopt;
    }
    const auto* shown = categoryEmojis(path.section);
    return shown ? *(*shown)[path.item] : (*otherEmojis(path.section))[path.item];
}

std::optional<std::string> GridSections::title(std::size_t section) const
{
    if (m_isSearching) {
        return "Search Results";
    }
    if (section < recentSectionCount()) {
        return "Recent";
    }
    const std::size_t category = section - recentSectionCount();
    return category < m_categories->size() ? std::optional(categories()[category].name) : std::nullopt;
}

std::optional<std::size_t> GridSections::section(const std::string& categoryId) const
{
    const auto found = std::find_if(m_categories->begin(), m_categories->end(),
                                    [&](const EmojiCategory& category) { return category.id == categoryId; });
    if (found == m_categories->end()) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - m_categories->begin()) + recentSectionCount();
}

const std::vector<const Emoji*>* GridSections::categoryEmojis(std::size_t section) const
{
    if (m_isSearching || section < recentSectionCount()) {
        return nullptr;
    }
    const std::size_t category = section - recentSectionCount();
    if (category >= m_categories->size()) {
        return nullptr;
    }
    const auto found = m_emojisByCategory.find(categories()[category].id);
    return found == m_emojisByCategory.end() ? nullptr : &found->second;
}

const std::vector<Emoji>* GridSections::otherEmojis(std::size_t section) const
{
    if (m_isSearching) {
        return section < numberOfSections() ? &m_searchResults : nullptr;
    }
    return section < recentSectionCount() ? &m_recentEmojis : nullptr;
}

} // namespace glimmerwick
