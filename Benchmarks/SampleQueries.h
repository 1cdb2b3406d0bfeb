#pragma once

#include "Models/Emoji.h"

#include <cstddef>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

/// What people may type, drawn from a catalogue's words; the same on every run. Each list holds no query
/// twice and at most as many as asked for.
class SampleQueries {
public:
    using Queries = std::vector<std::string>;

    explicit SampleQueries(const std::vector<Emoji>& emojis);

    std::size_t distinctWordCount() const { return m_words.size(); }

    /// How many emoji have a word that begins with the text.
    std::size_t prefixMatchCount(const std::string& prefix) const;

    /// Every letter and digit that a word begins with.
    Queries oneLetter() const;
    /// The first two to four letters of words.
    Queries prefixes(std::size_t count);
    /// The beginnings of words that 10 to 20 emoji match, whatever the size of the catalogue.
    Queries rarePrefixes(std::size_t count);
    Queries wholeWords(std::size_t count);
    /// Words with one or two letters wrong that fewer emoji begin with than spare the search for typos.
    Queries typos(std::size_t count);
    /// Letters at random: too long to come near a word.
    Queries noMatches(std::size_t count);

private:
    std::size_t below(std::size_t limit) { return m_engine() % limit; }
    char anyLetter() { return static_cast<char>('a' + below(26)); }
    const std::string& anyWord() { return m_words[below(m_words.size())]; }
    std::string withEdit(std::string word);
    template <typename Make, typename Accept>
    Queries collect(std::size_t count, Make make, Accept accept) const;

    std::mt19937_64 m_engine{20231};
    /// Lower-case, sorted, each with the number of an emoji.
    std::vector<std::pair<std::string, std::size_t>> m_entries;
    /// Of ASCII alone, sorted, each once.
    std::vector<std::string> m_words;
};

} // namespace glimmerwick
