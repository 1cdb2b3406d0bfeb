#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::tests {

/// The bytes of font files that hold no more than a test needs. A font is 1000 units wide; a line reaches
/// from 800 units above the base line to 200 below.
class TinyFont {
public:
    /// The tables by tag, in the order of the tags.
    using Tables = std::vector<std::pair<std::string, std::string>>;

    /// One glyph, number 1, for one character, drawn by an SVG document.
    static std::string bytes(char32_t character, std::string_view svg)
    {
        constexpr std::size_t glyphCount = 2;
        return file({
            {"SVG ", svgTable(svg)},
            {"cmap", characterMap({&character, 1})},
            {"head", head()},
            {"hhea", horizontalHeader(glyphCount)},
            {"hmtx", horizontalMetrics(glyphCount)},
            {"maxp", u32(0x5000) + u16(glyphCount)},
        });
    }

    static std::string file(const Tables& tables)
    {
        constexpr std::size_t entrySize = 16;
        std::string directory = u32(0x10000) + u16(tables.size()) + std::string(6, '\0');
        std::string contents;
        const std::size_t start = directory.size() + tables.size() * entrySize;
        for (const auto& [tag, table] : tables) {
            directory += tag + u32(0) + u32(start + contents.size()) + u32(table.size());
            contents += table + std::string((4 - table.size() % 4) % 4, '\0');
        }
        return directory + contents;
    }

    static std::string u16(std::size_t value)
    {
        return {static_cast<char>(value >> 8), static_cast<char>(value)};
    }
    static std::string u32(std::size_t value) { return u16(value >> 16) + u16(value); }
    static std::size_t negative(std::size_t value) { return 0x10000 - value; }

    /// Glyphs have long offsets.
    static std::string head()
    {
        constexpr std::size_t magic = 0x5f0f3cf5;
        constexpr std::size_t unitsPerEm = 1000;
        return u32(0x10000) + u32(0) + u32(0) + u32(magic) + u16(0) + u16(unitsPerEm) + std::string(30, '\0')
            + u16(1) + u16(0);
    }

    static std::string horizontalHeader(std::size_t glyphCount)
    {
        return u32(0x10000) + u16(800) + u16(negative(200)) + std::string(26, '\0') + u16(glyphCount);
    }

    static std::string horizontalMetrics(std::size_t glyphCount)
    {
        std::string metrics;
        for (std::size_t glyph = 0; glyph < glyphCount; ++glyph) {
            metrics += u16(1000) + u16(0);
        }
        return metrics;
    }

    /// Of format 12: the characters, in ascending order, are the glyphs from 1 on.
    static std::string characterMap(std::u32string_view characters)
    {
        std::string groups;
        std::size_t glyph = 0;
        for (const char32_t character : characters) {
            groups += u32(character) + u32(character) + u32(++glyph);
        }
        const std::string subtable =
            u16(12) + u16(0) + u32(16 + groups.size()) + u32(0) + u32(characters.size()) + groups;
        return u16(0) + u16(1) + u16(3) + u16(10) + u32(12) + subtable;
    }

private:
    /// One document, for glyph 1.
    static std::string svgTable(std::string_view svg)
    {
        constexpr std::size_t entrySize = 12;
        return u16(0) + u32(10) + u32(0) + u16(1) + u16(1) + u16(1) + u32(2 + entrySize) + u32(svg.size())
            + std::string(svg);
    }
};

} // namespace glimmerwick::tests
