#pragma once

#include <filesystem>
#include <fstream>
#include <string_view>

namespace glimmerwick {

inline void writeText(const std::filesystem::path& file, std::string_view text)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

/// The data packages with two emoji in two of their nine groups, English and German.
inline void writeTinyPackages(const std::filesystem::path& folder)
{
    writeText(folder / "unicode-emoji-json/data-by-group.json", R"([
        {"slug": "smileys_emotion", "emojis": [{"emoji": "😀", "name": "grinning face"}]},
        {"slug": "people_body", "emojis": []}, {"slug": "animals_nature", "emojis": []},
        {"slug": "food_drink", "emojis": []}, {"slug": "travel_places", "emojis": []},
        {"slug": "activities", "emojis": []}, {"slug": "objects", "emojis": []},
        {"slug": "symbols", "emojis": [{"emoji": "❤️", "name": "red heart"}]}, {"slug": "flags", "emojis": []}])");
    writeText(folder / "emojilib/dist/emoji-en-US.json",
              R"({"😀": ["grinning_face", "smile"], "❤️": ["love"]})");

    const auto english = folder / "emojibase-data/en";
    writeText(english / "data.json", R"([
        {"label": "grinning face", "hexcode": "1F600", "tags": ["grin"], "emoticon": [":D", "=D"]},
        {"label": "red heart", "hexcode": "2764", "tags": ["heart"], "emoticon": "<3"},
        {"label": "regional indicator A", "hexcode": "1F1E6"}])");
    writeText(english / "messages.json",
              R"({"groups": [{"key": "smileys-emotion", "message": "smileys & emotion"}]})");
    writeText(english / "shortcodes/github.json", R"({"1F600": "grinning", "2764": ["heart", "flag-x"]})");
    writeText(english / "shortcodes/emojibase.json", R"({"1F600": "gleeful"})");
    writeText(english / "shortcodes/iamcal.json", R"({"FFFFF": "unknown"})");

    const auto german = folder / "emojibase-data/de";
    writeText(german / "data.json",
              R"([{"label": "grinsendes Gesicht", "hexcode": "1F600", "tags": ["lustig"]}])");
    writeText(german / "messages.json",
              R"({"groups": [{"key": "smileys-emotion", "message": "smileys & emotionen"}]})");
    writeText(german / "shortcodes/cldr.json", R"({"1F600": "grinsendes_gesicht"})");
}

/// What the generator takes from the project beside the packages.
inline void writeTinyContent(const std::filesystem::path& folder)
{
    writeText(folder / "edition.json", R"({"version": "1", "lastUpdated": "today"})");
    writeText(folder / "synonyms", "😀 cheese\n");
    writeText(folder / "sequences.txt", "# Comment\n1f600\n2764-fe0f\n");
}

} // namespace glimmerwick
