#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

namespace glimmerwick {

/// The picture that a font holds in the place of a glyph's outline. Lengths are multiples of the height of a
/// line, distances from the line's upper left corner.
struct GlyphPicture {
    /// As the font holds it, to which it belongs.
    std::span<const std::byte> png;
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
    /// Of the line that is the glyph alone.
    double lineWidth = 0;
};

/// The pictures of the system's colour emoji font. Any thread.
class GlyphPictures {
public:
    virtual ~GlyphPictures() = default;

    /// Nothing for a text that is not a single glyph, or one without such a picture.
    virtual std::optional<GlyphPicture> glyphPicture(std::string_view text) = 0;
};

} // namespace glimmerwick
