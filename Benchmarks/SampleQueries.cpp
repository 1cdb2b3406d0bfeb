#include "SampleQueries.h"

#include "Models/UnicodeText.h"

#include <algorithm>
#include <set>

namespace glimmerwick {

namespace {

/// With as many prefix matches nothing looks for typos.
constexpr std::size_t enoughPrefixMatches = 10;
constexpr std::size_t fewPrefixMatches = 20;

bool isAscii(const std::string& text)
{
    return std::ranges::all_of(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

} // namespace

SampleQueries::SampleQueries(const std::vector<Emoji>& emojis)
{
    for (std::size_t number = 0; number < emojis.size(); ++number) {
        m_entries.emplace_back(unicode::lowercased(emojis[number].name), number);
        for (const std::string& keyword : emojis[number].keywords) {
            m_entries.emplace_back(unicode::lowercased(keyword), number);
        }
    }
    std::ranges::sort(m_entries);
    for (const auto& [word, number] : m_entries) {
        if (!word.empty() && isAscii(word) && (m_words.empty() || m_words.back() != word)) {
            m_words.push_back(word);
        }
    }
}

std::size_t SampleQueries::prefixMatchCount(const std::string& prefix) const
{
    std::set<std::size_t> matched;
    for (auto entry = std::ranges::lower_bound(m_entries, std::pair(prefix, std::size_t{0}));
         entry != m_entries.end() && entry->first.starts_with(prefix); ++entry) {
        matched.insert(entry->second);
    }
    return matched.size();
}

/// Gives up when nothing new comes for long, as when there are fewer such queries.
template <typename Make, typename Accept>
SampleQueries::Queries SampleQueries::collect(std::size_t count, Make make, Accept accept) const
{
    std::set<std::string> seen;
    Queries queries;
    for (std::size_t attempt = 0; attempt < 1000 * count && queries.size() < count; ++attempt) {
        std::string query = make();
        // Blanks at an end would be trimmed away.
        if (query != unicode::trimmed(query) || seen.contains(query) || !accept(query)) {
            continue;
        }
        seen.insert(query);
        queries.push_back(std::move(query));
    }
    return queries;
}

SampleQueries::Queries SampleQueries::oneLetter() const
{
    std::set<char> first;
    for (const std::string& word : m_words) {
        if (unicode::startsWithLetterOrDigit(word)) {
            first.insert(word.front());
        }
    }
    Queries queries;
    std::ranges::transform(first, std::back_inserter(queries),
                           [](char letter) { return std::string(1, letter); });
    return queries;
}

SampleQueries::Queries SampleQueries::prefixes(std::size_t count)
{
    return collect(
        count, [this] { return anyWord().substr(0, 2 + below(3)); },
        [](const std::string& query) { return query.size() >= 2; });
}

SampleQueries::Queries SampleQueries::rarePrefixes(std::size_t count)
{
    return collect(
        count, [this] { return anyWord().substr(0, 2 + below(9)); },
        [this](const std::string& query) {
            // Cheaper than counting the emoji of a common prefix, which at the largest catalogue are many.
            const auto far = std::ranges::lower_bound(m_entries, std::pair(query, std::size_t{0}));
            if (m_entries.end() - far > 100 && (far + 100)->first.starts_with(query)) {
                return false;
            }
            const std::size_t matches = prefixMatchCount(query);
            return matches >= enoughPrefixMatches && matches <= fewPrefixMatches;
        });
}

SampleQueries::Queries SampleQueries::wholeWords(std::size_t count)
{
    return collect(
        count, [this] { return anyWord(); }, [](const std::string&) { return true; });
}

std::string SampleQueries::withEdit(std::string word)
{
    const std::size_t position = below(word.size());
    switch (below(3)) {
    case 0:
        word.insert(position, 1, anyLetter());
        break;
    case 1:
        word.erase(position, 1);
        break;
    default:
        word[position] = anyLetter();
        break;
    }
    return word;
}

SampleQueries::Queries SampleQueries::typos(std::size_t count)
{
    constexpr std::size_t shortest = 5;
    const auto make = [this] {
        const std::string& word = anyWord();
        if (word.size() < shortest) {
            return std::string();
        }
        const std::string wrong = withEdit(word);
        return below(2) == 0 ? wrong : withEdit(wrong);
    };
    return collect(count, make, [this](const std::string& query) {
        return !query.empty() && prefixMatchCount(query) < enoughPrefixMatches;
    });
}

SampleQueries::Queries SampleQueries::noMatches(std::size_t count)
{
    const auto make = [this] {
        std::string letters(12 + below(9), ' ');
        std::ranges::generate(letters, [this] { return anyLetter(); });
        return letters;
    };
    return collect(count, make, [](const std::string&) { return true; });
}

} // namespace glimmerwick
