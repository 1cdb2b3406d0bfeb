#pragma once

#include "Models/DecodingError.h"
#include "Models/Emoji.h"
#include "Models/EmojiCategory.h"
#include "Models/Result.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// The decoded catalogue: categories in order and every emoji once. Immutable after decoding; copies share
/// both. Moved from, it may only be assigned to or destroyed.
class Manifest {
public:
    /// Reads a manifest document. Unknown members are ignored; absent and null optional members are alike;
    /// a missing required key or a value of the wrong type fails the whole document.
    static Result<Manifest, DecodingError> decode(std::string_view json);

    /// Writes the manifest, pretty-printed; decoding it gives an equal manifest.
    std::string encode() const;

    /// Opaque strings, not parsed as numbers or dates.
    const std::string& version() const { return m_version; }
    const std::string& lastUpdated() const { return m_lastUpdated; }
    const std::vector<EmojiCategory>& categories() const { return *m_categories; }
    /// The same, there for as long as anybody holds them. Never null.
    std::shared_ptr<const std::vector<EmojiCategory>> sharedCategories() const { return m_categories; }

    /// One emoji per entry of the map. The order is ours to choose: catalogue order (category by category),
    /// then whatever no category lists, by codepoint; the same on every run.
    std::vector<Emoji> allEmojis() const { return m_emojis->all; }
    /// The same, there for as long as anybody holds them. Never null.
    std::shared_ptr<const std::vector<Emoji>> sharedEmojis() const { return {m_emojis, &m_emojis->all}; }

    /// Exact-key lookup.
    std::optional<Emoji> emoji(const std::string& codepoint) const;
    /// The same in place, for as long as this manifest or a copy of it is there; null when there is none.
    const Emoji* find(const std::string& codepoint) const;

    /// The category's list resolved in order; unknown codepoints are dropped, duplicates kept.
    std::vector<Emoji> emojis(const EmojiCategory& category) const;

    /// Whether all fields of all emoji are equal, too.
    friend bool operator==(const Manifest& left, const Manifest& right);

private:
    /// An emoji as the document stores it: without its codepoint, which is the map's key.
    struct EmojiData {
        std::string char_;
        std::string name;
        std::vector<std::string> keywords;
        std::string category;
        bool skinTones = false;
        std::optional<std::string> ios;
    };

    struct Emojis {
        std::vector<Emoji> all;
        /// The others, in the order of their codepoints. A table of hashes would take eight times the memory,
        /// for a few lookups each time the picker is used.
        std::vector<const Emoji*> byCodepoint;
    };

    friend struct ManifestCoding;

    static Emoji makeEmoji(std::string codepoint, EmojiData data);
    void setEmojis(std::unordered_map<std::string, EmojiData> emojisDict);

    std::string m_version;
    std::string m_lastUpdated;
    std::shared_ptr<const std::vector<EmojiCategory>> m_categories =
        std::make_shared<const std::vector<EmojiCategory>>();
    std::shared_ptr<const Emojis> m_emojis = std::make_shared<const Emojis>();
};

} // namespace glimmerwick
