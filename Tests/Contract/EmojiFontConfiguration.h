#pragma once

#include "TemporaryFolder.h"

#include <fontconfig/fontconfig.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick::contract {

/// A folder of fonts which, from `use()` on and until this goes, are the only ones of this process. For one
/// thread.
class EmojiFontConfiguration {
public:
    EmojiFontConfiguration() { std::filesystem::create_directory(m_fonts); }
    ~EmojiFontConfiguration()
    {
        if (m_before) {
            FcConfigSetCurrent(m_before.get());
        }
    }
    EmojiFontConfiguration(const EmojiFontConfiguration&) = delete;
    EmojiFontConfiguration& operator=(const EmojiFontConfiguration&) = delete;

    std::filesystem::path write(std::string_view name, std::string_view bytes) const
    {
        const auto file = m_fonts / name;
        std::ofstream(file, std::ios::binary) << bytes;
        return file;
    }

    void link(const std::filesystem::path& font) const
    {
        std::filesystem::create_symlink(font, m_fonts / font.filename());
    }

    /// Whether fontconfig could be made to use it.
    bool use()
    {
        const std::string text =
            "<?xml version=\"1.0\"?><!DOCTYPE fontconfig SYSTEM \"fonts.dtd\"><fontconfig><dir>"
            + m_fonts.string() + "</dir><cachedir>" + (m_folder.path() / "cache").string()
            + "</cachedir></fontconfig>";
        const Handle own(FcConfigCreate());
        m_before.reset(FcConfigReference(nullptr));
        return FcConfigParseAndLoadFromMemory(own.get(), reinterpret_cast<const FcChar8*>(text.c_str()),
                                              FcTrue)
            && FcConfigBuildFonts(own.get()) && FcConfigSetCurrent(own.get());
    }

    /// The file of the process's font of this family, if it has one.
    static std::optional<std::filesystem::path> fileOf(const char* family)
    {
        const PatternHandle wanted(FcPatternBuild(nullptr, FC_FAMILY, FcTypeString, family, nullptr));
        return firstFile(wanted.get());
    }

    /// The file of a font that fontconfig takes for a colour font with this character, if there is one.
    static std::optional<std::filesystem::path> colourFileWith(char32_t character)
    {
        const CharSetHandle characters(FcCharSetCreate());
        FcCharSetAddChar(characters.get(), character);
        const PatternHandle wanted(FcPatternBuild(nullptr, FC_COLOR, FcTypeBool, FcTrue, FC_CHARSET,
                                                  FcTypeCharSet, characters.get(), nullptr));
        return firstFile(wanted.get());
    }

private:
    struct ConfigDeleter {
        void operator()(FcConfig* config) const { FcConfigDestroy(config); }
    };
    struct PatternDeleter {
        void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
    };
    struct CharSetDeleter {
        void operator()(FcCharSet* characters) const { FcCharSetDestroy(characters); }
    };
    struct ObjectSetDeleter {
        void operator()(FcObjectSet* objects) const { FcObjectSetDestroy(objects); }
    };
    struct FontSetDeleter {
        void operator()(FcFontSet* fonts) const { FcFontSetDestroy(fonts); }
    };
    using Handle = std::unique_ptr<FcConfig, ConfigDeleter>;
    using PatternHandle = std::unique_ptr<FcPattern, PatternDeleter>;
    using CharSetHandle = std::unique_ptr<FcCharSet, CharSetDeleter>;
    using ObjectSetHandle = std::unique_ptr<FcObjectSet, ObjectSetDeleter>;
    using FontSetHandle = std::unique_ptr<FcFontSet, FontSetDeleter>;

    static std::optional<std::filesystem::path> firstFile(FcPattern* wanted)
    {
        const ObjectSetHandle objects(FcObjectSetBuild(FC_FILE, nullptr));
        const FontSetHandle fonts(FcFontList(nullptr, wanted, objects.get()));
        FcChar8* file = nullptr;
        if (!fonts || fonts->nfont == 0
            || FcPatternGetString(fonts->fonts[0], FC_FILE, 0, &file) != FcResultMatch) {
            return std::nullopt;
        }
        return reinterpret_cast<const char*>(file);
    }

    TemporaryFolder m_folder;
    std::filesystem::path m_fonts = m_folder.path() / "fonts";
    Handle m_before;
};

} // namespace glimmerwick::contract
