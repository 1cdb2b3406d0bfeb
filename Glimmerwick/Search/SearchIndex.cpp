#include "Search/SearchIndex.h"

#include "Models/UnicodeText.h"
#include "Search/EditDistance.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::size_t enoughPrefixMatches = 10;
constexpr int fuzzyThreshold = 2;

Trie filledTrie(const std::shared_ptr<const SearchIndex::Emojis>& emojis)
{
    Trie trie;
    trie.insertAll(emojis);
    return trie;
}

bool startsWith(Vocabulary::Word word, Vocabulary::Word prefix)
{
    return word.size() >= prefix.size() && std::ranges::equal(word.first(prefix.size()), prefix);
}

/// A fuzzy match by one word. The name decides before any keyword, then the closest keyword.
struct FuzzyMatch {
    std::size_t emojiNumber;
    bool isByKeyword;
    int distance;

    auto operator<=>(const FuzzyMatch&) const = default;
};

} // namespace

SearchIndex::SearchIndex(std::shared_ptr<const Emojis> allEmojis)
    : m_allEmojis(std::move(allEmojis)), m_trie(filledTrie(m_allEmojis)), m_similarWords(m_trie.vocabulary())
{
    for (std::size_t number = 0; number < m_allEmojis->size(); ++number) {
        const Emoji& emoji = (*m_allEmojis)[number];
        m_wordCount += 1 + emoji.keywords.size();
        const bool hasEmptyKeyword = std::ranges::any_of(emoji.keywords, &std::string::empty);
        if (emoji.name.empty() || hasEmptyKeyword) {
            m_emptyWords.push_back({number, emoji.name.empty()});
        }
    }
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::search(const std::string& query) const
{
    const std::string trimmed = unicode::lowercased(unicode::trimmed(query));
    if (trimmed.empty()) {
        return {};
    }
    const auto characters = vocabulary().characters(trimmed);
    auto results = prefixMatches(characters);
    const std::size_t prefixMatchCount = results.size();
    if (prefixMatchCount < enoughPrefixMatches) {
        for (const ScoredEmoji& match : performFuzzySearchWithScores(Word(characters), fuzzyThreshold)) {
            const auto end = results.begin() + static_cast<std::ptrdiff_t>(prefixMatchCount);
            if (std::find_if(results.begin(), end,
                             [&](const ScoredEmoji& seen) { return seen.emoji == match.emoji; })
                == end) {
                results.push_back(match);
            }
        }
    }
    return bestOf(std::move(results));
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::bestOf(std::vector<ScoredEmoji> found)
{
    std::ranges::stable_sort(found, {}, &ScoredEmoji::matchType);
    found.resize(std::min(found.size(), maxResults));
    return found;
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::prefixMatches(Word query) const
{
    struct Candidate {
        MatchType matchType;
        Trie::Match match;
    };
    std::vector<Candidate> candidates;
    for (const Trie::Match& match : m_trie.matches(query)) {
        candidates.push_back({classifyMatch(match), match});
    }
    // Of thousands of matches only the first are shown.
    const auto best =
        candidates.begin() + static_cast<std::ptrdiff_t>(std::min(candidates.size(), maxResults));
    std::ranges::partial_sort(candidates, best, {}, [](const Candidate& candidate) {
        return std::tuple(candidate.matchType.priority(), candidate.match.closeness, candidate.match.number);
    });
    std::vector<ScoredEmoji> matches;
    std::for_each(candidates.begin(), best, [&](const Candidate& candidate) {
        matches.push_back({candidate.match.emoji, candidate.matchType});
    });
    return matches;
}

MatchType SearchIndex::classifyMatch(const Trie::Match& match)
{
    // The first of its words that begins with the query decides, and that is the one the match names. Only
    // where the name is empty is the first word a keyword.
    const auto [wordNumber, endsInsideWord, missing] = match.closeness;
    if (wordNumber == 0 && !match.emoji->name.empty()) {
        return {missing == 0 ? MatchType::Kind::exactName : MatchType::Kind::prefixName};
    }
    return {missing == 0 ? MatchType::Kind::exactKeyword : MatchType::Kind::prefixKeyword};
}

MatchType SearchIndex::classifyMatch(const std::string& query, const Emoji& emoji) const
{
    const auto characters = vocabulary().characters(query);
    const auto charactersOf = [&](const std::string& word) {
        return vocabulary().characters(unicode::lowercased(word));
    };
    const auto fuzzyMatch = [&](const std::string& word) {
        const int distance = levenshteinDistance(characters, charactersOf(word), fuzzyThreshold);
        return distance <= fuzzyThreshold ? std::optional(distance) : std::nullopt;
    };

    if (const auto name = charactersOf(emoji.name); startsWith(name, characters)) {
        return {name.size() == characters.size() ? MatchType::Kind::exactName : MatchType::Kind::prefixName};
    }
    for (const std::string& word : emoji.keywords) {
        if (const auto keyword = charactersOf(word); startsWith(keyword, characters)) {
            const bool isWhole = keyword.size() == characters.size();
            return {isWhole ? MatchType::Kind::exactKeyword : MatchType::Kind::prefixKeyword};
        }
    }
    if (const auto distance = fuzzyMatch(emoji.name)) {
        return {MatchType::Kind::fuzzyName, *distance};
    }
    for (const std::string& keyword : emoji.keywords) {
        if (const auto distance = fuzzyMatch(keyword)) {
            return {MatchType::Kind::fuzzyKeyword, *distance};
        }
    }
    return {MatchType::Kind::fuzzyKeyword, fuzzyThreshold + 1};
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::performFuzzySearchWithScores(const std::string& query,
                                                                                int threshold) const
{
    return performFuzzySearchWithScores(Word(vocabulary().characters(query)), threshold);
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::performFuzzySearchWithScores(Word query,
                                                                                int threshold) const
{
    std::vector<FuzzyMatch> found;
    for (const SimilarWords::Hit& hit : m_similarWords.within(query, threshold)) {
        m_trie.forEachPosting(hit.word, [&](Trie::Posting posting) {
            const bool isName = posting.wordNumber == 0 && !(*m_allEmojis)[posting.number].name.empty();
            found.push_back({posting.number, !isName, hit.distance});
        });
    }
    if (const int distance = levenshteinDistance(query, Word(), threshold); distance <= threshold) {
        for (const auto& [emojiNumber, isNameEmpty] : m_emptyWords) {
            found.push_back({emojiNumber, !isNameEmpty, distance});
        }
    }

    std::ranges::sort(found);
    const auto isSameEmoji = [](const FuzzyMatch& one, const FuzzyMatch& other) {
        return one.emojiNumber == other.emojiNumber;
    };
    found.erase(std::unique(found.begin(), found.end(), isSameEmoji), found.end());
    std::vector<ScoredEmoji> matches;
    matches.reserve(found.size());
    for (const auto& [emojiNumber, isByKeyword, distance] : found) {
        const auto kind = isByKeyword ? MatchType::Kind::fuzzyKeyword : MatchType::Kind::fuzzyName;
        matches.push_back({&(*m_allEmojis)[emojiNumber], {kind, distance}});
    }
    return matches;
}

} // namespace glimmerwick
