#pragma once

#include "Arguments.h"
#include "PackageData.h"
#include "RecommendedSequences.h"
#include "Synonyms.h"

#include "Models/Result.h"

#include <span>
#include <string>
#include <unordered_set>
#include <vector>

namespace glimmerwick {

/// What the manifest says of itself. Raised by hand when the catalogue changes: a cache that was seeded from
/// a bundled catalogue is replaced only when the version differs.
struct Edition {
    std::string version;
    std::string lastUpdated;
};

/// Composes the manifest of one locale from the groups of emoji and the project's own words.
class CatalogueBuilder {
public:
    /// All must outlive the builder. `local` is the same as `english` for the English catalogue; else its
    /// words come first and the English ones behind them.
    CatalogueBuilder(std::span<const EmojiGroup> english, std::span<const EmojiGroup> local,
                     const Synonyms& synonyms, const RecommendedSequences& sequences);

    /// The manifest document, one emoji a line, so that a change of the data reads as a change of lines.
    /// Fails for a group that no category is made of, for synonyms of an emoji that is not there, and when
    /// the picker's own decoding refuses the document.
    Result<std::string, GeneratorError> build(const Edition& edition) const;

    /// The emoji's key: its fully qualified codepoint string, but the bare one for those where only that can
    /// be toned by appending (☝️ is 261d-fe0f, its tones are 261d-1f3fb and so on).
    std::string key(const std::string& text) const;

private:
    using Words = std::unordered_set<std::string>;

    /// What the words of every emoji are chosen by.
    struct WordRules {
        /// Left to the emoji that claims them, and to those whose names begin with them.
        Words owned;
        /// Left out of the parts of names: "with", "de".
        Words englishJoiningWords;
        Words localJoiningWords;
    };

    /// The words that say which emoji is meant: the first of its synonyms; of a flag all of them, and the
    /// country.
    Words claims(const EmojiRecord& emoji, const EmojiGroup& group) const;
    /// The words that one emoji alone claims, and the synonyms that the name of their emoji begins with.
    Words ownedWords() const;
    std::vector<std::string> keywords(const EmojiRecord& english, const EmojiRecord& local,
                                      const WordRules& rules, const Words& claimed) const;
    Result<Success, GeneratorError> checkSynonyms() const;

    std::span<const EmojiGroup> m_english;
    std::span<const EmojiGroup> m_local;
    const Synonyms& m_synonyms;
    const RecommendedSequences& m_sequences;
};

} // namespace glimmerwick
