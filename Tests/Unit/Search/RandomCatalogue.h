#pragma once

#include "Models/Emoji.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace glimmerwick {

/// Words, catalogues and queries made up at random, so that they collide and nearly do: few letters, words
/// made from other words, the same letter in several forms. Equal seeds give equal texts everywhere.
class RandomCatalogue {
public:
    explicit RandomCatalogue(std::uint64_t seed) : m_engine(seed) { }

    /// From 0 to one less than the limit.
    std::size_t below(std::size_t limit) { return m_engine() % limit; }

    /// At most so many; each codepoint once.
    std::vector<Emoji> emojis(std::size_t mostEmojis);

    /// Something one might type to find one of the emoji, or not.
    std::string query(const std::vector<Emoji>& emojis);

    /// A word, sometimes empty.
    std::string word();

    /// The word in other letter case or with characters in other, equivalent forms.
    std::string inOtherForm(const std::string& word);

    /// The word with so many characters inserted, left out or replaced.
    std::string withTypos(const std::string& word, std::size_t count);

private:
    std::string letter();
    std::string relatedWord(const std::vector<std::string>& words);
    std::string beginning(const std::string& word);
    std::string anyBytes();
    std::string blanks();

    std::mt19937_64 m_engine;
};

} // namespace glimmerwick
