#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// Consecutive glyphs of one font. Glyph 0 is a missing glyph.
struct GlyphRun {
    std::vector<std::uint32_t> glyphs;
};

/// Lays a text out as one line in the system's colour emoji font. Any thread.
class TextLayout {
public:
    virtual ~TextLayout() = default;

    /// The glyph runs of the UTF-8 text, or nothing when there is no colour emoji font.
    virtual std::optional<std::vector<GlyphRun>> layOut(std::string_view text, double pointSize) = 0;
};

} // namespace glimmerwick
