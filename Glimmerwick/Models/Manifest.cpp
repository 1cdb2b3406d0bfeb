#include "Models/Manifest.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>

namespace glimmerwick {

Emoji Manifest::makeEmoji(const std::string& codepoint, const EmojiData& data)
{
    return {codepoint, data.char_, data.name, data.keywords, data.category, data.skinTones, data.ios};
}

std::vector<Emoji> Manifest::allEmojis() const
{
    std::vector<Emoji> all;
    all.reserve(m_emojisDict.size());
    std::unordered_set<std::string_view> listed;
    for (const EmojiCategory& category : m_categories) {
        for (const std::string& codepoint : category.emojis) {
            const auto found = m_emojisDict.find(codepoint);
            if (found != m_emojisDict.end() && listed.insert(found->first).second) {
                all.push_back(makeEmoji(found->first, found->second));
            }
        }
    }

    const auto unlisted = static_cast<std::ptrdiff_t>(all.size());
    for (const auto& [codepoint, data] : m_emojisDict) {
        if (listed.count(codepoint) == 0) {
            all.push_back(makeEmoji(codepoint, data));
        }
    }
    std::sort(all.begin() + unlisted, all.end(),
              [](const Emoji& left, const Emoji& right) { return left.codepoint < right.codepoint; });
    return all;
}

std::optional<Emoji> Manifest::emoji(const std::string& codepoint) const
{
    const auto found = m_emojisDict.find(codepoint);
    return found == m_emojisDict.end() ? std::nullopt : std::optional(makeEmoji(found->first, found->second));
}

std::vector<Emoji> Manifest::emojis(const EmojiCategory& category) const
{
    std::vector<Emoji> known;
    known.reserve(category.emojis.size());
    for (const std::string& codepoint : category.emojis) {
        if (auto found = emoji(codepoint)) {
            known.push_back(std::move(*found));
        }
    }
    return known;
}

} // namespace glimmerwick
