#include "Platform/Linux/SwayConfiguration.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

using Words = std::vector<std::string>;

/// The key that every keyboard has for Space, by the number that the window systems give it.
constexpr auto spaceCode = "65";

/// No command is as long. Variables that hold others twice would grow without end.
constexpr std::size_t longestExpansion = 64 * 1024;

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
    });
    return text;
}

std::string withoutQuotes(std::string word)
{
    std::erase_if(word, [](char letter) { return letter == '"' || letter == '\''; });
    return word;
}

Words wordsOf(const std::string& line)
{
    std::istringstream stream(line);
    Words words;
    for (std::string word; stream >> word;) {
        words.push_back(std::move(word));
    }
    return words;
}

/// The words from one on.
std::string textFrom(const Words& words, std::size_t first)
{
    std::string text;
    for (std::size_t index = first; index < words.size(); ++index) {
        text += (text.empty() ? "" : " ") + words[index];
    }
    return text;
}

bool isShortcut(const std::string& combination, const std::string& spaceKey)
{
    std::set<std::string> keys;
    std::istringstream stream(lowerCase(combination));
    for (std::string key; std::getline(stream, key, '+');) {
        if (!key.starts_with("group")) {
            keys.insert(key == "control" ? "ctrl" : key);
        }
    }
    return keys == std::set<std::string>{"ctrl", "mod4", spaceKey};
}

/// Reads a configuration line by line.
class Reader {
public:
    void read(const std::string& line)
    {
        Words words = wordsOf(line);
        if (words.empty() || words.front().starts_with('#')) {
            return;
        }
        if (words.front() == "}") {
            if (!m_blocks.empty()) {
                m_blocks.pop_back();
            }
        } else if (words.back() == "{") {
            words.pop_back();
            m_blocks.push_back(std::move(words));
        } else {
            readCommand(withBlock(std::move(words)));
        }
    }

    const std::optional<std::string>& commandAtShortcut() const { return m_command; }

private:
    /// Lines of a block are commands that begin as the block does.
    Words withBlock(Words words) const
    {
        if (m_blocks.empty()) {
            return words;
        }
        Words all = m_blocks.back();
        // Other modes are none of the shortcut's business.
        if (all.size() == 2 && all[0] == "mode" && withoutQuotes(all[1]) == "default") {
            return words;
        }
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }

    void readCommand(const Words& words)
    {
        if (words.empty()) {
            return;
        }
        const std::string& name = words[0];
        if (name == "set" && words.size() > 2) {
            m_variables[words[1]] = expanded(withoutQuotes(textFrom(words, 2)));
        } else if (name == "bindsym" || name == "unbindsym") {
            readBinding(words, "space");
        } else if (name == "bindcode" || name == "unbindcode") {
            readBinding(words, spaceCode);
        }
    }

    void readBinding(const Words& words, const std::string& spaceKey)
    {
        std::size_t index = 1;
        while (index < words.size() && words[index].starts_with("--")) {
            ++index;
        }
        if (index == words.size() || !isShortcut(expanded(withoutQuotes(words[index])), spaceKey)) {
            return;
        }
        if (words[0].starts_with("un")) {
            m_command.reset();
        } else {
            m_command = textFrom(words, index + 1);
        }
    }

    std::string expanded(const std::string& text) const
    {
        std::string result;
        for (std::size_t index = 0; index < text.size() && result.size() < longestExpansion;) {
            const auto* variable = text[index] == '$' ? variableAt(text, index) : nullptr;
            result += variable ? variable->second : std::string(1, text[index]);
            index += variable ? variable->first.size() : 1;
        }
        return result;
    }

    /// The one with the longest name.
    const std::pair<const std::string, std::string>* variableAt(const std::string& text,
                                                                std::size_t index) const
    {
        const std::pair<const std::string, std::string>* longest = nullptr;
        for (const auto& variable : m_variables) {
            if (text.compare(index, variable.first.size(), variable.first) == 0
                && (!longest || variable.first.size() > longest->first.size())) {
                longest = &variable;
            }
        }
        return longest;
    }

    std::map<std::string, std::string> m_variables;
    /// What the lines stand in, the outermost first.
    std::vector<Words> m_blocks;
    std::optional<std::string> m_command;
};

} // namespace

std::optional<std::string> swayCommandAtShortcut(std::string_view configuration)
{
    Reader reader;
    std::istringstream lines{std::string(configuration)};
    std::string line;
    for (std::string part; std::getline(lines, part);) {
        line += part;
        if (line.ends_with('\\')) {
            line.back() = ' ';
            continue;
        }
        reader.read(line);
        line.clear();
    }
    return reader.commandAtShortcut();
}

} // namespace glimmerwick
