#pragma once

#include "Arguments.h"
#include "EmojiFont.h"
#include "IconSet.h"
#include "ScratchFolder.h"

#include "Models/Result.h"

#include <filesystem>
#include <optional>
#include <string>

namespace glimmerwick {

enum class ImageOrigin { installedFont, icons, webFont };

struct EmojiImage {
    /// A PNG file of the canvas's size.
    std::string png;
    ImageOrigin origin = ImageOrigin::installedFont;
};

/// One image to make: its name without ".png", and the text that it shows.
struct WantedImage {
    std::string codepoint;
    std::string text;
};

/// Where images come from, in this order: the bitmaps of the installed font, what the picker shows anyway;
/// the drawings of the icon package; those of the web font, which has the rest.
class ImageSources {
public:
    /// `packages` is the folder of the npm packages. They are read when an image is not in the font.
    ImageSources(EmojiFont installedFont, std::filesystem::path packages, ScratchFolder scratch);

    bool isInInstalledFont(const WantedImage& wanted) const;

    /// Fails when no source has the image, or not as it should be.
    Result<EmojiImage, GeneratorError> image(const WantedImage& wanted);

private:
    struct Drawing {
        std::string svg;
        ImageOrigin origin = ImageOrigin::icons;
    };

    Result<EmojiImage, GeneratorError> unchecked(const WantedImage& wanted);
    Result<Drawing, GeneratorError> drawing(const WantedImage& wanted);
    Result<std::string, GeneratorError> render(const std::string& svg) const;
    const Result<IconSet, GeneratorError>& icons();
    const Result<EmojiFont, GeneratorError>& webFont();
    Result<EmojiFont, GeneratorError> unpackWebFont() const;

    EmojiFont m_installedFont;
    std::filesystem::path m_packages;
    ScratchFolder m_scratch;
    std::optional<Result<IconSet, GeneratorError>> m_icons;
    std::optional<Result<EmojiFont, GeneratorError>> m_webFont;
};

} // namespace glimmerwick
