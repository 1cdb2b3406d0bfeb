#include "ImageSources.h"

#include "ExternalProgram.h"
#include "Files.h"
#include "ImageCanvas.h"

#include <system_error>
#include <utility>

namespace glimmerwick {

namespace {

std::string describe(ImageSize size)
{
    return std::to_string(size.width) + " x " + std::to_string(size.height) + " pixels";
}

} // namespace

ImageSources::ImageSources(EmojiFont installedFont, std::filesystem::path packages, ScratchFolder scratch)
    : m_installedFont(std::move(installedFont)), m_packages(std::move(packages)),
      m_scratch(std::move(scratch))
{
}

bool ImageSources::isInInstalledFont(const WantedImage& wanted) const
{
    return m_installedFont.bitmap(wanted.text).has_value();
}

Result<EmojiImage, GeneratorError> ImageSources::image(const WantedImage& wanted)
{
    auto image = unchecked(wanted);
    if (!image) {
        return image;
    }
    const auto size = sizeOfPng(image.value().png);
    if (!size) {
        return Failure(GeneratorError{"its image is no PNG file"});
    }
    if (*size != canvasSize) {
        return Failure(
            GeneratorError{"its image has " + describe(*size) + " instead of " + describe(canvasSize)});
    }
    return image;
}

Result<EmojiImage, GeneratorError> ImageSources::unchecked(const WantedImage& wanted)
{
    if (auto bitmap = m_installedFont.bitmap(wanted.text)) {
        return EmojiImage{std::move(*bitmap), ImageOrigin::installedFont};
    }
    const auto found = drawing(wanted);
    if (!found) {
        return Failure(found.error());
    }
    auto png = render(found.value().svg);
    if (!png) {
        return Failure(png.error());
    }
    return EmojiImage{std::move(png).value(), found.value().origin};
}

Result<ImageSources::Drawing, GeneratorError> ImageSources::drawing(const WantedImage& wanted)
{
    if (!icons()) {
        return Failure(icons().error());
    }
    if (auto svg = icons().value().drawing(wanted.codepoint)) {
        return Drawing{std::move(*svg), ImageOrigin::icons};
    }
    if (!webFont()) {
        return Failure(webFont().error());
    }
    if (auto svg = webFont().value().drawing(wanted.text)) {
        return Drawing{std::move(*svg), ImageOrigin::webFont};
    }
    return Failure(GeneratorError{"no source has an image of it"});
}

Result<std::string, GeneratorError> ImageSources::render(const std::string& svg) const
{
    const auto drawing = m_scratch.path() / "drawing.svg";
    const auto picture = m_scratch.path() / "picture.png";
    if (const auto written = replaceFile(drawing, svg); !written) {
        return Failure(written.error());
    }
    const auto converted =
        runProgram({"rsvg-convert", "--format", "png", "--output", picture.string(), drawing.string()});
    if (!converted) {
        return Failure(converted.error());
    }
    return readFile(picture);
}

const Result<IconSet, GeneratorError>& ImageSources::icons()
{
    if (!m_icons) {
        m_icons = IconSet::load(m_packages / "@iconify-json" / "noto");
    }
    return *m_icons;
}

const Result<EmojiFont, GeneratorError>& ImageSources::webFont()
{
    if (!m_webFont) {
        m_webFont = unpackWebFont();
    }
    return *m_webFont;
}

Result<EmojiFont, GeneratorError> ImageSources::unpackWebFont() const
{
    const auto packed =
        m_packages / "@fontsource" / "noto-color-emoji" / "files" / "noto-color-emoji-emoji-400-normal.woff2";
    // The unpacked file appears beside the packed one, and the packages are to stay as they are.
    const auto copy = m_scratch.path() / "web-font.woff2";
    std::error_code error;
    std::filesystem::copy_file(packed, copy, error);
    if (error) {
        return Failure(GeneratorError{"cannot copy " + packed.string() + ": " + error.message()});
    }
    if (const auto unpacked = runProgram({"woff2_decompress", copy.string()}); !unpacked) {
        return Failure(unpacked.error());
    }
    return EmojiFont::load(m_scratch.path() / "web-font.ttf");
}

} // namespace glimmerwick
