#pragma once

#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace glimmerwick {

/// A word as somebody types it into the search field: lower case, composed, straight apostrophes, blanks in
/// place of underscores, no typographic marks or pictures, nothing hanging on at its end. May be empty.
std::string searchWord(std::string_view raw);

/// The letters and digits of a word with single blanks between them, for telling repetitions.
std::string withoutPunctuation(std::string_view word);

/// What stands behind the colon of a name: the country of "flag: Chile". Empty where there is none.
std::string subjectOf(std::string_view name);

/// The words between the blanks of a name, as search words, without parentheses.
std::vector<std::string> wordsOf(std::string_view name);

/// U+FE0F as it stands in a codepoint string, behind the scalar that it makes a picture.
inline constexpr std::string_view variationSelector = "-fe0f";

/// The text as a codepoint string.
std::string codepointString(std::string_view text);

/// The keywords of one emoji, collected in the order in which they were added, each once.
class SearchWords {
public:
    /// The name is searched as it is, so a keyword that repeats it is left out.
    explicit SearchWords(std::string_view name);

    /// Adds what the words become as search words.
    void add(const std::vector<std::string>& words);

    /// Adds the words lower-cased, but with their punctuation: emoticons and shortcodes with underscores.
    void addAsTheyAre(const std::vector<std::string>& words);

    /// Adds what stands behind the colon of a name: the country of "flag: Chile".
    void addSubjectOf(std::string_view name);

    /// Adds the name as somebody types it, with and without its punctuation, and the words behind its first
    /// but those to leave out: the name itself is found from its beginning only.
    void addPartsOf(std::string_view name, const std::unordered_set<std::string>& leftOut = {});

    void remove(const std::vector<std::string>& words);

    /// Leaves words to the emoji that are meant by them, but for this emoji's claims: each becomes the
    /// beginning of a longer keyword, "party" of the balloon "party balloon". A whole keyword ranks before
    /// the beginning of a name, so without this every emoji with the keyword would come before the party
    /// popper.
    void yield(const std::unordered_set<std::string>& owned, const std::unordered_set<std::string>& claims);

    /// Ranking stops at the first keyword that begins with the query, so a keyword never stands behind a
    /// longer one that begins with it: its exact match would be taken for a mere beginning. A phrase waits
    /// for its first word ("heart eyes" for "heart"), while the longer form of a word takes the shorter along
    /// ("forbidden" takes "forbid").
    std::vector<std::string> ordered() const;

private:
    void addOne(std::string word);

    std::string m_name;
    std::vector<std::string> m_words;
    std::unordered_set<std::string> m_known;
};

} // namespace glimmerwick
