#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// What the packages say of one base emoji.
struct EmojiRecord {
    /// Exact, fully qualified (unicode-emoji-json).
    std::string text;
    /// In the locale's language (emojibase-data, from the Unicode CLDR).
    std::string name;
    /// Unordered search words in the locale's language (emojibase-data, from the Unicode CLDR).
    std::vector<std::string> tags;
    /// As chat programs spell them, with underscores, most common first (emojibase-data).
    std::vector<std::string> shortcodes;
    std::vector<std::string> emoticons;
    /// English search words (emojilib).
    std::vector<std::string> libraryWords;
};

struct EmojiGroup {
    /// As unicode-emoji-json spells it, "smileys_emotion".
    std::string slug;
    /// In the locale's language (emojibase-data), as it stands in a sentence.
    std::string name;
    /// In the order of the Unicode charts.
    std::vector<EmojiRecord> emojis;
};

/// The library's words are English.
inline constexpr std::string_view englishLocale = "en";

/// Reads the npm packages unpacked below the folder. Fails for a package or locale that is not there and for
/// one of another form. Where a locale lacks an emoji, its English name stands in.
Result<std::vector<EmojiGroup>, GeneratorError> loadPackageData(const std::filesystem::path& packages,
                                                                const std::string& locale);

} // namespace glimmerwick
