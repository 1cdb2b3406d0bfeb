#include "Platform/Linux/PasteChords.h"

#include "Platform/Linux/Files.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <utility>
#include <vector>

namespace glimmerwick {

namespace {

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](unsigned char character) {
        const bool isUpper = character >= 'A' && character <= 'Z';
        return static_cast<char>(isUpper ? character - 'A' + 'a' : character);
    });
    return result;
}

std::optional<PasteChord::Keys> keys(const std::string& word)
{
    if (word == "ctrl+v") {
        return PasteChord::Keys::controlV;
    }
    if (word == "ctrl+shift+v") {
        return PasteChord::Keys::controlShiftV;
    }
    if (word == "shift+insert") {
        return PasteChord::Keys::shiftInsert;
    }
    if (word == "ctrl+shift+insert") {
        return PasteChord::Keys::controlShiftInsert;
    }
    return std::nullopt;
}

std::string withoutComment(const std::string& line)
{
    return line.substr(0, line.find('#'));
}

std::vector<std::string> words(const std::string& line)
{
    std::istringstream stream(lowerCase(withoutComment(line)));
    return {std::istream_iterator<std::string>(stream), {}};
}

struct Line {
    std::string windowClass;
    PasteChord chord;
};

// From the end, because a class may have several words.
std::optional<Line> parse(std::vector<std::string> words)
{
    PasteChord chord;
    if (!words.empty() && words.back() == "settle") {
        chord.readiness = PasteChord::Readiness::afterSettling;
        words.pop_back();
    }
    const auto chordKeys = words.empty() ? std::nullopt : keys(words.back());
    if (!chordKeys) {
        return std::nullopt;
    }
    chord.keys = *chordKeys;
    words.pop_back();
    std::string windowClass;
    for (const auto& word : words) {
        if (keys(word)) {
            return std::nullopt;
        }
        windowClass += windowClass.empty() ? word : ' ' + word;
    }
    return windowClass.empty() ? std::nullopt : std::optional(Line{windowClass, chord});
}

} // namespace

PasteChords::PasteChords(const std::vector<std::filesystem::path>& files)
{
    for (const auto& file : files) {
        load(file);
    }
}

void PasteChords::load(const std::filesystem::path& file)
{
    if (auto text = LocalFileSystem().read(file)) {
        std::istringstream lines(std::move(text).value());
        load(lines, file.string());
    }
}

void PasteChords::load(std::istream& lines, const std::string& name)
{
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const auto lineWords = words(line);
        if (lineWords.empty()) {
            continue;
        }
        const auto parsed = parse(lineWords);
        if (!parsed) {
            std::fprintf(stderr, "glimmerwick: %s:%d: not a paste chord\n", name.c_str(), number);
            continue;
        }
        m_byClass[parsed->windowClass] = parsed->chord;
    }
}

PasteChord PasteChords::find(std::string_view windowClass) const
{
    const auto found = m_byClass.find(lowerCase(windowClass));
    return found == m_byClass.end() ? PasteChord() : found->second;
}

} // namespace glimmerwick
