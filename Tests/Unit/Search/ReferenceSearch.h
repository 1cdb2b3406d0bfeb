#pragma once

#include "Models/Emoji.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// The rules of searching once more, written to be read and not to be fast. It shares with the product only
/// how text is trimmed, lower-cased, split and classified.
namespace glimmerwick::reference {

/// User-perceived characters, each in one form of all that are equivalent.
using Characters = std::vector<std::string>;

Characters charactersOf(const std::string& text);
Characters lowercaseCharactersOf(const std::string& text);

/// The whole table of distances is filled; the threshold only decides what is returned. Beyond the threshold
/// that is the distance, or the threshold and one where a bounded computation is to give up.
int editDistance(const Characters& left, const Characters& right, int threshold);

/// How an emoji matches.
struct MatchClass {
    enum class Kind { exactName, exactKeyword, prefixName, prefixKeyword, fuzzyName, fuzzyKeyword };

    Kind kind;
    int distance = 0;

    int priority() const;
    /// As in "fuzzyName(1)".
    std::string description() const;
};

struct Match {
    std::size_t emoji;
    MatchClass matchClass;
};

/// A lower-case word and the number of its emoji.
struct IndexedWord {
    Characters word;
    std::size_t emoji;
};

/// The emoji with a word that begins with the prefix, each once, the most telling first. The words stand in
/// the order in which they were inserted, none of them empty. An empty prefix finds nothing.
std::vector<std::size_t> emojisWithPrefix(const std::vector<IndexedWord>& words, const Characters& prefix);

/// All words of a catalogue, searched one by one.
class Search {
public:
    /// Emoji are numbered from 0 in the order given.
    explicit Search(const std::vector<Emoji>& emojis);

    /// At most 50, best first.
    std::vector<Match> search(const std::string& query) const;

    /// The queries below are lower-case already.
    MatchClass classify(const Characters& query, std::size_t emoji) const;
    std::vector<Match> fuzzyMatches(const Characters& query, int threshold) const;

private:
    struct Words {
        Characters name;
        std::vector<Characters> keywords;
    };

    std::optional<MatchClass> fuzzyMatch(const Characters& query, const Words& words, int threshold) const;

    std::vector<Words> m_emojis;
    std::vector<IndexedWord> m_index;
};

} // namespace glimmerwick::reference
