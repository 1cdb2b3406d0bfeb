#include "CatalogueCheck.h"
#include "Commands.h"
#include "Files.h"

#include <array>
#include <iostream>

namespace glimmerwick {

Result<Success, GeneratorError> runCheck(std::span<const std::string> words)
{
    constexpr std::array<std::string_view, 2> options = {"--manifest", "--sequences"};
    const auto arguments = Arguments::parse(words, options);
    if (!arguments) {
        return Failure(arguments.error());
    }
    const auto manifest = arguments.value().value("--manifest");
    if (!manifest) {
        return Failure(manifest.error());
    }
    const auto sequenceFile = arguments.value().value("--sequences");
    if (!sequenceFile) {
        return Failure(sequenceFile.error());
    }

    const auto document = readFile(manifest.value());
    if (!document) {
        return Failure(document.error());
    }
    const auto sequences = RecommendedSequences::load(sequenceFile.value());
    if (!sequences) {
        return Failure(sequences.error());
    }
    const auto report = CatalogueCheck::run(document.value(), sequences.value());
    for (const std::string& breach : report.breaches) {
        std::cerr << manifest.value() << ": " << breach << "\n";
    }
    if (!report.breaches.empty()) {
        return Failure(GeneratorError{manifest.value() + " breaks " + std::to_string(report.breaches.size())
                                      + " rules"});
    }
    std::cout << manifest.value() << ": " << report.emojiCount << " emoji, " << report.tonedCount
              << " take skin tones, " << report.keywordCount << " keywords; every rule holds\n";
    return Success{};
}

} // namespace glimmerwick
