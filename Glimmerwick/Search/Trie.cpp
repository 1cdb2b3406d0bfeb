#include "Search/Trie.h"

#include "Models/UnicodeText.h"

#include <algorithm>

namespace glimmerwick {

Trie::Trie() : m_nodes(1) { }
Trie::~Trie() = default;
Trie::Trie(Trie&&) noexcept = default;
Trie& Trie::operator=(Trie&&) noexcept = default;

void Trie::insert(const std::string& word, const Emoji& emoji)
{
    const auto known = m_numbers.find(emoji.codepoint);
    insertShared(word,
                 known != m_numbers.end() ? m_emojis[known->second] : std::make_shared<const Emoji>(emoji));
}

void Trie::insertShared(const std::string& word, const std::shared_ptr<const Emoji>& emoji)
{
    const auto characters = m_graphemes.intern(unicode::lowercased(word));
    if (characters.empty()) {
        return;
    }
    NodeIndex node = 0;
    for (const GraphemeId character : characters) {
        node = childFor(node, character);
    }
    TrieNode& end = m_nodes[node];
    end.isEndOfWord = true;
    const EmojiNumber number = numberOf(emoji);
    const std::uint32_t wordNumber = m_wordCounts[number]++;
    // Repetitions elsewhere in the list stay. They change no answer, and looking for them would take a time
    // in the square of how many emoji share the word.
    if (end.emojis.empty() || end.emojis.back().number != number) {
        end.emojis.push_back({number, wordNumber});
    }
}

std::vector<Emoji> Trie::search(const std::string& prefix) const
{
    const std::string lowercased = unicode::lowercased(prefix);
    const TrieNode* node = lowercased.empty() ? nullptr : findNode(lowercased);
    return node ? getAllEmojis(*node) : std::vector<Emoji>();
}

std::vector<const Emoji*> Trie::matches(const std::string& prefix) const
{
    const std::string lowercased = unicode::lowercased(prefix);
    const TrieNode* node = lowercased.empty() ? nullptr : findNode(lowercased);
    return node ? emojisBelow(*node) : std::vector<const Emoji*>();
}

bool Trie::contains(const std::string& word) const
{
    const TrieNode* node = findNode(unicode::lowercased(word));
    return node && node->isEndOfWord;
}

std::unordered_set<Emoji> Trie::getEmojis(const std::string& word) const
{
    std::unordered_set<Emoji> emojis;
    if (const TrieNode* node = findNode(unicode::lowercased(word))) {
        for (const Entry& entry : node->emojis) {
            emojis.insert(*m_emojis[entry.number]);
        }
    }
    return emojis;
}

std::vector<Trie::Edge>::const_iterator Trie::TrieNode::position(GraphemeId character) const
{
    return std::ranges::lower_bound(children, character, {}, &Edge::character);
}

Trie::NodeIndex Trie::childFor(NodeIndex parent, GraphemeId character)
{
    auto& children = m_nodes[parent].children;
    const auto position = m_nodes[parent].position(character);
    if (position != children.end() && position->character == character) {
        return position->child;
    }
    const auto child = static_cast<NodeIndex>(m_nodes.size());
    children.insert(position, Edge{character, child});
    m_nodes.emplace_back();
    return child;
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

const Trie::TrieNode* Trie::findNode(const std::string& text) const
{
    const TrieNode* node = &m_nodes.front();
    for (const GraphemeId character : m_graphemes.lookUp(text)) {
        const auto position = node->position(character);
        if (position == node->children.end() || position->character != character) {
            return nullptr;
        }
        node = &m_nodes[position->child];
    }
    return node;
}

void Trie::collectEmojis(const TrieNode& from, EmojiSet& into) const
{
    struct Unvisited {
        const TrieNode* node;
        bool endsInsideWord;
        std::uint32_t depth;
    };
    std::vector<Unvisited> unvisited{{&from, false, 0}};
    while (!unvisited.empty()) {
        const auto [node, endsInsideWord, depth] = unvisited.back();
        unvisited.pop_back();
        for (const Entry& entry : node->emojis) {
            const Closeness found{entry.wordNumber, endsInsideWord, depth};
            auto& closest = into[entry.number];
            closest = closest ? std::min(*closest, found) : found;
        }
        for (const Edge& edge : node->children) {
            const bool isInside = depth == 0 ? m_graphemes.isPartOfWord(edge.character) : endsInsideWord;
            unvisited.push_back({&m_nodes[edge.child], isInside, depth + 1});
        }
    }
}

std::vector<const Emoji*> Trie::emojisBelow(const TrieNode& from) const
{
    EmojiSet collected(m_emojis.size());
    collectEmojis(from, collected);
    std::vector<EmojiNumber> numbers;
    for (std::size_t number = 0; number < collected.size(); ++number) {
        if (collected[number]) {
            numbers.push_back(static_cast<EmojiNumber>(number));
        }
    }
    std::ranges::stable_sort(numbers, {}, [&](EmojiNumber number) { return *collected[number]; });

    std::vector<const Emoji*> emojis;
    emojis.reserve(numbers.size());
    for (const EmojiNumber number : numbers) {
        emojis.push_back(m_emojis[number].get());
    }
    return emojis;
}

std::vector<Emoji> Trie::getAllEmojis(const TrieNode& from) const
{
    std::vector<Emoji> emojis;
    for (const Emoji* emoji : emojisBelow(from)) {
        emojis.push_back(*emoji);
    }
    return emojis;
}

} // namespace glimmerwick
