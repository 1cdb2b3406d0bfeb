#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include "Platform/HarfBuzz/Handles.h"

#include <hb-ot.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <mutex>
#include <span>
#include <utility>

namespace glimmerwick {

namespace {

constexpr const char* preferredFamily = "Noto Color Emoji";
constexpr hb_codepoint_t grinningFace = 0x1f600;
constexpr std::uint32_t missingGlyph = 0;
/// Two regional indicators that are, and stay, no country's.
constexpr std::string_view flagOfNoCountry = "\U0001F1FD\U0001F1FD";

const FcChar8* fontconfigText(const char* text)
{
    return reinterpret_cast<const FcChar8*>(text);
}

unsigned int tableLength(hb_face_t* face, hb_tag_t tag)
{
    const BlobHandle table(hb_face_reference_table(face, tag));
    return hb_blob_get_length(table.get());
}

/// Layers of plain colours, COLR's first form, may stand beside the gradients of the second, which Qt 6.4
/// cannot draw.
bool hasColourLayers(hb_face_t* face)
{
    const BlobHandle table(hb_face_reference_table(face, HB_TAG('C', 'O', 'L', 'R')));
    unsigned int length = 0;
    const char* const bytes = hb_blob_get_data(table.get(), &length);
    // The version, then the count of base glyphs with layers, both 16 bits, the high byte first.
    constexpr unsigned int countEnd = 4;
    return length >= countEnd && (bytes[2] != 0 || bytes[3] != 0);
}

bool canBeDrawnInColour(hb_face_t* face)
{
    return tableLength(face, HB_TAG('C', 'B', 'D', 'T')) > 0
        || tableLength(face, HB_TAG('s', 'b', 'i', 'x')) > 0 || hasColourLayers(face);
}

BufferHandle bufferOf(std::string_view text)
{
    BufferHandle buffer(hb_buffer_create());
    const auto length = static_cast<int>(std::min<std::size_t>(text.size(), std::numeric_limits<int>::max()));
    hb_buffer_add_utf8(buffer.get(), text.data(), length, 0, length);
    return buffer;
}

/// Tags tell which region's flag the flag before them is.
bool isTag(const hb_glyph_info_t& character)
{
    return character.codepoint >= 0xe0020 && character.codepoint <= 0xe007f;
}

/// The same text without its tags, or null when it has none.
BufferHandle withoutTags(hb_buffer_t* text)
{
    unsigned int count = 0;
    const hb_glyph_info_t* const characters = hb_buffer_get_glyph_infos(text, &count);
    if (std::none_of(characters, characters + count, isTag)) {
        return nullptr;
    }
    BufferHandle rest(hb_buffer_create());
    hb_buffer_set_content_type(rest.get(), HB_BUFFER_CONTENT_TYPE_UNICODE);
    for (unsigned int index = 0; index < count; ++index) {
        if (!isTag(characters[index])) {
            hb_buffer_add(rest.get(), characters[index].codepoint, characters[index].cluster);
        }
    }
    return rest;
}

std::vector<std::uint32_t> shape(hb_font_t* font, BufferHandle text)
{
    // Variation selectors and joiners that are left over would count as glyphs of their own.
    hb_buffer_set_flags(text.get(), HB_BUFFER_FLAG_REMOVE_DEFAULT_IGNORABLES);
    hb_buffer_guess_segment_properties(text.get());
    hb_shape(font, text.get(), nullptr, 0);

    unsigned int count = 0;
    const hb_glyph_info_t* const glyphs = hb_buffer_get_glyph_infos(text.get(), &count);
    std::vector<std::uint32_t> result;
    result.reserve(count);
    std::transform(glyphs, glyphs + count, std::back_inserter(result),
                   [](const hb_glyph_info_t& glyph) { return glyph.codepoint; });
    return result;
}

/// The fonts of the system, the best for emoji first.
FontSetHandle emojiFontCandidates()
{
    const PatternHandle wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), FC_FAMILY, fontconfigText(preferredFamily));
    FcPatternAddString(wanted.get(), FC_FAMILY, fontconfigText("emoji"));
    FcPatternAddBool(wanted.get(), FC_COLOR, FcTrue);
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    return FontSetHandle(FcFontSort(nullptr, wanted.get(), FcFalse, nullptr, &result));
}

bool isColourEmojiFont(FcPattern* candidate)
{
    FcBool colour = FcFalse;
    FcCharSet* characters = nullptr;
    return FcPatternGetBool(candidate, FC_COLOR, 0, &colour) == FcResultMatch && colour
        && FcPatternGetCharSet(candidate, FC_CHARSET, 0, &characters) == FcResultMatch
        && FcCharSetHasChar(characters, grinningFace);
}

} // namespace

struct HarfBuzzTextLayout::Font {
    std::string family;
    /// Immutable, so that threads may share it.
    FontHandle font;
    /// The glyph shown for any unknown flag, where the font has one.
    std::optional<std::uint32_t> unknownFlag;

    std::filesystem::path file;
    /// Another file has the same family, so that the name alone does not tell which is meant.
    bool sharesItsFamily = false;

    static std::optional<Font> find()
    {
        const FontSetHandle candidates = emojiFontCandidates();
        std::optional<Font> found;
        for (int index = 0; candidates && index < candidates->nfont && !found; ++index) {
            FcPattern* const candidate = candidates->fonts[index];
            if (isColourEmojiFont(candidate)) {
                found = load(candidate);
            }
        }
        for (int index = 0; found && index < candidates->nfont; ++index) {
            FcPattern* const other = candidates->fonts[index];
            found->sharesItsFamily = found->sharesItsFamily
                || (textOf(other, FC_FAMILY) == found->family && textOf(other, FC_FILE) != found->file);
        }
        return found;
    }

private:
    static std::string textOf(FcPattern* pattern, const char* property)
    {
        FcChar8* text = nullptr;
        return FcPatternGetString(pattern, property, 0, &text) == FcResultMatch
            ? reinterpret_cast<const char*>(text)
            : std::string();
    }

    static std::optional<Font> load(FcPattern* candidate)
    {
        FcChar8* file = nullptr;
        FcChar8* family = nullptr;
        int index = 0;
        if (FcPatternGetString(candidate, FC_FILE, 0, &file) != FcResultMatch
            || FcPatternGetString(candidate, FC_FAMILY, 0, &family) != FcResultMatch) {
            return std::nullopt;
        }
        FcPatternGetInteger(candidate, FC_INDEX, 0, &index);

        const BlobHandle blob(hb_blob_create_from_file_or_fail(reinterpret_cast<const char*>(file)));
        if (!blob) {
            return std::nullopt;
        }
        const FaceHandle face(hb_face_create(blob.get(), static_cast<unsigned int>(index)));
        if (!canBeDrawnInColour(face.get())) {
            return std::nullopt;
        }
        hb_face_make_immutable(face.get());
        Font result{reinterpret_cast<const char*>(family), FontHandle(hb_font_create(face.get())),
                    std::nullopt, reinterpret_cast<const char*>(file)};
        hb_font_make_immutable(result.font.get());
        // fontconfig tells what the file held when it last looked; it may have been cut off since.
        hb_codepoint_t glyph = missingGlyph;
        if (!hb_font_get_nominal_glyph(result.font.get(), grinningFace, &glyph)) {
            return std::nullopt;
        }
        const auto flag = shape(result.font.get(), bufferOf(flagOfNoCountry));
        if (flag.size() == 1) {
            result.unknownFlag = flag.front();
        }
        return result;
    }
};

struct HarfBuzzTextLayout::LazyFont {
    std::once_flag looked;
    std::optional<Font> font;
};

HarfBuzzTextLayout::HarfBuzzTextLayout() : m_font(std::make_unique<LazyFont>()) { }

HarfBuzzTextLayout::~HarfBuzzTextLayout() = default;

const HarfBuzzTextLayout::Font* HarfBuzzTextLayout::font()
{
    std::call_once(m_font->looked, [this] { m_font->font = Font::find(); });
    return m_font->font ? &*m_font->font : nullptr;
}

// Which glyphs a text becomes does not depend on their size.
std::optional<std::vector<GlyphRun>> HarfBuzzTextLayout::layOut(std::string_view text, double)
{
    const Font* const emojiFont = font();
    if (!emojiFont) {
        return std::nullopt;
    }
    BufferHandle buffer = bufferOf(text);
    BufferHandle rest = withoutTags(buffer.get());
    GlyphRun run{shape(emojiFont->font.get(), std::move(buffer))};
    if (run.glyphs.empty()) {
        return std::vector<GlyphRun>();
    }
    if (emojiFont->unknownFlag) {
        std::replace(run.glyphs.begin(), run.glyphs.end(), *emojiFont->unknownFlag, missingGlyph);
    }
    // Tags that no rule of the font takes up vanish: a plain black flag would pass for Scotland's.
    if (rest && run.glyphs == shape(emojiFont->font.get(), std::move(rest))) {
        run.glyphs.push_back(missingGlyph);
    }
    return std::vector<GlyphRun>{std::move(run)};
}

std::optional<GlyphPicture> HarfBuzzTextLayout::glyphPicture(std::string_view text)
{
    const auto runs = layOut(text, 0);
    if (!runs || runs->size() != 1 || runs->front().glyphs.size() != 1) {
        return std::nullopt;
    }
    const std::uint32_t glyph = runs->front().glyphs.front();
    hb_font_t* const emojiFont = font()->font.get();
    hb_glyph_extents_t box;
    hb_font_extents_t line;
    if (glyph == missingGlyph || !hb_font_get_glyph_extents(emojiFont, glyph, &box)
        || !hb_font_get_h_extents(emojiFont, &line) || line.ascender <= line.descender) {
        return std::nullopt;
    }
    // What the handle gives up here is the font's, whose file stays mapped.
    const BlobHandle blob(hb_ot_color_glyph_reference_png(emojiFont, glyph));
    unsigned int length = 0;
    const char* const png = hb_blob_get_data(blob.get(), &length);
    if (length == 0) {
        return std::nullopt;
    }
    const double lineHeight = line.ascender - line.descender;
    GlyphPicture picture;
    picture.png = std::as_bytes(std::span(png, length));
    picture.left = box.x_bearing / lineHeight;
    picture.top = (line.ascender - box.y_bearing) / lineHeight;
    picture.width = box.width / lineHeight;
    // Upwards is positive.
    picture.height = -box.height / lineHeight;
    picture.lineWidth = hb_font_get_glyph_h_advance(emojiFont, glyph) / lineHeight;
    return picture;
}

std::optional<std::filesystem::path> HarfBuzzTextLayout::colourEmojiFontFile()
{
    const Font* const emojiFont = font();
    return emojiFont ? std::optional(emojiFont->file) : std::nullopt;
}

std::optional<std::filesystem::path> HarfBuzzTextLayout::ambiguousFontFile()
{
    const Font* const emojiFont = font();
    return emojiFont && emojiFont->sharesItsFamily ? std::optional(emojiFont->file) : std::nullopt;
}

std::optional<std::string> HarfBuzzTextLayout::colourEmojiFontFamily()
{
    const Font* const emojiFont = font();
    return emojiFont ? std::optional(emojiFont->family) : std::nullopt;
}

} // namespace glimmerwick
