#include "EmojiFont.h"

#include "Platform/HarfBuzz/Handles.h"

#include <hb-ot.h>

#include <limits>
#include <utility>

namespace glimmerwick {

namespace {

constexpr const char* familyName = "Noto Color Emoji";
/// Two regional indicators that are, and stay, no country's.
constexpr std::string_view flagOfNoCountry = "\U0001F1FD\U0001F1FD";

const FcChar8* fontconfigText(const char* text)
{
    return reinterpret_cast<const FcChar8*>(text);
}

/// Nothing for no bytes, the answer of a font that lacks the picture.
std::optional<std::string> takeBytes(hb_blob_t* blob)
{
    const BlobHandle handle(blob);
    unsigned int length = 0;
    const char* const bytes = hb_blob_get_data(handle.get(), &length);
    return length > 0 ? std::optional(std::string(bytes, length)) : std::nullopt;
}

} // namespace

struct EmojiFont::Handles {
    FaceHandle face;
    FontHandle font;
};

EmojiFont::EmojiFont(std::unique_ptr<Handles> handles) : m_handles(std::move(handles))
{
    m_unknownFlag = glyph(flagOfNoCountry);
}

EmojiFont::EmojiFont(EmojiFont&&) noexcept = default;
EmojiFont& EmojiFont::operator=(EmojiFont&&) noexcept = default;
EmojiFont::~EmojiFont() = default;

Result<EmojiFont, GeneratorError> EmojiFont::installed()
{
    const PatternHandle wanted(FcPatternCreate());
    FcPatternAddString(wanted.get(), FC_FAMILY, fontconfigText(familyName));
    FcPatternAddBool(wanted.get(), FC_COLOR, FcTrue);
    FcConfigSubstitute(nullptr, wanted.get(), FcMatchPattern);
    FcDefaultSubstitute(wanted.get());
    FcResult result = FcResultNoMatch;
    const PatternHandle found(FcFontMatch(nullptr, wanted.get(), &result));

    FcChar8* family = nullptr;
    FcChar8* file = nullptr;
    int index = 0;
    // Fontconfig answers with the nearest font it has, whatever that is.
    if (!found || FcPatternGetString(found.get(), FC_FAMILY, 0, &family) != FcResultMatch
        || FcStrCmpIgnoreCase(family, fontconfigText(familyName)) != 0
        || FcPatternGetString(found.get(), FC_FILE, 0, &file) != FcResultMatch) {
        return Failure(GeneratorError{std::string("the font ") + familyName + " is not installed"});
    }
    FcPatternGetInteger(found.get(), FC_INDEX, 0, &index);
    return load(reinterpret_cast<const char*>(file), index);
}

Result<EmojiFont, GeneratorError> EmojiFont::load(const std::filesystem::path& file, int index)
{
    const BlobHandle blob(hb_blob_create_from_file_or_fail(file.c_str()));
    FaceHandle face(blob ? hb_face_create(blob.get(), static_cast<unsigned int>(index)) : nullptr);
    if (!face || hb_face_get_glyph_count(face.get()) == 0) {
        return Failure(GeneratorError{"cannot read the font " + file.string()});
    }
    FontHandle font(hb_font_create(face.get()));
    return EmojiFont(std::make_unique<Handles>(Handles{std::move(face), std::move(font)}));
}

std::optional<std::uint32_t> EmojiFont::glyph(std::string_view text) const
{
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        return std::nullopt;
    }
    const BufferHandle buffer(hb_buffer_create());
    // Variation selectors and joiners that are left over would count as glyphs of their own.
    hb_buffer_set_flags(buffer.get(), HB_BUFFER_FLAG_REMOVE_DEFAULT_IGNORABLES);
    const auto length = static_cast<int>(text.size());
    hb_buffer_add_utf8(buffer.get(), text.data(), length, 0, length);
    hb_buffer_guess_segment_properties(buffer.get());
    hb_shape(m_handles->font.get(), buffer.get(), nullptr, 0);

    unsigned int count = 0;
    const hb_glyph_info_t* const glyphs = hb_buffer_get_glyph_infos(buffer.get(), &count);
    constexpr hb_codepoint_t missing = 0;
    if (count != 1 || glyphs[0].codepoint == missing || glyphs[0].codepoint == m_unknownFlag) {
        return std::nullopt;
    }
    return glyphs[0].codepoint;
}

std::optional<std::string> EmojiFont::bitmap(std::string_view text) const
{
    const auto found = glyph(text);
    return found ? takeBytes(hb_ot_color_glyph_reference_png(m_handles->font.get(), *found)) : std::nullopt;
}

std::optional<std::string> EmojiFont::drawing(std::string_view text) const
{
    const auto found = glyph(text);
    const auto document =
        found ? takeBytes(hb_ot_color_glyph_reference_svg(m_handles->face.get(), *found)) : std::nullopt;
    // What comes before the root element must not come again inside another document.
    const auto root = document ? document->find("<svg") : std::string::npos;
    if (root == std::string::npos) {
        return std::nullopt;
    }
    // One document holds many glyphs that share parts: it is kept whole, and one glyph of it shown.
    const std::string content = "<defs>" + document->substr(root) + "</defs><use xlink:href=\"#glyph"
        + std::to_string(*found) + "\"/>";
    return svgOnCanvas(viewBoxOf(*found), content);
}

/// The glyph's whole box, as wide as its advance and as high as a line. The family's bitmaps are cut alike.
ViewBox EmojiFont::viewBoxOf(std::uint32_t glyph) const
{
    hb_font_extents_t line{};
    hb_font_get_h_extents(m_handles->font.get(), &line);
    const auto width = hb_font_get_glyph_h_advance(m_handles->font.get(), glyph);
    return {0, -static_cast<double>(line.ascender), static_cast<double>(width),
            static_cast<double>(line.ascender - line.descender)};
}

} // namespace glimmerwick
