#pragma once

#include "Models/DecodingError.h"
#include "Models/Result.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// One catalogue entry. A plain value, freely copied between threads.
///
/// Identity is the codepoint string alone: equality and hashing ignore every other field, so sets and maps
/// of emoji deduplicate by codepoint.
struct Emoji {
    /// Lower-case hexadecimal scalar values joined by "-" (1f44d-1f3fb); the key in the manifest's map.
    std::string codepoint;
    /// The text as it is typed, UTF-8.
    std::string char_;
    std::string name;
    /// Search words in manifest order.
    std::vector<std::string> keywords;
    /// The `id` of the category the emoji belongs to.
    std::string category;
    /// Whether the emoji accepts a skin-tone modifier.
    bool skinTones = false;
    /// A version tag carried through unchanged.
    std::optional<std::string> ios = std::nullopt;

    /// Reads a lone emoji object. The codepoint is no member of the object, so it comes out empty.
    static Result<Emoji, DecodingError> decode(std::string_view json);

    /// Writes the emoji as a JSON object, without its codepoint; "ios" only when present.
    std::string encode() const;

    friend bool operator==(const Emoji& left, const Emoji& right)
    {
        return left.codepoint == right.codepoint;
    }
};

} // namespace glimmerwick

template <> struct std::hash<glimmerwick::Emoji> {
    std::size_t operator()(const glimmerwick::Emoji& emoji) const noexcept
    {
        return std::hash<std::string>{}(emoji.codepoint);
    }
};
