#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace glimmerwick {

/// This project's own English words for emoji, what people type and the sources lack or bury.
class Synonyms {
public:
    /// Reads lines of an emoji, a blank, and words separated by ", ", most telling first. "not:word" takes
    /// a word of the sources away. "# " begins a comment line. Fails for a line of another form and for an
    /// emoji with two lines.
    static Result<Synonyms, GeneratorError> parse(std::string_view text, const std::string& fileName);

    /// None for an emoji without a line.
    const std::vector<std::string>& words(const std::string& emoji) const;

    /// The words that the emoji must not be found by, whatever the sources say.
    const std::vector<std::string>& unwanted(const std::string& emoji) const;

    /// Every emoji with a line.
    std::vector<std::string> emojis() const;

private:
    struct Line {
        std::vector<std::string> words;
        std::vector<std::string> unwanted;
    };

    const Line& line(const std::string& emoji) const;

    std::unordered_map<std::string, Line> m_lines;
};

} // namespace glimmerwick
