#include "RecommendedSequences.h"

#include "Files.h"

#include "Models/SkinTone.h"

#include <algorithm>
#include <sstream>

namespace glimmerwick {

Result<RecommendedSequences, GeneratorError> RecommendedSequences::load(const std::filesystem::path& path)
{
    const auto text = readFile(path);
    if (!text) {
        return Failure(text.error());
    }
    std::unordered_set<std::string> codepoints;
    std::istringstream lines(text.value());
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.starts_with('#')) {
            continue;
        }
        if (!SkinTone::codepointToChar(line)) {
            return Failure(GeneratorError{path.string() + ": no codepoint string: " + line});
        }
        if (!codepoints.insert(line).second) {
            return Failure(GeneratorError{path.string() + ": repeated: " + line});
        }
    }
    return RecommendedSequences(std::move(codepoints));
}

bool RecommendedSequences::acceptsEveryTone(std::string_view codepoint) const
{
    return std::ranges::all_of(SkinTone::allCases(), [&](SkinTone tone) {
        return tone == SkinTone::default_ || contains(tone.apply(codepoint));
    });
}

} // namespace glimmerwick
