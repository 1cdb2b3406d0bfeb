#include "SearchWords.h"

#include "Models/UnicodeText.h"

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <sstream>

namespace glimmerwick {

namespace {

constexpr UChar32 typographicMarks[] = {0x201C, 0x201D, 0xAE, 0x2122, 0xFE0F};

bool isApostrophe(UChar32 scalar)
{
    return scalar == 0x2018 || scalar == 0x2019;
}

bool isDropped(UChar32 scalar)
{
    return std::ranges::count(typographicMarks, scalar) > 0
        || u_hasBinaryProperty(scalar, UCHAR_EXTENDED_PICTOGRAPHIC) != 0;
}

bool isBlank(UChar32 scalar)
{
    return scalar == '_' || u_isUWhiteSpace(scalar) != 0;
}

bool isClosingPunctuation(UChar32 scalar)
{
    return scalar == ',' || scalar == ';' || scalar == ':';
}

std::string utf8(const icu::UnicodeString& text)
{
    std::string bytes;
    text.toUTF8String(bytes);
    return bytes;
}

template <typename Visit> void forEachScalar(const icu::UnicodeString& text, Visit visit)
{
    for (int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
        visit(text.char32At(at));
    }
}

/// Closing punctuation belongs to a word ("tada:"), but an emoticon may consist of nothing else (":").
void dropClosingPunctuation(icu::UnicodeString& word)
{
    while (word.length() > 1 && isClosingPunctuation(word.charAt(word.length() - 1))
           && u_isalnum(word.char32At(word.moveIndex32(word.length() - 1, -1)))) {
        word.truncate(word.length() - 1);
    }
}

std::string trimmedOfParentheses(std::string word)
{
    if (word.starts_with('(')) {
        word.erase(0, 1);
    }
    if (word.ends_with(')')) {
        word.pop_back();
    }
    return word;
}

} // namespace

std::string searchWord(std::string_view raw)
{
    icu::UnicodeString word;
    forEachScalar(icu::UnicodeString::fromUTF8(unicode::canonical(raw)), [&](UChar32 scalar) {
        if (isApostrophe(scalar)) {
            word.append('\'');
        } else if (isBlank(scalar)) {
            if (!word.endsWith(' ')) {
                word.append(' ');
            }
        } else if (!isDropped(scalar)) {
            word.append(scalar);
        }
    });
    word.trim();
    dropClosingPunctuation(word);
    return unicode::canonical(unicode::lowercased(utf8(word)));
}

std::string withoutPunctuation(std::string_view word)
{
    icu::UnicodeString plain;
    forEachScalar(icu::UnicodeString::fromUTF8(std::string(word)), [&](UChar32 scalar) {
        if (u_isalnum(scalar) || (U_GET_GC_MASK(scalar) & U_GC_M_MASK) != 0) {
            plain.append(scalar);
        } else if (!plain.isEmpty() && !plain.endsWith(' ')) {
            plain.append(' ');
        }
    });
    return utf8(plain.trim());
}

std::string subjectOf(std::string_view name)
{
    const auto colon = name.find(": ");
    return colon == std::string_view::npos ? "" : searchWord(name.substr(colon + 2));
}

std::vector<std::string> wordsOf(std::string_view name)
{
    std::vector<std::string> words;
    std::istringstream stream{std::string(name)};
    for (std::string word; stream >> word;) {
        words.push_back(trimmedOfParentheses(searchWord(word)));
    }
    return words;
}

std::string codepointString(std::string_view text)
{
    std::string joined;
    forEachScalar(icu::UnicodeString::fromUTF8(std::string(text)), [&](UChar32 scalar) {
        std::array<char, 9> digits{};
        std::snprintf(digits.data(), digits.size(), "%x", static_cast<unsigned>(scalar));
        joined += (joined.empty() ? "" : "-") + std::string(digits.data());
    });
    return joined;
}

SearchWords::SearchWords(std::string_view name) : m_name(unicode::canonical(unicode::lowercased(name))) { }

void SearchWords::add(const std::vector<std::string>& words)
{
    const std::string plainName = withoutPunctuation(m_name);
    for (const std::string& raw : words) {
        std::string word = searchWord(raw);
        // The sources repeat the name in the form of a file name.
        if (withoutPunctuation(word) != plainName || plainName.empty()) {
            addOne(std::move(word));
        }
    }
}

void SearchWords::addAsTheyAre(const std::vector<std::string>& words)
{
    for (const std::string& word : words) {
        addOne(unicode::canonical(unicode::lowercased(unicode::trimmed(word))));
    }
}

void SearchWords::addSubjectOf(std::string_view name)
{
    addOne(subjectOf(name));
}

void SearchWords::addPartsOf(std::string_view name, const std::unordered_set<std::string>& leftOut)
{
    addOne(searchWord(name));
    addOne(withoutPunctuation(searchWord(name)));
    std::vector<std::string> parts = wordsOf(name);
    parts.erase(parts.begin(), parts.begin() + std::min<std::ptrdiff_t>(1, std::ssize(parts)));
    for (const std::string& word : parts) {
        if (!leftOut.contains(word) && !withoutPunctuation(word).empty()) {
            addOne(word);
        }
    }
}

void SearchWords::addOne(std::string word)
{
    if (!word.empty() && word != m_name && m_known.insert(word).second) {
        m_words.push_back(std::move(word));
    }
}

void SearchWords::remove(const std::vector<std::string>& words)
{
    std::erase_if(m_words, [&](const std::string& word) { return std::ranges::count(words, word) > 0; });
}

void SearchWords::yield(const std::unordered_set<std::string>& owned,
                        const std::unordered_set<std::string>& claims)
{
    const std::string plainName = withoutPunctuation(m_name);
    std::vector<std::string> words = std::move(m_words);
    m_words.clear();
    m_known.clear();
    for (std::string& word : words) {
        // Where the name begins with the word, the name decides the rank.
        const bool yields = owned.contains(word) && !claims.contains(word) && !m_name.starts_with(word);
        addOne(yields ? word + " " + plainName : std::move(word));
    }
}

std::vector<std::string> SearchWords::ordered() const
{
    std::vector<std::string> waiting;
    for (const std::string& word : m_words) {
        const auto longerForm = std::ranges::find_if(waiting, [&](const std::string& other) {
            return other.starts_with(word) && unicode::startsWithLetterOrDigit(other.substr(word.size()));
        });
        waiting.insert(longerForm, word);
    }
    std::vector<std::string> ordered;
    while (!waiting.empty()) {
        // A shortest word begins with no other, so there is always one that need not wait.
        const auto next = std::ranges::find_if(waiting, [&](const std::string& word) {
            return std::ranges::none_of(waiting, [&](const std::string& other) {
                return other.size() < word.size() && word.starts_with(other);
            });
        });
        ordered.push_back(*next);
        waiting.erase(next);
    }
    return ordered;
}

} // namespace glimmerwick
