#include "Models/ClusterRules.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include <unicode/uchar.h>

namespace glimmerwick::unicode {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

/// Extended_Pictographic of the Unicode Character Database (Unicode-3.0). For this one property ICU would
/// load a file of its own. Code points that may become emoji later are in it.
constexpr std::array<Range, 78> pictographs{
    {{0xa9, 0xa9},       {0xae, 0xae},       {0x203c, 0x203c},   {0x2049, 0x2049},   {0x2122, 0x2122},
     {0x2139, 0x2139},   {0x2194, 0x2199},   {0x21a9, 0x21aa},   {0x231a, 0x231b},   {0x2328, 0x2328},
     {0x2388, 0x2388},   {0x23cf, 0x23cf},   {0x23e9, 0x23f3},   {0x23f8, 0x23fa},   {0x24c2, 0x24c2},
     {0x25aa, 0x25ab},   {0x25b6, 0x25b6},   {0x25c0, 0x25c0},   {0x25fb, 0x25fe},   {0x2600, 0x2605},
     {0x2607, 0x2612},   {0x2614, 0x2685},   {0x2690, 0x2705},   {0x2708, 0x2712},   {0x2714, 0x2714},
     {0x2716, 0x2716},   {0x271d, 0x271d},   {0x2721, 0x2721},   {0x2728, 0x2728},   {0x2733, 0x2734},
     {0x2744, 0x2744},   {0x2747, 0x2747},   {0x274c, 0x274c},   {0x274e, 0x274e},   {0x2753, 0x2755},
     {0x2757, 0x2757},   {0x2763, 0x2767},   {0x2795, 0x2797},   {0x27a1, 0x27a1},   {0x27b0, 0x27b0},
     {0x27bf, 0x27bf},   {0x2934, 0x2935},   {0x2b05, 0x2b07},   {0x2b1b, 0x2b1c},   {0x2b50, 0x2b50},
     {0x2b55, 0x2b55},   {0x3030, 0x3030},   {0x303d, 0x303d},   {0x3297, 0x3297},   {0x3299, 0x3299},
     {0x1f000, 0x1f0ff}, {0x1f10d, 0x1f10f}, {0x1f12f, 0x1f12f}, {0x1f16c, 0x1f171}, {0x1f17e, 0x1f17f},
     {0x1f18e, 0x1f18e}, {0x1f191, 0x1f19a}, {0x1f1ad, 0x1f1e5}, {0x1f201, 0x1f20f}, {0x1f21a, 0x1f21a},
     {0x1f22f, 0x1f22f}, {0x1f232, 0x1f23a}, {0x1f23c, 0x1f23f}, {0x1f249, 0x1f3fa}, {0x1f400, 0x1f53d},
     {0x1f546, 0x1f64f}, {0x1f680, 0x1f6ff}, {0x1f774, 0x1f77f}, {0x1f7d5, 0x1f7ff}, {0x1f80c, 0x1f80f},
     {0x1f848, 0x1f84f}, {0x1f85a, 0x1f85f}, {0x1f888, 0x1f88f}, {0x1f8ae, 0x1f8ff}, {0x1f90c, 0x1f93a},
     {0x1f93c, 0x1f945}, {0x1f947, 0x1faff}, {0x1fc00, 0x1fffd}}};

/// Latin to Arabic and Syriac, more Latin and Greek, signs; the ideographs and kana; selectors; emoji; tags.
/// Left out are scripts whose letters join: India's, whose rules Unicode still adds to, and Korea's.
constexpr std::array<Range, 6> covered{{{0x20, 0x8ff},
                                        {0x1e00, 0x2bff},
                                        {0x3000, 0x9fff},
                                        {0xfe00, 0xfe0f},
                                        {0x1f000, 0x1faff},
                                        {0xe0020, 0xe007f}}};

template <std::size_t size> bool contains(const std::array<Range, size>& ranges, char32_t scalar)
{
    const auto* range = std::ranges::lower_bound(ranges, scalar, {}, &Range::last);
    return range != ranges.end() && range->first <= scalar;
}

int kindOf(char32_t scalar)
{
    return u_getIntPropertyValue(static_cast<UChar32>(scalar), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

} // namespace

bool ClusterRules::cover(char32_t scalar)
{
    if (!contains(covered, scalar)) {
        return false;
    }
    const int kind = kindOf(scalar);
    return kind == U_GCB_OTHER || kind == U_GCB_EXTEND || kind == U_GCB_ZWJ
        || kind == U_GCB_REGIONAL_INDICATOR;
}

bool ClusterRules::beginsWith(char32_t scalar)
{
    const int kind = kindOf(scalar);
    const bool isMark = kind == U_GCB_EXTEND || kind == U_GCB_ZWJ;
    const bool completesFlag = m_isFlagHalf && kind == U_GCB_REGIONAL_INDICATOR;
    const bool isJoined = m_pictograph == Pictograph::joined && contains(pictographs, scalar);
    const bool begins = m_isFirst || (!isMark && !completesFlag && !isJoined);
    m_isFirst = false;
    m_isFlagHalf = kind == U_GCB_REGIONAL_INDICATOR && !completesFlag;
    follow(scalar, kind);
    return begins;
}

void ClusterRules::follow(char32_t scalar, int kind)
{
    if (contains(pictographs, scalar)) {
        m_pictograph = Pictograph::open;
    } else if (m_pictograph == Pictograph::open && kind == U_GCB_ZWJ) {
        m_pictograph = Pictograph::joined;
    } else if (m_pictograph != Pictograph::open || kind != U_GCB_EXTEND) {
        m_pictograph = Pictograph::none;
    }
}

} // namespace glimmerwick::unicode
