#include "ScaledCatalogue.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace glimmerwick {

namespace {

/// Parts of words in this many emoji ("face", "flag") are the catalogue's common ones.
constexpr std::size_t commonFrom = 20;

bool isLetter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

/// Calls `take` with each longest run of letters or of other bytes.
template <typename Take> void forEachPart(std::string_view word, Take take)
{
    while (!word.empty()) {
        const bool isOfLetters = isLetter(word.front());
        const auto end = std::ranges::find_if(word, [&](char byte) { return isLetter(byte) != isOfLetters; });
        const auto length = static_cast<std::size_t>(end - word.begin());
        take(word.substr(0, length), isOfLetters);
        word.remove_prefix(length);
    }
}

std::set<std::string, std::less<>> commonParts(const std::vector<Emoji>& emojis)
{
    std::map<std::string, std::size_t, std::less<>> counts;
    for (const Emoji& emoji : emojis) {
        std::set<std::string_view> parts;
        const auto collect = [&](std::string_view part, bool) { parts.insert(part); };
        forEachPart(emoji.name, collect);
        for (const std::string& keyword : emoji.keywords) {
            forEachPart(keyword, collect);
        }
        for (const std::string_view part : parts) {
            ++counts[std::string(part)];
        }
    }
    std::set<std::string, std::less<>> common;
    for (const auto& [part, count] : counts) {
        if (count >= commonFrom) {
            common.insert(part);
        }
    }
    return common;
}

/// How one copy changes its words.
class Alteration {
public:
    Alteration(int copy, const std::set<std::string, std::less<>>& common) : m_copy(copy), m_common(common)
    {
        std::mt19937_64 engine(static_cast<std::uint64_t>(copy));
        std::iota(m_letters.begin(), m_letters.end(), 'a');
        permute("aeiou", engine);
        permute("bcdfghjklmnpqrstvwxyz", engine);
    }

    std::string altered(std::string_view word) const
    {
        std::string result;
        forEachPart(word, [&](std::string_view part, bool isOfLetters) {
            if (isOfLetters && changes(part)) {
                std::ranges::transform(part, std::back_inserter(result), [&](char byte) {
                    const char lower = static_cast<char>(byte | 0x20);
                    return m_letters[static_cast<std::size_t>(lower - 'a')];
                });
            } else {
                result += part;
            }
        });
        return result;
    }

private:
    void permute(std::string_view letters, std::mt19937_64& engine)
    {
        std::string others(letters);
        for (std::size_t left = others.size(); left > 1; --left) {
            std::swap(others[left - 1], others[engine() % left]);
        }
        for (std::size_t index = 0; index < letters.size(); ++index) {
            m_letters[static_cast<std::size_t>(letters[index] - 'a')] = others[index];
        }
    }

    /// Of the words that are not common every other one, in each copy others.
    bool changes(std::string_view part) const
    {
        std::uint64_t hash = 14695981039346656037u + static_cast<std::uint64_t>(m_copy);
        for (const char byte : part) {
            hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211u;
        }
        return (hash >> 32) % 2 == 0 && !m_common.contains(part);
    }

    int m_copy;
    const std::set<std::string, std::less<>>& m_common;
    std::array<char, 26> m_letters{};
};

} // namespace

std::vector<Emoji> scaledCatalogue(const std::vector<Emoji>& emojis, int factor)
{
    const auto common = commonParts(emojis);
    std::vector<Emoji> scaled = emojis;
    scaled.reserve(emojis.size() * static_cast<std::size_t>(factor));
    for (int copy = 1; copy < factor; ++copy) {
        const Alteration alteration(copy, common);
        for (const Emoji& emoji : emojis) {
            Emoji& made = scaled.emplace_back(emoji);
            made.codepoint += "-" + std::to_string(copy);
            made.name = alteration.altered(emoji.name);
            for (std::string& keyword : made.keywords) {
                keyword = alteration.altered(keyword);
            }
        }
    }
    return scaled;
}

} // namespace glimmerwick
