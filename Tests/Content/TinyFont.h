#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::tests {

/// The bytes of a font file with one glyph, number 1, for one character, drawn by an SVG document. It is 1000
/// units wide; a line reaches from 800 units above the base line to 200 below.
class TinyFont {
public:
    static std::string bytes(char32_t character, std::string_view svg)
    {
        const std::vector<std::pair<std::string, std::string>> tables = {
            {"SVG ", svgTable(svg)},
            {"cmap", characterMap(character)},
            {"head", head()},
            {"hhea", u32(0x10000) + u16(800) + u16(negative(200)) + std::string(26, '\0') + u16(glyphCount)},
            {"hmtx", (u16(1000) + u16(0)) + (u16(1000) + u16(0))},
            {"maxp", u32(0x5000) + u16(glyphCount)},
        };
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

private:
    static constexpr std::size_t glyphCount = 2;

    static std::string u16(std::size_t value)
    {
        return {static_cast<char>(value >> 8), static_cast<char>(value)};
    }
    static std::string u32(std::size_t value) { return u16(value >> 16) + u16(value); }
    static std::size_t negative(std::size_t value) { return 0x10000 - value; }

    static std::string head()
    {
        constexpr std::size_t magic = 0x5f0f3cf5;
        constexpr std::size_t unitsPerEm = 1000;
        return u32(0x10000) + u32(0) + u32(0) + u32(magic) + u16(0) + u16(unitsPerEm) + std::string(34, '\0');
    }

    /// Of format 12: one group, whose first character is glyph 1.
    static std::string characterMap(char32_t character)
    {
        const std::string group = u32(character) + u32(character) + u32(1);
        const std::string subtable = u16(12) + u16(0) + u32(16 + group.size()) + u32(0) + u32(1) + group;
        return u16(0) + u16(1) + u16(3) + u16(10) + u32(12) + subtable;
    }

    /// One document, for glyph 1.
    static std::string svgTable(std::string_view svg)
    {
        constexpr std::size_t entrySize = 12;
        return u16(0) + u32(10) + u32(0) + u16(1) + u16(1) + u16(1) + u32(2 + entrySize) + u32(svg.size())
            + std::string(svg);
    }
};

} // namespace glimmerwick::tests
