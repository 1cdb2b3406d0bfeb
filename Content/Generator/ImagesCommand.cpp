#include "Commands.h"

#include "Files.h"
#include "ImageSources.h"

#include "Models/Manifest.h"
#include "Models/SkinTone.h"
#include "Platform/Linux/Files.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

constexpr std::array<std::string_view, 3> options = {"--packages", "--manifest", "--output"};
constexpr std::string_view missingSwitch = "--missing-from-font";
constexpr std::array<std::string_view, 1> switches = {missingSwitch};
constexpr const char* imageExtension = ".png";

enum class Selection { everything, missingFromFont };

/// A text is empty where the codepoint string is not a valid one.
std::vector<WantedImage> wantedImages(const Manifest& manifest, Selection selection)
{
    std::vector<WantedImage> wanted;
    for (const Emoji& emoji : manifest.allEmojis()) {
        // A key may lack the variation selector that the emoji is written with.
        const bool isValid = SkinTone::codepointToChar(emoji.codepoint).has_value();
        wanted.push_back({emoji.codepoint, isValid ? emoji.char_ : ""});
        if (!emoji.skinTones || selection == Selection::missingFromFont) {
            continue;
        }
        for (const SkinTone tone : SkinTone::allCases()) {
            if (tone != SkinTone::default_) {
                const std::string codepoint = tone.apply(emoji.codepoint);
                wanted.push_back({codepoint, SkinTone::codepointToChar(codepoint).value_or("")});
            }
        }
    }
    return wanted;
}

/// Makes images and writes them, and keeps count.
class ImageWriter {
public:
    ImageWriter(ImageSources sources, std::filesystem::path folder)
        : m_sources(std::move(sources)), m_folder(std::move(folder))
    {
    }

    bool isInInstalledFont(const WantedImage& wanted) const { return m_sources.isInInstalledFont(wanted); }

    void write(const WantedImage& wanted)
    {
        m_wantedFiles.insert(fileName(wanted));
        if (const auto written = tryToWrite(wanted); !written) {
            std::cerr << wanted.codepoint << ": " << written.error().description << "\n";
            m_missing.push_back(wanted.codepoint);
        }
    }

    void printCounts()
    {
        std::cout << m_counts[ImageOrigin::installedFont] << " images from the installed font, "
                  << m_counts[ImageOrigin::icons] << " from the icons, " << m_counts[ImageOrigin::webFont]
                  << " from the web font\n";
    }

    /// Removes the images that write() was not called for. One that could not be made anew stays as it was,
    /// and so does everything that is no image.
    Result<Success, GeneratorError> removeOthers() const
    {
        const auto names = LocalFileSystem().regularFiles(m_folder);
        if (!names) {
            return Failure(GeneratorError{names.error().description});
        }
        for (const std::string& name : names.value()) {
            const std::filesystem::path file = m_folder / name;
            if (file.extension() != imageExtension || m_wantedFiles.contains(name)) {
                continue;
            }
            std::error_code error;
            std::filesystem::remove(file, error);
            if (error) {
                return Failure(GeneratorError{"cannot remove " + file.string() + ": " + error.message()});
            }
        }
        return Success{};
    }

    Result<Success, GeneratorError> outcome() const
    {
        if (m_missing.empty()) {
            return Success{};
        }
        std::string description = "images are missing:";
        for (const std::string& codepoint : m_missing) {
            description += " " + codepoint;
        }
        return Failure(GeneratorError{std::move(description)});
    }

private:
    static std::string fileName(const WantedImage& wanted) { return wanted.codepoint + imageExtension; }

    Result<Success, GeneratorError> tryToWrite(const WantedImage& wanted)
    {
        if (wanted.text.empty()) {
            return Failure(GeneratorError{"is no codepoint string"});
        }
        const auto image = m_sources.image(wanted);
        if (!image) {
            return Failure(image.error());
        }
        auto written = replaceFile(m_folder / fileName(wanted), image.value().png);
        if (written) {
            ++m_counts[image.value().origin];
        }
        return written;
    }

    ImageSources m_sources;
    std::filesystem::path m_folder;
    std::set<std::string> m_wantedFiles;
    std::map<ImageOrigin, std::size_t> m_counts;
    std::vector<std::string> m_missing;
};

Result<Manifest, GeneratorError> readManifest(const std::filesystem::path& file)
{
    const auto bytes = readFile(file);
    if (!bytes) {
        return Failure(bytes.error());
    }
    auto manifest = Manifest::decode(bytes.value());
    if (!manifest) {
        return Failure(GeneratorError{file.string() + ": " + manifest.error().description});
    }
    return std::move(manifest).value();
}

Result<ImageWriter, GeneratorError> makeWriter(const std::filesystem::path& packages,
                                               const std::filesystem::path& output)
{
    std::error_code error;
    std::filesystem::create_directories(output, error);
    if (error) {
        return Failure(GeneratorError{"cannot create folder " + output.string() + ": " + error.message()});
    }
    auto font = EmojiFont::installed();
    if (!font) {
        return Failure(font.error());
    }
    auto scratch = ScratchFolder::create();
    if (!scratch) {
        return Failure(scratch.error());
    }
    return ImageWriter(ImageSources(std::move(font).value(), packages, std::move(scratch).value()), output);
}

} // namespace

Result<Success, GeneratorError> runImages(std::span<const std::string> words)
{
    const auto arguments = Arguments::parse(words, options, switches);
    if (!arguments) {
        return Failure(arguments.error());
    }
    std::map<std::string_view, std::string> values;
    for (const std::string_view option : options) {
        const auto value = arguments.value().value(option);
        if (!value) {
            return Failure(value.error());
        }
        values[option] = value.value();
    }
    const auto manifest = readManifest(values["--manifest"]);
    if (!manifest) {
        return Failure(manifest.error());
    }
    auto writer = makeWriter(values["--packages"], values["--output"]);
    if (!writer) {
        return Failure(writer.error());
    }
    const Selection selection =
        arguments.value().has(missingSwitch) ? Selection::missingFromFont : Selection::everything;
    for (const WantedImage& wanted : wantedImages(manifest.value(), selection)) {
        if (selection == Selection::everything || !writer.value().isInInstalledFont(wanted)) {
            writer.value().write(wanted);
        }
    }
    writer.value().printCounts();
    if (const auto removed = writer.value().removeOthers(); !removed) {
        return removed;
    }
    return writer.value().outcome();
}

} // namespace glimmerwick
