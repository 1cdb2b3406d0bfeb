#include "Search/SearchIndex.h"

#include "Models/UnicodeText.h"
#include "Search/EditDistance.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::size_t enoughPrefixMatches = 10;
constexpr int fuzzyThreshold = 2;

bool startsWith(Vocabulary::Word word, Vocabulary::Word prefix)
{
    return word.size() >= prefix.size() && std::ranges::equal(word.first(prefix.size()), prefix);
}

} // namespace

SearchIndex::SearchIndex(std::shared_ptr<const Emojis> allEmojis, TrieContents trieContents)
    : m_allEmojis(std::move(allEmojis))
{
    addWords();
    if (trieContents == TrieContents::allWords) {
        fillTrie();
    }
}

void SearchIndex::addWords()
{
    std::unordered_map<std::string_view, WordId> known;
    const auto add = [&](const std::string& word) {
        const auto [entry, isNew] = known.try_emplace(word, 0);
        if (isNew) {
            entry->second = m_vocabulary.add(word);
        }
        m_words.push_back(entry->second);
    };
    for (const Emoji& emoji : *m_allEmojis) {
        m_firstWords.push_back(m_words.size());
        add(emoji.name);
        std::ranges::for_each(emoji.keywords, add);
    }
    m_firstWords.push_back(m_words.size());
}

void SearchIndex::fillTrie()
{
    for (const Emoji& emoji : *m_allEmojis) {
        const std::shared_ptr<const Emoji> shared(m_allEmojis, &emoji);
        m_trie.insertShared(emoji.name, shared);
        for (const std::string& keyword : emoji.keywords) {
            m_trie.insertShared(keyword, shared);
        }
    }
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::search(const std::string& query) const
{
    const std::string trimmed = unicode::lowercased(unicode::trimmed(query));
    if (trimmed.empty()) {
        return {};
    }
    auto results = prefixMatches(trimmed);
    if (results.size() < enoughPrefixMatches) {
        std::vector<bool> seen(m_allEmojis->size());
        for (const ScoredEmoji& result : results) {
            seen[numberOf(*result.emoji)] = true;
        }
        for (const ScoredEmoji& match : performFuzzySearchWithScores(trimmed, fuzzyThreshold)) {
            if (!seen[numberOf(*match.emoji)]) {
                results.push_back(match);
            }
        }
    }
    std::ranges::stable_sort(results, {}, &ScoredEmoji::matchType);
    results.resize(std::min(results.size(), maxResults));
    return results;
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::prefixMatches(const std::string& query) const
{
    const auto characters = m_vocabulary.characters(query);
    std::vector<ScoredEmoji> matches;
    for (const Emoji* emoji : m_trie.matches(query)) {
        matches.push_back({emoji, classifyMatch(Word(characters), *emoji)});
    }
    return matches;
}

MatchType SearchIndex::classifyMatch(const std::string& query, const Emoji& emoji) const
{
    const auto characters = m_vocabulary.characters(query);
    return classifyMatch(Word(characters), emoji);
}

MatchType SearchIndex::classifyMatch(Word query, const Emoji& emoji) const
{
    const EmojiWords words = wordsOf(numberOf(emoji));
    const Word name = m_vocabulary.word(words.name);
    if (startsWith(name, query)) {
        return {name.size() == query.size() ? MatchType::Kind::exactName : MatchType::Kind::prefixName};
    }
    for (const WordId id : words.keywords) {
        const Word keyword = m_vocabulary.word(id);
        if (startsWith(keyword, query)) {
            const bool isWhole = keyword.size() == query.size();
            return {isWhole ? MatchType::Kind::exactKeyword : MatchType::Kind::prefixKeyword};
        }
    }
    if (const auto distance = fuzzyMatch(query, name, fuzzyThreshold)) {
        return {MatchType::Kind::fuzzyName, *distance};
    }
    for (const WordId id : words.keywords) {
        if (const auto distance = fuzzyMatch(query, m_vocabulary.word(id), fuzzyThreshold)) {
            return {MatchType::Kind::fuzzyKeyword, *distance};
        }
    }
    return {MatchType::Kind::fuzzyKeyword, fuzzyThreshold + 1};
}

std::vector<SearchIndex::ScoredEmoji> SearchIndex::performFuzzySearchWithScores(const std::string& query,
                                                                                int threshold) const
{
    const auto characters = m_vocabulary.characters(query);
    std::vector<std::optional<int>> distances(m_vocabulary.size());
    for (std::size_t id = 0; id < distances.size(); ++id) {
        distances[id] = fuzzyMatch(characters, m_vocabulary.word(static_cast<WordId>(id)), threshold);
    }

    std::vector<ScoredEmoji> matches;
    for (std::size_t number = 0; number < m_allEmojis->size(); ++number) {
        const EmojiWords words = wordsOf(number);
        const Emoji* emoji = &(*m_allEmojis)[number];
        if (const auto distance = distances[words.name]) {
            matches.push_back({emoji, {MatchType::Kind::fuzzyName, *distance}});
            continue;
        }
        std::optional<int> closest;
        for (const WordId id : words.keywords) {
            if (distances[id] && (!closest || *distances[id] < *closest)) {
                closest = distances[id];
            }
        }
        if (closest) {
            matches.push_back({emoji, {MatchType::Kind::fuzzyKeyword, *closest}});
        }
    }
    return matches;
}

std::optional<int> SearchIndex::fuzzyMatch(Word query, Word candidate, int threshold) const
{
    const int distance = levenshteinDistance(query, candidate, threshold);
    return distance <= threshold ? std::optional(distance) : std::nullopt;
}

SearchIndex::EmojiWords SearchIndex::wordsOf(std::size_t emojiNumber) const
{
    const std::size_t begin = m_firstWords[emojiNumber];
    const std::size_t end = m_firstWords[emojiNumber + 1];
    return {m_words[begin], std::span(m_words).subspan(begin + 1, end - begin - 1)};
}

std::size_t SearchIndex::numberOf(const Emoji& emoji) const
{
    return static_cast<std::size_t>(&emoji - m_allEmojis->data());
}

} // namespace glimmerwick
