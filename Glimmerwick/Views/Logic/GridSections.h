#pragma once

#include "Models/Emoji.h"
#include "Models/EmojiCategory.h"
#include "Models/Manifest.h"
#include "Views/Logic/IndexPath.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// What the grid shows, section by section: the recent emoji, if any, and the categories; or, while
/// searching, one section of results, or none.
class GridSections {
public:
    /// Shares the manifest's categories and emoji.
    void setManifest(const Manifest& manifest);
    void setRecentEmojis(std::vector<Emoji> recentEmojis);

    /// Starts searching, or replaces the results.
    void showSearchResults(std::vector<Emoji> results);
    void clearSearch();

    bool isSearching() const { return m_isSearching; }
    bool hasNoSearchResults() const { return m_isSearching && m_searchResults.empty(); }
    const std::vector<EmojiCategory>& categories() const { return *m_categories; }
    const std::vector<Emoji>& recentEmojis() const { return m_recentEmojis; }
    /// Over all categories; an emoji listed twice counts twice.
    std::size_t totalEmojiCount() const { return m_totalEmojiCount; }

    std::size_t numberOfSections() const;
    std::size_t numberOfItems(std::size_t section) const;
    /// Nothing for a place that shows no emoji.
    std::optional<Emoji> emoji(IndexPath path) const;
    /// Nothing for a section that does not exist.
    std::optional<std::string> title(std::size_t section) const;
    double headerHeight() const { return hasNoSearchResults() ? 0 : 28; }

    /// 1 when the recent emoji take the first section of browsing, else 0.
    std::size_t recentSectionCount() const { return m_recentEmojis.empty() ? 0 : 1; }
    /// Of browsing, also while searching.
    std::size_t browsingSectionCount() const { return m_categories->size() + recentSectionCount(); }
    /// The section of browsing that shows the category.
    std::optional<std::size_t> section(const std::string& categoryId) const;

private:
    /// Of a category, unless searching; else nothing.
    const std::vector<const Emoji*>* categoryEmojis(std::size_t section) const;
    /// What else a section shows, if there is such a section.
    const std::vector<Emoji>* otherEmojis(std::size_t section) const;

    std::shared_ptr<const std::vector<EmojiCategory>> m_categories =
        std::make_shared<const std::vector<EmojiCategory>>();
    std::unordered_map<std::string, std::vector<const Emoji*>> m_emojisByCategory;
    /// What those refer to.
    std::shared_ptr<const std::vector<Emoji>> m_catalogue;
    std::size_t m_totalEmojiCount = 0;
    std::vector<Emoji> m_recentEmojis;
    bool m_isSearching = false;
    std::vector<Emoji> m_searchResults;
};

} // namespace glimmerwick
