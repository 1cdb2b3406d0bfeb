#pragma once

#include "Platform/GlyphPictures.h"
#include "Platform/TextLayout.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick {

/// Lays texts out in the system's colour emoji font, which is looked for once, on first use: the family
/// "Noto Color Emoji", else the first colour font with emoji in the order that fontconfig gives. A font whose
/// colours exist only in forms that are not drawn here counts as absent. Any thread.
class HarfBuzzTextLayout : public TextLayout, public GlyphPictures {
public:
    HarfBuzzTextLayout();
    ~HarfBuzzTextLayout() override;

    /// One run for the whole line; no runs for a text without glyphs. The picture that the font shows for
    /// every flag it does not know is reported as a missing glyph; tags that change nothing add one.
    std::optional<std::vector<GlyphRun>> layOut(std::string_view text, double pointSize) override;

    /// Valid as long as this is. Fonts of layers have none.
    std::optional<GlyphPicture> glyphPicture(std::string_view text) override;

    /// The font's family, to draw with; nothing when there is no such font.
    std::optional<std::string> colourEmojiFontFamily();

    /// The font's file; nothing when there is no such font.
    std::optional<std::filesystem::path> colourEmojiFontFile();

    /// The same, where another one bears the same family's name and might be drawn with in its stead.
    std::optional<std::filesystem::path> ambiguousFontFile();

private:
    struct Font;
    struct LazyFont;
    const Font* font();

    std::unique_ptr<LazyFont> m_font;
};

} // namespace glimmerwick
