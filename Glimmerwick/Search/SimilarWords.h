#pragma once

#include "Search/Vocabulary.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace glimmerwick {

/// Finds the words of a vocabulary that a few typing errors turn into a query. Immutable, so any thread may
/// ask.
class SimilarWords {
public:
    struct Hit {
        Vocabulary::WordId word;
        int distance;
    };

    /// The vocabulary must outlive this, and nothing may be added to it.
    explicit SimilarWords(const Vocabulary& vocabulary);

    /// Every word at most the threshold away, in no particular order.
    std::vector<Hit> within(Vocabulary::Word query, int threshold) const;

private:
    /// Which characters occur, as bits; characters share bits.
    using CharacterSet = std::uint64_t;

    struct Candidate {
        CharacterSet characters;
        Vocabulary::WordId word;
    };

    static CharacterSet characterSet(Vocabulary::Word word);
    static bool differTooMuch(CharacterSet left, CharacterSet right, int threshold);

    const Vocabulary* m_vocabulary;
    /// A word that is longer or shorter than the query by more than the threshold is not looked at.
    std::map<std::size_t, std::vector<Candidate>> m_byLength;
};

} // namespace glimmerwick
