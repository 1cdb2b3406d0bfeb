#pragma once

#include "Content/TinyFont.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace glimmerwick::contract {

/// The bytes of colour fonts with one glyph for each of a few characters: all the same red square, since
/// nobody looks at it.
class TinyEmojiFont {
public:
    /// How the glyphs get their colours: by layers of plain colours, by a graph of paints, or by layers with
    /// graphs beside them.
    enum class Colours { layers, paints, layersAndPaints };

    /// The characters in ascending order.
    static std::string bytes(std::string_view family, std::u32string_view characters, Colours colours)
    {
        const std::size_t glyphCount = characters.size() + 1;
        return Font::file({
            {"COLR", colourTable(characters.size(), colours)},
            {"CPAL", palette()},
            {"cmap", Font::characterMap(characters)},
            {"glyf", square()},
            {"head", Font::head()},
            {"hhea", Font::horizontalHeader(glyphCount)},
            {"hmtx", Font::horizontalMetrics(glyphCount)},
            {"loca", glyphOffsets(glyphCount)},
            {"maxp", maximumProfile(glyphCount)},
            {"name", names(family)},
        });
    }

private:
    using Font = tests::TinyFont;

    /// Every glyph is glyph 0, the square, in the palette's only colour.
    static std::string colourTable(std::size_t count, Colours colours)
    {
        constexpr std::size_t headerSize = 34;
        const std::size_t layerCount = colours == Colours::paints ? 0 : count;
        const std::string layers = layerRecords(layerCount);
        const std::size_t baseRecordsSize = layerCount * 6;
        const std::string header = Font::u16(layerCount) + Font::u32(layerCount == 0 ? 0 : headerSize)
            + Font::u32(layerCount == 0 ? 0 : headerSize + baseRecordsSize) + Font::u16(layerCount);
        const bool hasPaints = colours != Colours::layers;
        const std::size_t paintsOffset = hasPaints ? headerSize + layers.size() : 0;
        return Font::u16(hasPaints ? 1 : 0) + header + Font::u32(paintsOffset) + std::string(16, '\0')
            + layers + (hasPaints ? paints(count) : std::string());
    }

    /// The base glyphs, then their layers, one each.
    static std::string layerRecords(std::size_t count)
    {
        std::string baseGlyphs;
        std::string layers;
        for (std::size_t glyph = 1; glyph <= count; ++glyph) {
            baseGlyphs += Font::u16(glyph) + Font::u16(glyph - 1) + Font::u16(1);
            layers += Font::u16(0) + Font::u16(0);
        }
        return baseGlyphs + layers;
    }

    /// The list of base glyphs, all with the same paint: a glyph's outline filled with a plain colour.
    static std::string paints(std::size_t count)
    {
        const std::size_t paintOffset = 4 + count * 6;
        std::string list = Font::u32(count);
        for (std::size_t glyph = 1; glyph <= count; ++glyph) {
            list += Font::u16(glyph) + Font::u32(paintOffset);
        }
        const std::string outline = std::string("\x0a\0\0\x06", 4) + Font::u16(0);
        const std::string fill = std::string("\x02", 1) + Font::u16(0) + Font::u16(0x4000);
        return list + outline + fill;
    }

    static std::string palette()
    {
        const std::string red("\0\0\xff\xff", 4);
        return Font::u16(0) + Font::u16(1) + Font::u16(1) + Font::u16(1) + Font::u32(14) + Font::u16(0) + red;
    }

    /// One contour of four points.
    static std::string square()
    {
        const std::string box = Font::u16(0) + Font::u16(0) + Font::u16(800) + Font::u16(800);
        const std::string flags(4, '\x01');
        const std::string across = Font::u16(0) + Font::u16(0) + Font::u16(800) + Font::u16(0);
        const std::string up = Font::u16(0) + Font::u16(800) + Font::u16(0) + Font::u16(Font::negative(800));
        return Font::u16(1) + box + Font::u16(3) + Font::u16(0) + flags + across + up;
    }

    /// The outline belongs to glyph 0; the others have none of their own.
    static std::string glyphOffsets(std::size_t glyphCount)
    {
        std::string offsets = Font::u32(0);
        for (std::size_t glyph = 0; glyph < glyphCount; ++glyph) {
            offsets += Font::u32(square().size());
        }
        return offsets;
    }

    static std::string maximumProfile(std::size_t glyphCount)
    {
        return Font::u32(0x10000) + Font::u16(glyphCount) + Font::u16(4) + Font::u16(1)
            + std::string(22, '\0');
    }

    /// The family alone, in English for Windows.
    static std::string names(std::string_view family)
    {
        std::string text;
        for (const char letter : family) {
            text += Font::u16(static_cast<unsigned char>(letter));
        }
        constexpr std::size_t familyName = 1;
        constexpr std::size_t americanEnglish = 0x409;
        return Font::u16(0) + Font::u16(1) + Font::u16(18) + Font::u16(3) + Font::u16(1)
            + Font::u16(americanEnglish) + Font::u16(familyName) + Font::u16(text.size()) + Font::u16(0)
            + text;
    }
};

} // namespace glimmerwick::contract
