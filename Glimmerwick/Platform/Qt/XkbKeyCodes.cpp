#include "Platform/Qt/XkbKeyCodes.h"

#include "Platform/KeyEvent.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace glimmerwick::xkb {

namespace {

struct SymbolEntry {
    std::uint32_t keySymbol;
    std::uint16_t virtualKeyCode;
};

// The first entry of a code is its principal symbol. A numeric pad's arrow has these symbols only while Num
// Lock is off.
constexpr std::array symbolTable{
    SymbolEntry{0xff0d, keyCode::return_},   SymbolEntry{0xff09, keyCode::tab},
    SymbolEntry{0xfe20, keyCode::tab}, // ISO_Left_Tab, what Shift makes of Tab
    SymbolEntry{0x0020, keyCode::space},     SymbolEntry{0xff08, keyCode::delete_},
    SymbolEntry{0xff1b, keyCode::escape},    SymbolEntry{0xff8d, keyCode::keypadEnter},
    SymbolEntry{0xff51, keyCode::leftArrow}, SymbolEntry{0xff53, keyCode::rightArrow},
    SymbolEntry{0xff54, keyCode::downArrow}, SymbolEntry{0xff52, keyCode::upArrow},
    SymbolEntry{0xff96, keyCode::leftArrow}, SymbolEntry{0xff98, keyCode::rightArrow},
    SymbolEntry{0xff99, keyCode::downArrow}, SymbolEntry{0xff97, keyCode::upArrow},
};

struct PositionEntry {
    std::uint16_t kernelKeyCode;
    std::uint16_t virtualKeyCode;
};

constexpr std::array positionTable{
    // The digits' row.
    PositionEntry{41, 50},
    PositionEntry{2, 18},
    PositionEntry{3, 19},
    PositionEntry{4, 20},
    PositionEntry{5, 21},
    PositionEntry{6, 23},
    PositionEntry{7, 22},
    PositionEntry{8, 26},
    PositionEntry{9, 28},
    PositionEntry{10, 25},
    PositionEntry{11, 29},
    PositionEntry{12, 27},
    PositionEntry{13, 24},
    PositionEntry{124, 93},
    // Q to ].
    PositionEntry{16, 12},
    PositionEntry{17, 13},
    PositionEntry{18, 14},
    PositionEntry{19, 15},
    PositionEntry{20, 17},
    PositionEntry{21, 16},
    PositionEntry{22, 32},
    PositionEntry{23, 34},
    PositionEntry{24, 31},
    PositionEntry{25, 35},
    PositionEntry{26, 33},
    PositionEntry{27, 30},
    // A to the backslash.
    PositionEntry{30, 0},
    PositionEntry{31, 1},
    PositionEntry{32, 2},
    PositionEntry{33, 3},
    PositionEntry{34, 5},
    PositionEntry{35, 4},
    PositionEntry{36, 38},
    PositionEntry{37, 40},
    PositionEntry{38, 37},
    PositionEntry{39, 41},
    PositionEntry{40, 39},
    PositionEntry{43, 42},
    // The key beside left Shift to the slash, and the Japanese one beside right Shift.
    PositionEntry{86, 10},
    PositionEntry{44, 6},
    PositionEntry{45, 7},
    PositionEntry{46, 8},
    PositionEntry{47, keyCode::v},
    PositionEntry{48, 11},
    PositionEntry{49, 45},
    PositionEntry{50, 46},
    PositionEntry{51, 43},
    PositionEntry{52, 47},
    PositionEntry{53, 44},
    PositionEntry{89, 94},
    // F1 to F20.
    PositionEntry{59, 122},
    PositionEntry{60, 120},
    PositionEntry{61, 99},
    PositionEntry{62, 118},
    PositionEntry{63, 96},
    PositionEntry{64, 97},
    PositionEntry{65, 98},
    PositionEntry{66, 100},
    PositionEntry{67, 101},
    PositionEntry{68, 109},
    PositionEntry{87, 103},
    PositionEntry{88, 111},
    PositionEntry{183, 105},
    PositionEntry{184, 107},
    PositionEntry{185, 113},
    PositionEntry{186, 106},
    PositionEntry{187, 64},
    PositionEntry{188, 79},
    PositionEntry{189, 80},
    PositionEntry{190, 90},
    // Insert, Help, Home, Page Up, Delete, End, Page Down, Menu.
    PositionEntry{110, 114},
    PositionEntry{138, 114},
    PositionEntry{102, 115},
    PositionEntry{104, 116},
    PositionEntry{111, 117},
    PositionEntry{107, 119},
    PositionEntry{109, 121},
    PositionEntry{127, 110},
    // The numeric pad.
    PositionEntry{83, 65},
    PositionEntry{55, 67},
    PositionEntry{78, 69},
    PositionEntry{98, 75},
    PositionEntry{74, 78},
    PositionEntry{117, 81},
    PositionEntry{121, 95},
    PositionEntry{82, 82},
    PositionEntry{79, 83},
    PositionEntry{80, 84},
    PositionEntry{81, 85},
    PositionEntry{75, 86},
    PositionEntry{76, 87},
    PositionEntry{77, 88},
    PositionEntry{71, 89},
    PositionEntry{72, 91},
    PositionEntry{73, 92},
};

constexpr std::uint32_t xkbOffset = 8;

struct UsRow {
    std::uint32_t firstKernelKeyCode;
    std::string_view characters;
};

// A key symbol of an ASCII character is its code.
constexpr std::array usRows{
    UsRow{2, "1234567890-="},
    UsRow{16, "qwertyuiop[]"},
    UsRow{30, "asdfghjkl;'`"},
    UsRow{43, "\\zxcvbnm,./"},
};

} // namespace

std::uint16_t virtualKeyCode(std::uint32_t xkbKeyCode, std::uint32_t keySymbol)
{
    const auto symbol = std::ranges::find(symbolTable, keySymbol, &SymbolEntry::keySymbol);
    if (symbol != symbolTable.end()) {
        return symbol->virtualKeyCode;
    }
    const auto position = std::ranges::find_if(positionTable, [&](const PositionEntry& entry) {
        return entry.kernelKeyCode + xkbOffset == xkbKeyCode;
    });
    return position == positionTable.end() ? keyCode::unknown : position->virtualKeyCode;
}

std::optional<std::uint32_t> keySymbol(std::uint16_t virtualKeyCode)
{
    const auto symbol = std::ranges::find(symbolTable, virtualKeyCode, &SymbolEntry::virtualKeyCode);
    return symbol == symbolTable.end() ? std::nullopt : std::optional(symbol->keySymbol);
}

std::optional<std::uint32_t> usKeySymbol(std::uint16_t virtualKeyCode)
{
    if (const auto symbol = keySymbol(virtualKeyCode)) {
        return symbol;
    }
    const auto key = xkbKeyCode(virtualKeyCode);
    for (const UsRow& row : usRows) {
        const std::uint32_t first = row.firstKernelKeyCode + xkbOffset;
        if (key && *key >= first && *key < first + row.characters.size()) {
            return static_cast<unsigned char>(row.characters[*key - first]);
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> xkbKeyCode(std::uint16_t virtualKeyCode)
{
    const auto position = std::ranges::find(positionTable, virtualKeyCode, &PositionEntry::virtualKeyCode);
    return position == positionTable.end() ? std::nullopt
                                           : std::optional(position->kernelKeyCode + xkbOffset);
}

} // namespace glimmerwick::xkb
