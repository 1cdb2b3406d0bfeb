#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// This project's own English words for emoji, what people type and the sources lack or bury.
class Synonyms {
public:
    /// Reads lines of an emoji, a blank, and words separated by ", ", most telling first. "# " begins a
    /// comment line. Fails for a line of another form and for an emoji with two lines.
    static Result<Synonyms, GeneratorError> parse(std::string_view text, const std::string& fileName);

    /// None for an emoji without a line.
    const std::vector<std::string>& words(const std::string& emoji) const;

    const std::unordered_map<std::string, std::vector<std::string>>& all() const { return m_words; }

private:
    std::unordered_map<std::string, std::vector<std::string>> m_words;
};

} // namespace glimmerwick
