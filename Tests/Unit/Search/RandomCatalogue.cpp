#include "Unit/Search/RandomCatalogue.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace glimmerwick {

namespace {

/// One character in forms that a search must take for the same.
struct Letter {
    std::string_view usual;
    std::string_view upper;
    std::string_view other;
};

constexpr std::size_t commonLetters = 4;

/// The common letters first.
constexpr auto letters = std::to_array<Letter>({
    {"a", "A", "a"},
    {"b", "B", "b"},
    {"c", "C", "c"},
    {"\u00e9", "\u00c9", "e\u0301"},
    {"e", "E", "e"},
    {"\u01fb", "\u01fa", "a\u030a\u0301"},
    {"a\u0323\u0308", "A\u0308\u0323", "a\u0308\u0323"},
    {"\u00df", "\u1e9e", "\u00df"},
    {"\u03c3", "\u03a3", "\u03c3"},
    {"i\u0307", "\u0130", "I\u0307"},
    {"\uac00", "\uac00", "\u1100\u1161"},
    {"\u0915\u094d\u0937\u093f", "\u0915\u094d\u0937\u093f", "\u0915\u094d\u0937\u093f"},
    {"\u05e9", "\u05e9", "\u05e9"},
    {"\u0644", "\u0644", "\u0644"},
    {"1", "1", "1"},
    {" ", " ", " "},
    {"-", "-", "-"},
    {"\u0301", "\u0301", "\u0341"},
    {"\u200d", "\u200d", "\u200d"},
    {"\U0001F600", "\U0001F600", "\U0001F600"},
    {"\U0001F469\u200d\U0001F4BB", "\U0001F469\u200d\U0001F4BB", "\U0001F469\u200d\U0001F4BB"},
    {"\U0001F1E9\U0001F1EA", "\U0001F1E9\U0001F1EA", "\U0001F1E9\U0001F1EA"},
    {"\xff", "\xff", "\ufffd"},
});

constexpr auto blankTexts =
    std::to_array<std::string_view>({" ", "  ", "\t", "\n", "\r\n", "\u00a0", "\u3000"});

std::vector<std::string> wordsOf(const std::vector<Emoji>& emojis)
{
    std::vector<std::string> words;
    for (const Emoji& emoji : emojis) {
        words.push_back(emoji.name);
        words.insert(words.end(), emoji.keywords.begin(), emoji.keywords.end());
    }
    return words;
}

std::string joined(const std::vector<std::string>& clusters)
{
    std::string text;
    for (const std::string& cluster : clusters) {
        text += cluster;
    }
    return text;
}

std::string upperCased(const std::string& cluster)
{
    if (cluster.size() == 1 && cluster[0] >= 'a' && cluster[0] <= 'z') {
        return std::string(1, static_cast<char>(cluster[0] - 'a' + 'A'));
    }
    return cluster;
}

} // namespace

std::vector<Emoji> RandomCatalogue::emojis(std::size_t mostEmojis)
{
    std::vector<Emoji> emojis;
    std::vector<std::string> words;
    const auto nextWord = [&] {
        words.push_back(words.empty() || below(2) == 0 ? word() : relatedWord(words));
        return words.back();
    };
    const std::size_t count = below(mostEmojis + 1);
    for (std::size_t number = 0; number < count; ++number) {
        Emoji emoji{"e" + std::to_string(number), "x", nextWord(), {}, "all"};
        for (std::size_t keywords = below(6); keywords > 0; --keywords) {
            emoji.keywords.push_back(nextWord());
        }
        emojis.push_back(emoji);
    }
    return emojis;
}

std::string RandomCatalogue::query(const std::vector<Emoji>& emojis)
{
    const std::vector<std::string> words = wordsOf(emojis);
    const std::string known = words.empty() ? word() : words[below(words.size())];
    std::string text;
    switch (below(8)) {
    case 0:
    case 1:
        text = beginning(known);
        break;
    case 2:
        text = known;
        break;
    case 3:
    case 4:
    case 5:
        text = withTypos(known, 1 + below(3));
        break;
    case 6:
        text = word();
        break;
    default:
        text = anyBytes();
        break;
    }
    if (below(4) == 0) {
        text = inOtherForm(text);
    }
    if (below(4) == 0) {
        text.insert(0, blanks());
        text += blanks();
    }
    return text;
}

std::string RandomCatalogue::word()
{
    std::string text;
    for (std::size_t length = below(10); length > 0; --length) {
        text += letter();
    }
    return text;
}

std::string RandomCatalogue::inOtherForm(const std::string& word)
{
    const bool isAllUpper = below(2) == 0;
    std::vector<std::string> clusters = unicode::graphemeClusters(word);
    for (std::string& cluster : clusters) {
        const auto known =
            std::ranges::find_if(letters, [&](const Letter& each) { return each.usual == cluster; });
        if (known == letters.end()) {
            cluster = isAllUpper ? upperCased(cluster) : cluster;
        } else {
            cluster = isAllUpper || below(2) == 0 ? known->upper : known->other;
        }
    }
    return joined(clusters);
}

std::string RandomCatalogue::withTypos(const std::string& word, std::size_t count)
{
    std::vector<std::string> clusters = unicode::graphemeClusters(word);
    for (; count > 0; --count) {
        const auto place = clusters.begin() + static_cast<std::ptrdiff_t>(below(clusters.size() + 1));
        const std::size_t kind = place == clusters.end() ? 0 : below(3);
        if (kind == 0) {
            clusters.insert(place, letter());
        } else if (kind == 1) {
            clusters.erase(place);
        } else {
            *place = letter();
        }
    }
    return joined(clusters);
}

std::string RandomCatalogue::letter()
{
    return std::string(letters[below(below(4) == 0 ? letters.size() : commonLetters)].usual);
}

std::string RandomCatalogue::relatedWord(const std::vector<std::string>& words)
{
    const std::string& known = words[below(words.size())];
    switch (below(6)) {
    case 0:
        return known;
    case 1:
        return known + letter();
    case 2:
        return known + " " + word();
    case 3:
        return beginning(known);
    case 4:
        return inOtherForm(known);
    default:
        return withTypos(known, 1 + below(2));
    }
}

std::string RandomCatalogue::beginning(const std::string& word)
{
    std::vector<std::string> clusters = unicode::graphemeClusters(word);
    clusters.resize(below(clusters.size() + 1));
    return joined(clusters);
}

std::string RandomCatalogue::anyBytes()
{
    std::string bytes;
    for (std::size_t length = below(8); length > 0; --length) {
        bytes += static_cast<char>(below(256));
    }
    return bytes;
}

std::string RandomCatalogue::blanks()
{
    return below(3) == 0 ? "" : std::string(blankTexts[below(blankTexts.size())]);
}

} // namespace glimmerwick
