#pragma once

#include "Arguments.h"
#include "ImageCanvas.h"

#include "Models/Result.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// A font file with the pictures of emoji. A text is a picture of the font only when it becomes one glyph
/// there: the same rule by which the picker decides what the font can draw.
class EmojiFont {
public:
    /// The installed Noto Color Emoji.
    static Result<EmojiFont, GeneratorError> installed();
    /// `index` counts the fonts of a collection.
    static Result<EmojiFont, GeneratorError> load(const std::filesystem::path& file, int index = 0);

    EmojiFont(EmojiFont&&) noexcept;
    EmojiFont& operator=(EmojiFont&&) noexcept;
    ~EmojiFont();

    /// The PNG file that the font carries for a text.
    std::optional<std::string> bitmap(std::string_view text) const;

    /// The drawing that the font carries for a text, as an SVG document of the canvas's size. Compressed
    /// drawings are not read.
    std::optional<std::string> drawing(std::string_view text) const;

private:
    struct Handles;
    explicit EmojiFont(std::unique_ptr<Handles> handles);

    std::optional<std::uint32_t> glyph(std::string_view text) const;
    ViewBox viewBoxOf(std::uint32_t glyph) const;

    std::unique_ptr<Handles> m_handles;
    /// Shown for any flag that the font does not know.
    std::optional<std::uint32_t> m_unknownFlag;
};

} // namespace glimmerwick
