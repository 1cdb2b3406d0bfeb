#include "Models/Manifest.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace glimmerwick {

namespace {

bool areAlike(const Emoji& left, const Emoji& right)
{
    const auto fields = [](const Emoji& emoji) {
        return std::tie(emoji.codepoint, emoji.char_, emoji.name, emoji.keywords, emoji.category,
                        emoji.skinTones, emoji.ios);
    };
    return fields(left) == fields(right);
}

} // namespace

bool operator==(const Manifest& left, const Manifest& right)
{
    return left.m_version == right.m_version && left.m_lastUpdated == right.m_lastUpdated
        && left.categories() == right.categories()
        && std::ranges::equal(left.m_emojis->all, right.m_emojis->all, areAlike);
}

Emoji Manifest::makeEmoji(std::string codepoint, EmojiData data)
{
    return {std::move(codepoint),     std::move(data.char_), std::move(data.name), std::move(data.keywords),
            std::move(data.category), data.skinTones,        std::move(data.ios)};
}

void Manifest::setEmojis(std::unordered_map<std::string, EmojiData> emojisDict)
{
    auto emojis = std::make_shared<Emojis>();
    std::vector<Emoji>& all = emojis->all;
    all.reserve(emojisDict.size());
    const auto take = [&](const std::string& codepoint) {
        if (auto entry = emojisDict.extract(codepoint)) {
            all.push_back(makeEmoji(std::move(entry.key()), std::move(entry.mapped())));
        }
    };
    for (const EmojiCategory& category : categories()) {
        std::ranges::for_each(category.emojis, take);
    }
    const auto unlisted = static_cast<std::ptrdiff_t>(all.size());
    for (auto& [codepoint, data] : emojisDict) {
        all.push_back(makeEmoji(codepoint, std::move(data)));
    }
    std::sort(all.begin() + unlisted, all.end(),
              [](const Emoji& left, const Emoji& right) { return left.codepoint < right.codepoint; });

    emojis->byCodepoint.reserve(all.size());
    for (const Emoji& emoji : all) {
        emojis->byCodepoint.push_back(&emoji);
    }
    std::ranges::sort(emojis->byCodepoint, {}, &Emoji::codepoint);
    m_emojis = std::move(emojis);
}

const Emoji* Manifest::find(const std::string& codepoint) const
{
    const std::vector<const Emoji*>& known = m_emojis->byCodepoint;
    const auto found = std::ranges::lower_bound(known, codepoint, {}, &Emoji::codepoint);
    return found != known.end() && (*found)->codepoint == codepoint ? *found : nullptr;
}

std::optional<Emoji> Manifest::emoji(const std::string& codepoint) const
{
    const Emoji* found = find(codepoint);
    return found ? std::optional(*found) : std::nullopt;
}

std::vector<Emoji> Manifest::emojis(const EmojiCategory& category) const
{
    std::vector<Emoji> known;
    known.reserve(category.emojis.size());
    for (const std::string& codepoint : category.emojis) {
        if (const Emoji* found = find(codepoint)) {
            known.push_back(*found);
        }
    }
    return known;
}

} // namespace glimmerwick
