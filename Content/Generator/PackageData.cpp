#include "PackageData.h"

#include "Files.h"
#include "SearchWords.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <ranges>
#include <unordered_map>

namespace glimmerwick {

namespace {

using Json = nlohmann::json;
using std::filesystem::path;

/// The packages differ in where they write the variation selector, so emoji are matched without it.
using MatchKey = std::string;

/// Chat programs' shortcodes, the most widely typed first.
constexpr std::array<std::string_view, 3> shortcodeSets = {"github", "emojibase", "iamcal"};

struct LocaleEmoji {
    std::string name;
    std::vector<std::string> tags;
    std::vector<std::string> emoticons;
    std::vector<std::string> shortcodes;
};

using LocaleEmojis = std::unordered_map<MatchKey, LocaleEmoji>;

/// Ends the reading of a document that has another form than expected; caught where the package is loaded.
struct BadDocument {
    std::string description;
};

MatchKey matchKey(std::string codepoint)
{
    std::ranges::transform(codepoint, codepoint.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    for (auto at = codepoint.find(variationSelector); at != std::string::npos;
         at = codepoint.find(variationSelector)) {
        codepoint.erase(at, variationSelector.size());
    }
    return codepoint;
}

Json readJson(const path& file)
{
    const auto text = readFile(file);
    if (!text) {
        throw BadDocument{text.error().description};
    }
    try {
        return Json::parse(text.value());
    } catch (const Json::exception& error) {
        throw BadDocument{file.string() + ": " + error.what()};
    }
}

/// A list of texts, or one text, or nothing.
std::vector<std::string> texts(const Json& value)
{
    if (value.is_null()) {
        return {};
    }
    return value.is_string() ? std::vector{value.get<std::string>()} : value.get<std::vector<std::string>>();
}

std::vector<std::string> textsAt(const Json& object, const std::string& member)
{
    const auto found = object.find(member);
    return found == object.end() ? std::vector<std::string>{} : texts(*found);
}

void addShortcodes(const path& file, LocaleEmojis& emojis)
{
    const Json document = readJson(file);
    for (const auto& [codepoint, codes] : document.items()) {
        if (const auto emoji = emojis.find(matchKey(codepoint)); emoji != emojis.end()) {
            // "flag-de" beside "de" and "flag_de" says nothing new.
            std::ranges::copy_if(texts(codes), std::back_inserter(emoji->second.shortcodes),
                                 [](const std::string& code) { return !code.starts_with("flag-"); });
        }
    }
}

LocaleEmojis readLocale(const path& folder, bool isEnglish)
{
    LocaleEmojis emojis;
    for (const Json& entry : readJson(folder / "data.json")) {
        emojis[matchKey(entry.at("hexcode"))] = {
            entry.at("label"), textsAt(entry, "tags"), textsAt(entry, "emoticon"), {}};
    }
    const path shortcodes = folder / "shortcodes";
    if (isEnglish) {
        for (const std::string_view set : shortcodeSets) {
            addShortcodes(shortcodes / (std::string(set) + ".json"), emojis);
        }
    } else {
        addShortcodes(shortcodes / "cldr.json", emojis);
    }
    return emojis;
}

/// "smileys-emotion" in the one package is "smileys_emotion" in the other.
std::unordered_map<std::string, std::string> readGroupNames(const path& folder)
{
    std::unordered_map<std::string, std::string> names;
    const Json messages = readJson(folder / "messages.json");
    for (const Json& group : messages.at("groups")) {
        std::string key = group.at("key");
        std::ranges::replace(key, '-', '_');
        names[key] = group.at("message");
    }
    return names;
}

std::unordered_map<MatchKey, std::vector<std::string>> readLibrary(const path& file)
{
    std::unordered_map<MatchKey, std::vector<std::string>> words;
    const Json document = readJson(file);
    for (const auto& [text, list] : document.items()) {
        words[matchKey(codepointString(text))] = texts(list);
    }
    return words;
}

std::vector<EmojiGroup> read(const path& packages, const std::string& locale)
{
    const bool isEnglish = locale == englishLocale;
    const path localeFolder = packages / "emojibase-data" / locale;
    const auto groupNames = readGroupNames(localeFolder);
    const auto localeEmojis = readLocale(localeFolder, isEnglish);
    const auto library = isEnglish ? readLibrary(packages / "emojilib" / "dist" / "emoji-en-US.json")
                                   : std::unordered_map<MatchKey, std::vector<std::string>>{};

    std::vector<EmojiGroup> groups;
    for (const Json& group : readJson(packages / "unicode-emoji-json" / "data-by-group.json")) {
        EmojiGroup read{group.at("slug"), "", {}};
        if (const auto name = groupNames.find(read.slug); name != groupNames.end()) {
            read.name = name->second;
        }
        for (const Json& entry : group.at("emojis")) {
            EmojiRecord record{entry.at("emoji"), entry.at("name"), {}, {}, {}, {}};
            const MatchKey key = matchKey(codepointString(record.text));
            if (const auto found = localeEmojis.find(key); found != localeEmojis.end()) {
                const LocaleEmoji& emoji = found->second;
                record.name = emoji.name;
                record.tags = emoji.tags;
                record.emoticons = emoji.emoticons;
                record.shortcodes = emoji.shortcodes;
            }
            if (const auto words = library.find(key); words != library.end()) {
                record.libraryWords = words->second;
            }
            read.emojis.push_back(std::move(record));
        }
        groups.push_back(std::move(read));
    }
    return groups;
}

} // namespace

Result<std::vector<EmojiGroup>, GeneratorError> loadPackageData(const path& packages,
                                                                const std::string& locale)
{
    try {
        return read(packages, locale);
    } catch (const BadDocument& bad) {
        return Failure(GeneratorError{bad.description});
    } catch (const Json::exception& error) {
        return Failure(GeneratorError{"the data of locale " + locale + ": " + error.what()});
    }
}

} // namespace glimmerwick
