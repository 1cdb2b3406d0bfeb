#include "Search/Trie.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

Trie::Trie() = default;
Trie::~Trie() = default;
Trie::Trie(Trie&&) noexcept = default;
Trie& Trie::operator=(Trie&&) noexcept = default;

void Trie::insert(const std::string& word, const Emoji& emoji)
{
    recallNumbers();
    const auto known = m_numbers.find(emoji.codepoint);
    const auto added =
        add(word, known != m_numbers.end() ? m_emojis[known->second] : std::make_shared<const Emoji>(emoji));
    if (added && added->isNew) {
        const auto place = std::ranges::upper_bound(
            m_order, added->word, [&](WordId left, WordId right) { return comesBefore(left, right); });
        m_order.insert(place, added->word);
    }
}

void Trie::insertAll(const std::shared_ptr<const std::vector<Emoji>>& emojis)
{
    recallNumbers();
    for (const Emoji& emoji : *emojis) {
        const std::shared_ptr<const Emoji> shared(emojis, &emoji);
        // An emoji whose words are all empty has a place in the order, too.
        numberOf(shared);
        const auto addWord = [&](const std::string& word) {
            if (const auto added = add(word, shared); added && added->isNew) {
                m_order.push_back(added->word);
            }
        };
        addWord(emoji.name);
        std::ranges::for_each(emoji.keywords, addWord);
    }
    sortOrder();
    shrink();
}

void Trie::shrink()
{
    m_vocabulary.shrink();
    m_numbers.clear();
    m_numbers.rehash(0);
    m_order.shrink_to_fit();
    m_chains.shrink_to_fit();
    m_postings.shrink_to_fit();
}

std::vector<Emoji> Trie::search(const std::string& prefix) const
{
    const std::string lowercased = unicode::lowercased(prefix);
    const auto node = lowercased.empty() ? std::nullopt : findNode(lowercased);
    return node ? getAllEmojis(*node) : std::vector<Emoji>();
}

std::vector<Trie::Match> Trie::matches(Word prefix) const
{
    const auto node = prefix.empty() ? std::nullopt : findNode(prefix);
    if (!node) {
        return {};
    }
    std::vector<Match> matches;
    for (const Found& found : collectEmojis(*node)) {
        matches.push_back({m_emojis[found.number].get(), found.number, found.closeness});
    }
    return matches;
}

bool Trie::contains(const std::string& word) const
{
    const auto node = findNode(unicode::lowercased(word));
    return node && wordEndingAt(*node);
}

std::unordered_set<Emoji> Trie::getEmojis(const std::string& word) const
{
    std::unordered_set<Emoji> emojis;
    const auto node = findNode(unicode::lowercased(word));
    if (const auto ending = node ? wordEndingAt(*node) : std::nullopt) {
        forEachPosting(*ending, [&](Posting posting) { emojis.insert(*m_emojis[posting.number]); });
    }
    return emojis;
}

void Trie::recallNumbers()
{
    for (EmojiNumber number = static_cast<EmojiNumber>(m_numbers.size()); number < m_emojis.size();
         ++number) {
        m_numbers.emplace(m_emojis[number]->codepoint, number);
    }
}

Trie::EmojiNumber Trie::numberOf(const std::shared_ptr<const Emoji>& emoji)
{
    const auto next = static_cast<EmojiNumber>(m_emojis.size());
    const auto [entry, isNew] = m_numbers.try_emplace(emoji->codepoint, next);
    if (isNew) {
        m_emojis.push_back(emoji);
        m_wordCounts.push_back(0);
    }
    return entry->second;
}

std::optional<Trie::Added> Trie::add(const std::string& word, const std::shared_ptr<const Emoji>& emoji)
{
    if (word.empty()) {
        return std::nullopt;
    }
    const WordId id = m_vocabulary.add(word);
    const bool isNew = id == m_chains.size();
    if (isNew) {
        m_chains.emplace_back();
    }
    const EmojiNumber number = numberOf(emoji);
    const std::uint32_t wordNumber = m_wordCounts[number]++;
    Chain& chain = m_chains[id];
    // The same word again for the same emoji says nothing new. Further back it may stand a second time, which
    // costs a little memory; looking for it would make a word that many emoji share slow.
    if (chain.last == none || m_postings[chain.last].posting.number != number) {
        const auto place = static_cast<std::uint32_t>(m_postings.size());
        m_postings.push_back({{number, wordNumber}, none});
        (chain.last == none ? chain.first : m_postings[chain.last].next) = place;
        chain.last = place;
    }
    return Added{id, isNew};
}

bool Trie::comesBefore(WordId left, WordId right) const
{
    return std::ranges::lexicographical_compare(m_vocabulary.word(left), m_vocabulary.word(right));
}

void Trie::sortOrder()
{
    // Most words differ in their first four characters, and those fit beside the word: comparing them spares
    // two looks at memory far away.
    struct Entry {
        std::uint64_t beginning;
        WordId word;
    };
    constexpr GraphemeId tooGreat = 0xffff;
    std::vector<Entry> entries;
    entries.reserve(m_order.size());
    for (const WordId id : m_order) {
        const Word word = m_vocabulary.word(id);
        std::uint64_t beginning = 0;
        // Behind a character that does not fit nothing may count: the words are compared whole then.
        for (std::size_t at = 0; at < std::min<std::size_t>(word.size(), 4); ++at) {
            const int place = 48 - 16 * static_cast<int>(at);
            beginning |= std::uint64_t(std::min(word[at] + 1, tooGreat)) << place;
            if (word[at] + 1 >= tooGreat) {
                break;
            }
        }
        entries.push_back({beginning, id});
    }
    std::ranges::sort(entries, [&](const Entry& left, const Entry& right) {
        return left.beginning != right.beginning ? left.beginning < right.beginning
                                                 : comesBefore(left.word, right.word);
    });
    std::ranges::transform(entries, m_order.begin(), &Entry::word);
}

std::optional<Trie::TrieNode> Trie::findNode(Word characters) const
{
    const auto beginning = [&](WordId id) {
        const Word word = m_vocabulary.word(id);
        return word.first(std::min(word.size(), characters.size()));
    };
    const auto isBefore = [](Word left, Word right) {
        return std::ranges::lexicographical_compare(left, right);
    };
    const auto begin = std::ranges::lower_bound(m_order, characters, isBefore, beginning);
    const auto end = std::ranges::upper_bound(m_order, characters, isBefore, beginning);
    if (begin == end && !characters.empty()) {
        return std::nullopt;
    }
    const auto place = [&](auto at) { return static_cast<std::size_t>(at - m_order.begin()); };
    return TrieNode{place(begin), place(end), characters.size()};
}

std::optional<Trie::TrieNode> Trie::findNode(const std::string& lowercasedText) const
{
    return findNode(Word(m_vocabulary.characters(lowercasedText)));
}

std::optional<Trie::WordId> Trie::wordEndingAt(const TrieNode& node) const
{
    // The shortest of the words with a common beginning stands first.
    if (node.depth == 0 || m_vocabulary.word(m_order[node.begin]).size() != node.depth) {
        return std::nullopt;
    }
    return m_order[node.begin];
}

std::vector<Trie::Found> Trie::collectEmojis(const TrieNode& from) const
{
    std::vector<Found> found;
    for (std::size_t at = from.begin; at < from.end; ++at) {
        const Word word = m_vocabulary.word(m_order[at]);
        const bool endsInsideWord = word.size() > from.depth && m_vocabulary.isPartOfWord(word[from.depth]);
        const auto missing = static_cast<std::uint32_t>(word.size() - from.depth);
        forEachPosting(m_order[at], [&](Posting posting) {
            found.push_back({{posting.wordNumber, endsInsideWord, missing}, posting.number});
        });
    }
    return onceEach(std::move(found));
}

std::vector<Emoji> Trie::getAllEmojis(const TrieNode& from) const
{
    std::vector<Found> sorted = collectEmojis(from);
    std::ranges::sort(sorted);
    std::vector<Emoji> emojis;
    for (const Found& found : sorted) {
        emojis.push_back(*m_emojis[found.number]);
    }
    return emojis;
}

std::vector<Trie::Found> Trie::onceEach(std::vector<Found> found) const
{
    // A table of all emoji is the faster way when many are found, and the slower when few are of many.
    if (found.size() < m_emojis.size() / 8) {
        std::ranges::sort(found, {}, [](const Found& one) { return std::pair(one.number, one.closeness); });
        const auto isSameEmoji = [](const Found& one, const Found& other) {
            return one.number == other.number;
        };
        found.erase(std::unique(found.begin(), found.end(), isSameEmoji), found.end());
        return found;
    }
    constexpr Closeness far = {none, true, none};
    std::vector<Closeness> closest(m_emojis.size(), far);
    for (const Found& one : found) {
        closest[one.number] = std::min(closest[one.number], one.closeness);
    }
    found.clear();
    for (std::size_t number = 0; number < closest.size(); ++number) {
        if (closest[number] != far) {
            found.push_back({closest[number], static_cast<EmojiNumber>(number)});
        }
    }
    return found;
}

} // namespace glimmerwick
