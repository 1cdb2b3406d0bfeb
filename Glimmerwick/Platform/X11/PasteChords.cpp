#include "Platform/X11/PasteChords.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>

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
    return std::nullopt;
}

std::optional<PasteChord::Readiness> readiness(const std::string& word)
{
    if (word.empty()) {
        return PasteChord::Readiness::atOnce;
    }
    return word == "settle" ? std::optional(PasteChord::Readiness::afterSettling) : std::nullopt;
}

std::string withoutComment(const std::string& line)
{
    return line.substr(0, line.find('#'));
}

} // namespace

void PasteChords::load(const std::filesystem::path& file)
{
    std::ifstream lines(file);
    load(lines, file.string());
}

void PasteChords::load(std::istream& lines, const std::string& name)
{
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        std::istringstream words(lowerCase(withoutComment(line)));
        std::string windowClass;
        std::string keysWord;
        std::string readinessWord;
        std::string surplus;
        words >> windowClass >> keysWord >> readinessWord >> surplus;
        if (windowClass.empty()) {
            continue;
        }
        const auto chordKeys = keys(keysWord);
        const auto chordReadiness = readiness(readinessWord);
        if (!chordKeys || !chordReadiness || !surplus.empty()) {
            std::fprintf(stderr, "glimmerwick: %s:%d: not a paste chord\n", name.c_str(), number);
            continue;
        }
        m_byClass[windowClass] = {*chordKeys, *chordReadiness};
    }
}

PasteChord PasteChords::find(std::string_view windowClass) const
{
    const auto found = m_byClass.find(lowerCase(windowClass));
    return found == m_byClass.end() ? PasteChord() : found->second;
}

} // namespace glimmerwick
