#pragma once

#include "Models/DecodingError.h"
#include "Models/Emoji.h"
#include "Models/EmojiCategory.h"
#include "Models/Result.h"

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// The decoded catalogue: categories in order and every emoji once. Immutable after decoding.
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
    const std::vector<EmojiCategory>& categories() const { return m_categories; }

    /// One emoji per entry of the map. The order is ours to choose: catalogue order (category by category),
    /// then whatever no category lists, by codepoint; the same on every run.
    std::vector<Emoji> allEmojis() const;

    /// Exact-key lookup.
    std::optional<Emoji> emoji(const std::string& codepoint) const;

    /// The category's list resolved in order; unknown codepoints are dropped, duplicates kept.
    std::vector<Emoji> emojis(const EmojiCategory& category) const;

    friend bool operator==(const Manifest&, const Manifest&) = default;

private:
    /// An emoji as the document stores it: without its codepoint, which is the map's key.
    struct EmojiData {
        std::string char_;
        std::string name;
        std::vector<std::string> keywords;
        std::string category;
        bool skinTones = false;
        std::optional<std::string> ios;

        friend bool operator==(const EmojiData&, const EmojiData&) = default;
    };

    friend struct ManifestCoding;

    static Emoji makeEmoji(const std::string& codepoint, const EmojiData& data);

    std::string m_version;
    std::string m_lastUpdated;
    std::vector<EmojiCategory> m_categories;
    std::unordered_map<std::string, EmojiData> m_emojisDict;
};

} // namespace glimmerwick
