#include "CatalogueBuilder.h"

#include "SearchWords.h"

#include "Models/Manifest.h"
#include "Models/SkinTone.h"

#include <nlohmann/json.hpp>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <unordered_map>
#include <unordered_set>

namespace glimmerwick {

namespace {

using Json = nlohmann::ordered_json;

/// A category of the picker: the group it shows, its icon and its symbol (drawn in Resources/symbols).
struct CategoryStyle {
    std::string_view group;
    std::string_view id;
    std::string_view englishName;
    std::string_view icon;
    std::string_view symbol;
};

constexpr std::array<CategoryStyle, 9> categoryStyles = {{
    {"smileys_emotion", "smileys", "Smileys & Emotion", "1f600", "face.smiling"},
    {"people_body", "people", "People & Body", "1f44b", "person"},
    {"animals_nature", "animals", "Animals & Nature", "1f43b", "leaf"},
    {"food_drink", "food", "Food & Drink", "1f354", "fork.knife"},
    {"travel_places", "travel", "Travel & Places", "1f697", "car"},
    {"activities", "activities", "Activities", "26bd", "soccerball"},
    {"objects", "objects", "Objects", "1f4a1", "lightbulb"},
    {"symbols", "symbols", "Symbols", "2764-fe0f", "heart"},
    {"flags", "flags", "Flags", "1f3f3-fe0f", "flag"},
}};
constexpr std::string_view symbolFallback = "circle";
constexpr std::string_view flagGroup = "flags";

/// What is left of phrases that the sources take apart ("for you", "it's raining").
constexpr std::array<std::string_view, 14> fragments = {"a",  "an", "and", "at",  "for", "from", "in",
                                                        "of", "on", "or",  "st.", "the", "to",   "you"};

const EmojiGroup* findGroup(std::span<const EmojiGroup> groups, std::string_view slug)
{
    const auto found = std::ranges::find(groups, slug, &EmojiGroup::slug);
    return found == groups.end() ? nullptr : &*found;
}

/// The locales write group names as they stand in a sentence; a heading begins with a capital.
std::string asHeading(const std::string& name)
{
    icu::UnicodeString heading = icu::UnicodeString::fromUTF8(name);
    const int32_t firstEnd = heading.moveIndex32(0, 1);
    heading.replace(0, firstEnd, heading.tempSubString(0, firstEnd).toUpper(icu::Locale::getRoot()));
    std::string utf8;
    heading.toUTF8String(utf8);
    return utf8;
}

std::string categoryName(const CategoryStyle& style, const EmojiGroup& english, const EmojiGroup& local)
{
    return local.name.empty() || local.name == english.name ? std::string(style.englishName)
                                                            : asHeading(local.name);
}

/// The words that several sources agree on, then the rest of the library's, then of the tags: those are in no
/// telling order.
std::vector<std::string> byAgreement(const std::vector<std::string>& library,
                                     const std::vector<std::string>& tags)
{
    std::unordered_set<std::string> tagged;
    for (const std::string& tag : tags) {
        tagged.insert(searchWord(tag));
    }
    std::vector<std::string> words = library;
    std::ranges::stable_partition(words, [&](const auto& word) { return tagged.contains(searchWord(word)); });
    words.insert(words.end(), tags.begin(), tags.end());
    return words;
}

bool isCountryCode(const std::string& word)
{
    return word.size() == 2 && std::isupper(static_cast<unsigned char>(word[0]))
        && std::isupper(static_cast<unsigned char>(word[1]));
}

std::vector<std::string> withoutFragments(std::vector<std::string> words)
{
    std::erase_if(words, [](const std::string& word) {
        const std::string lower = searchWord(word);
        const bool isPossessive = lower.find(' ') == std::string::npos && lower.ends_with("'s");
        return !isCountryCode(word) && (isPossessive || std::ranges::count(fragments, lower) > 0);
    });
    return words;
}

/// The words that stand in many names and seldom in the tags, in whatever language: they join others and tell
/// nothing. Some would hide a country's code ("de").
std::unordered_set<std::string> joiningWords(std::span<const EmojiGroup> groups)
{
    constexpr int manyNames = 12;
    constexpr int seldom = 4;
    std::unordered_map<std::string, int> inNames;
    std::unordered_map<std::string, int> inTags;
    for (const EmojiGroup& group : groups) {
        for (const EmojiRecord& emoji : group.emojis) {
            for (const std::string& word : wordsOf(emoji.name)) {
                ++inNames[word];
            }
            for (const std::string& tag : emoji.tags) {
                ++inTags[searchWord(tag)];
            }
        }
    }
    std::unordered_set<std::string> joining;
    for (const auto& [word, count] : inNames) {
        if (count >= manyNames && inTags[word] < count / seldom) {
            joining.insert(word);
        }
    }
    return joining;
}

/// Half the world gives its emoticons a nose: ":)" and ":-)".
std::vector<std::string> withNoses(const std::vector<std::string>& emoticons)
{
    std::vector<std::string> all = emoticons;
    for (const std::string& emoticon : emoticons) {
        if (emoticon.size() == 2 && (emoticon[0] == ':' || emoticon[0] == ';') && emoticon[1] != '-') {
            all.push_back(emoticon.substr(0, 1) + "-" + emoticon.substr(1));
        }
    }
    return all;
}

/// Flags have a shortcode with "flag" before the country, which the name says already.
std::vector<std::string> underscored(const std::vector<std::string>& shortcodes)
{
    std::vector<std::string> found;
    std::ranges::copy_if(shortcodes, std::back_inserter(found), [](const std::string& code) {
        return code.find('_') != std::string::npos && !code.starts_with("flag");
    });
    return found;
}

/// One category field and one emoji a line.
std::string serialised(const Edition& edition, const Json& categories, const Json& emojis)
{
    const auto lines = [](const Json& object, const std::string& indentation) {
        std::string joined;
        for (const auto& [member, value] : object.items()) {
            joined += (joined.empty() ? "" : ",\n") + indentation + Json(member).dump() + ": " + value.dump();
        }
        return joined + "\n";
    };
    std::string categoryTexts;
    for (const Json& category : categories) {
        categoryTexts +=
            std::string(categoryTexts.empty() ? "" : ",\n") + "    {\n" + lines(category, "      ") + "    }";
    }
    return "{\n  \"version\": " + Json(edition.version).dump()
        + ",\n  \"lastUpdated\": " + Json(edition.lastUpdated).dump() + ",\n  \"categories\": [\n"
        + categoryTexts + "\n  ],\n  \"emojis\": {\n" + lines(emojis, "    ") + "  }\n}\n";
}

} // namespace

CatalogueBuilder::CatalogueBuilder(std::span<const EmojiGroup> english, std::span<const EmojiGroup> local,
                                   const Synonyms& synonyms, const RecommendedSequences& sequences)
    : m_english(english), m_local(local), m_synonyms(synonyms), m_sequences(sequences)
{
}

Result<std::string, GeneratorError> CatalogueBuilder::build(const Edition& edition) const
{
    if (const auto synonyms = checkSynonyms(); !synonyms) {
        return Failure(synonyms.error());
    }
    if (m_english.size() != categoryStyles.size()) {
        return Failure(GeneratorError{"the data has another number of groups than there are categories"});
    }

    const WordRules rules{ownedWords(), joiningWords(m_english), joiningWords(m_local)};
    Json categories = Json::array();
    Json emojis = Json::object();
    for (const CategoryStyle& style : categoryStyles) {
        const EmojiGroup* english = findGroup(m_english, style.group);
        const EmojiGroup* local = findGroup(m_local, style.group);
        if (english == nullptr || local == nullptr || english->emojis.size() != local->emojis.size()) {
            return Failure(GeneratorError{"the data has no group " + std::string(style.group)});
        }
        Json keys = Json::array();
        for (std::size_t at = 0; at < english->emojis.size(); ++at) {
            const EmojiRecord& emoji = local->emojis[at];
            const std::string codepoint = key(emoji.text);
            emojis[codepoint] = {
                {"char", emoji.text},
                {"name", emoji.name},
                {"keywords", keywords(english->emojis[at], emoji, rules, claims(emoji, *english))},
                {"category", style.id},
                {"skinTones", m_sequences.acceptsEveryTone(codepoint)}};
            keys.push_back(codepoint);
        }
        categories.push_back({{"id", style.id},
                              {"name", categoryName(style, *english, *local)},
                              {"icon", style.icon},
                              {"sfSymbol", style.symbol},
                              {"sfSymbolFallback", symbolFallback},
                              {"emojis", keys}});
    }

    const std::string document = serialised(edition, categories, emojis);
    if (const auto decoded = Manifest::decode(document); !decoded) {
        return Failure(GeneratorError{"the picker cannot read the result: " + decoded.error().description});
    }
    return document;
}

std::string CatalogueBuilder::key(const std::string& text) const
{
    const std::string qualified = codepointString(text);
    if (!qualified.ends_with(variationSelector)) {
        return qualified;
    }
    const std::string bare = qualified.substr(0, qualified.size() - variationSelector.size());
    return m_sequences.acceptsEveryTone(bare) ? bare : qualified;
}

CatalogueBuilder::Words CatalogueBuilder::claims(const EmojiRecord& emoji, const EmojiGroup& group) const
{
    const std::vector<std::string>& synonyms = m_synonyms.words(emoji.text);
    const bool isFlag = group.slug == flagGroup;
    Words claims(synonyms.begin(), isFlag || synonyms.empty() ? synonyms.end() : synonyms.begin() + 1);
    if (isFlag) {
        claims.insert(subjectOf(emoji.name));
    }
    return claims;
}

CatalogueBuilder::Words CatalogueBuilder::ownedWords() const
{
    Words owned;
    std::unordered_map<std::string, int> claimCounts;
    for (const EmojiGroup& group : m_local) {
        for (const EmojiRecord& emoji : group.emojis) {
            for (const std::string& word : claims(emoji, group)) {
                ++claimCounts[word];
            }
            const std::string name = searchWord(emoji.name);
            for (const std::string& word : m_synonyms.words(emoji.text)) {
                if (name.starts_with(word)) {
                    owned.insert(word);
                }
            }
        }
    }
    for (const auto& [word, count] : claimCounts) {
        if (count == 1) {
            owned.insert(word);
        }
    }
    return owned;
}

std::vector<std::string> CatalogueBuilder::keywords(const EmojiRecord& english, const EmojiRecord& local,
                                                    const WordRules& rules, const Words& claimed) const
{
    SearchWords words(local.name);
    if (&english != &local) {
        words.addSubjectOf(local.name);
        words.addPartsOf(local.name, rules.localJoiningWords);
        words.add(local.tags);
        words.add(local.shortcodes);
        words.add({english.name});
    }
    words.addSubjectOf(english.name);
    words.addAsTheyAre(m_synonyms.words(english.text));
    words.addAsTheyAre(withNoses(english.emoticons));
    words.add(english.shortcodes);
    words.addPartsOf(english.name, rules.englishJoiningWords);
    words.add(withoutFragments(byAgreement(english.libraryWords, english.tags)));
    words.addAsTheyAre(underscored(english.shortcodes));
    words.remove(m_synonyms.unwanted(english.text));
    words.yield(rules.owned, claimed);
    return words.ordered();
}

Result<Success, GeneratorError> CatalogueBuilder::checkSynonyms() const
{
    std::unordered_set<std::string> known;
    for (const EmojiGroup& group : m_english) {
        for (const EmojiRecord& emoji : group.emojis) {
            known.insert(emoji.text);
        }
    }
    for (const std::string& emoji : m_synonyms.emojis()) {
        if (!known.contains(emoji)) {
            return Failure(GeneratorError{"synonyms for " + emoji + " (" + codepointString(emoji)
                                          + "), which is no emoji of the catalogue"});
        }
    }
    return Success{};
}

} // namespace glimmerwick
