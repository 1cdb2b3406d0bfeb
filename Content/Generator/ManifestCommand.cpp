#include "CatalogueBuilder.h"
#include "Commands.h"
#include "Files.h"

#include <nlohmann/json.hpp>

#include <array>
#include <filesystem>
#include <iostream>

namespace glimmerwick {

namespace {

using std::filesystem::path;

constexpr std::array<std::string_view, 4> manifestOptions = {"--packages", "--content", "--locale",
                                                             "--output"};

Result<Edition, GeneratorError> readEdition(const path& file)
{
    const auto text = readFile(file);
    if (!text) {
        return Failure(text.error());
    }
    try {
        const auto document = nlohmann::json::parse(text.value());
        return Edition{document.at("version"), document.at("lastUpdated")};
    } catch (const nlohmann::json::exception& error) {
        return Failure(GeneratorError{file.string() + ": " + error.what()});
    }
}

struct Inputs {
    Edition edition;
    Synonyms synonyms;
    RecommendedSequences sequences;
    std::vector<EmojiGroup> english;
    std::vector<EmojiGroup> local;
};

Result<Inputs, GeneratorError> readInputs(const path& content, const path& packages,
                                          const std::string& locale)
{
    auto edition = readEdition(content / "edition.json");
    if (!edition) {
        return Failure(edition.error());
    }
    const path synonymFile = content / "synonyms";
    const auto synonymText = readFile(synonymFile);
    if (!synonymText) {
        return Failure(synonymText.error());
    }
    auto synonyms = Synonyms::parse(synonymText.value(), synonymFile.string());
    if (!synonyms) {
        return Failure(synonyms.error());
    }
    auto sequences = RecommendedSequences::load(content / "sequences.txt");
    if (!sequences) {
        return Failure(sequences.error());
    }
    auto english = loadPackageData(packages, std::string(englishLocale));
    if (!english) {
        return Failure(english.error());
    }
    auto local = locale == englishLocale
        ? Result<std::vector<EmojiGroup>, GeneratorError>(std::vector<EmojiGroup>{})
        : loadPackageData(packages, locale);
    if (!local) {
        return Failure(local.error());
    }
    return Inputs{std::move(edition).value(), std::move(synonyms).value(), std::move(sequences).value(),
                  std::move(english).value(), std::move(local).value()};
}

} // namespace

Result<Success, GeneratorError> runManifest(std::span<const std::string> words)
{
    const auto arguments = Arguments::parse(words, manifestOptions);
    if (!arguments) {
        return Failure(arguments.error());
    }
    std::array<std::string, manifestOptions.size()> values;
    for (std::size_t at = 0; at < values.size(); ++at) {
        auto value = arguments.value().value(manifestOptions[at]);
        if (!value) {
            return Failure(value.error());
        }
        values[at] = std::move(value).value();
    }
    const auto& [packages, content, locale, output] = values;

    const auto inputs = readInputs(content, packages, locale);
    if (!inputs) {
        return Failure(inputs.error());
    }
    const Inputs& read = inputs.value();
    const auto& local = locale == englishLocale ? read.english : read.local;
    const auto document =
        CatalogueBuilder(read.english, local, read.synonyms, read.sequences).build(read.edition);
    if (!document) {
        return Failure(document.error());
    }
    if (const auto written = replaceFile(output, document.value()); !written) {
        return written;
    }
    std::cout << "Wrote " << output << " (" << locale << ", " << document.value().size() << " bytes)\n";
    return Success{};
}

} // namespace glimmerwick
