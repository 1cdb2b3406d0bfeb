// Decodes arbitrary bytes as a manifest and as a lone emoji.

#include "Fuzz/Invariant.h"
#include "Models/Emoji.h"
#include "Models/Manifest.h"
#include "Models/UnicodeText.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace glimmerwick {
namespace {

/// Equality of emoji looks at the codepoint alone.
bool isSame(const Emoji& left, const Emoji& right)
{
    return left.codepoint == right.codepoint && left.char_ == right.char_ && left.name == right.name
        && left.keywords == right.keywords && left.category == right.category
        && left.skinTones == right.skinTones && left.ios == right.ios;
}

bool areSame(const std::vector<Emoji>& left, const std::vector<Emoji>& right)
{
    return std::ranges::equal(left, right, isSame);
}

void checkError(const DecodingError& error)
{
    const std::string& text = error.description;
    requireInvariant(!text.empty(), "an error says something");
    requireInvariant(unicode::isWellFormed(text), "an error is well-formed text");
    requireInvariant(unicode::escapedForLog(text) == text, "an error is one readable line");
}

void checkEmoji(std::string_view json)
{
    const auto emoji = Emoji::decode(json);
    if (!emoji) {
        checkError(emoji.error());
        return;
    }
    requireInvariant(emoji.value().codepoint.empty(), "a lone emoji has no codepoint");
    const auto again = Emoji::decode(emoji.value().encode());
    requireInvariant(again.isSuccess(), "an encoded emoji decodes");
    requireInvariant(isSame(emoji.value(), again.value()), "an emoji survives encoding");
}

void checkEncoding(const Manifest& manifest)
{
    const std::string encoded = manifest.encode();
    const auto again = Manifest::decode(encoded);
    requireInvariant(again.isSuccess(), "an encoded manifest decodes");
    requireInvariant(manifest == again.value(), "a manifest survives encoding");
    requireInvariant(encoded == again.value().encode(), "equal manifests have one encoding");
    requireInvariant(areSame(manifest.allEmojis(), again.value().allEmojis()),
                     "equal manifests have one order");
}

/// The emoji that categories list, each where it stands first.
std::vector<std::string> listedCodepoints(const Manifest& manifest)
{
    std::vector<std::string> listed;
    std::unordered_set<std::string> seen;
    for (const EmojiCategory& category : manifest.categories()) {
        for (const std::string& codepoint : category.emojis) {
            if (manifest.emoji(codepoint) && seen.insert(codepoint).second) {
                listed.push_back(codepoint);
            }
        }
    }
    return listed;
}

void checkAllEmojis(const Manifest& manifest)
{
    const std::vector<Emoji> all = manifest.allEmojis();
    std::unordered_set<std::string> seen;
    for (const Emoji& emoji : all) {
        requireInvariant(seen.insert(emoji.codepoint).second, "every emoji stands there once");
        const auto found = manifest.emoji(emoji.codepoint);
        requireInvariant(found && isSame(emoji, *found), "an emoji is found by its codepoint");
    }
    const std::vector<std::string> listed = listedCodepoints(manifest);
    requireInvariant(all.size() >= listed.size(), "every listed emoji stands there");
    const auto firstUnlisted = all.begin() + static_cast<std::ptrdiff_t>(listed.size());
    requireInvariant(
        std::ranges::equal(all.begin(), firstUnlisted, listed.begin(), listed.end(), {}, &Emoji::codepoint),
        "listed emoji come first, in catalogue order");
    requireInvariant(std::ranges::is_sorted(firstUnlisted, all.end(), {}, &Emoji::codepoint),
                     "the others follow by codepoint");
}

void checkCategories(const Manifest& manifest)
{
    for (const EmojiCategory& category : manifest.categories()) {
        std::vector<Emoji> expected;
        for (const std::string& codepoint : category.emojis) {
            if (const auto emoji = manifest.emoji(codepoint)) {
                expected.push_back(*emoji);
            }
        }
        requireInvariant(areSame(manifest.emojis(category), expected),
                         "a category's emoji are those known, in its order");
    }
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    const std::string_view json(reinterpret_cast<const char*>(data), size);
    checkEmoji(json);
    const auto manifest = Manifest::decode(json);
    if (!manifest) {
        checkError(manifest.error());
        return 0;
    }
    requireInvariant(json.find('\0') == std::string_view::npos, "a text with a NUL is no document");
    checkEncoding(manifest.value());
    checkAllEmojis(manifest.value());
    checkCategories(manifest.value());
    return 0;
}
