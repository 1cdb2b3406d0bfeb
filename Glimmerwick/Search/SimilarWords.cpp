#include "Search/SimilarWords.h"

#include "Search/EditDistance.h"

#include <algorithm>
#include <bit>

namespace glimmerwick {

SimilarWords::SimilarWords(const Vocabulary& vocabulary) : m_vocabulary(&vocabulary)
{
    std::map<std::size_t, std::size_t> counts;
    for (Vocabulary::WordId id = 0; id < vocabulary.size(); ++id) {
        ++counts[vocabulary.word(id).size()];
    }
    for (const auto& [length, count] : counts) {
        m_byLength[length].reserve(count);
    }
    for (Vocabulary::WordId id = 0; id < vocabulary.size(); ++id) {
        const Vocabulary::Word word = vocabulary.word(id);
        m_byLength.find(word.size())->second.push_back({characterSet(word), id});
    }
}

std::vector<SimilarWords::Hit> SimilarWords::within(Vocabulary::Word query, int threshold) const
{
    const auto reach = static_cast<std::size_t>(std::max(threshold, 0));
    const std::size_t shortest = query.size() - std::min(query.size(), reach);
    const CharacterSet characters = characterSet(query);
    std::vector<Hit> hits;
    for (auto length = m_byLength.lower_bound(shortest);
         length != m_byLength.end() && length->first <= query.size() + reach; ++length) {
        for (const Candidate& candidate : length->second) {
            if (differTooMuch(characters, candidate.characters, threshold)) {
                continue;
            }
            const int distance = levenshteinDistance(query, m_vocabulary->word(candidate.word), threshold);
            if (distance <= threshold) {
                hits.push_back({candidate.word, distance});
            }
        }
    }
    return hits;
}

SimilarWords::CharacterSet SimilarWords::characterSet(Vocabulary::Word word)
{
    CharacterSet set = 0;
    for (const GraphemeId character : word) {
        set |= CharacterSet(1) << (character % 64);
    }
    return set;
}

bool SimilarWords::differTooMuch(CharacterSet left, CharacterSet right, int threshold)
{
    // An edit takes away at most one character of the one word and brings in at most one of the other, so
    // each has at most as many characters that the other lacks as there are edits.
    return std::popcount(left & ~right) > threshold || std::popcount(right & ~left) > threshold;
}

} // namespace glimmerwick
