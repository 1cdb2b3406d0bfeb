#include "CatalogueCheck.h"

#include "SearchWords.h"

#include "Models/SkinTone.h"
#include "Models/UnicodeText.h"

#include <nlohmann/json.hpp>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <map>
#include <set>

namespace glimmerwick {

namespace {

using Json = nlohmann::json;

constexpr std::array<std::string_view, 9> categoryIds = {"smileys",    "people",  "animals", "food", "travel",
                                                         "activities", "objects", "symbols", "flags"};

/// A repeated member hides an emoji: decoding keeps one of the two.
std::vector<std::string> repeatedMembers(std::string_view document)
{
    std::vector<std::string> repeated;
    std::vector<std::set<std::string>> open;
    const auto visit = [&](int, Json::parse_event_t event, Json& parsed) {
        if (event == Json::parse_event_t::object_start) {
            open.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            open.pop_back();
        } else if (event == Json::parse_event_t::key) {
            const auto member = parsed.get<std::string>();
            if (!open.back().insert(member).second) {
                repeated.push_back(member);
            }
        }
        return true;
    };
    const Json ignored = Json::parse(document, visit, false);
    return repeated;
}

/// A tone, or a hair style such as U+1F9B0: emoji that are shown inside others only.
bool isPartOfOthers(UChar32 scalar)
{
    return u_hasBinaryProperty(scalar, UCHAR_EMOJI_COMPONENT) != 0;
}

/// Whether the sequence is an emoji of the catalogue: no toned one and no part of others alone.
bool isBaseEmoji(const std::string& sequence)
{
    const auto text = icu::UnicodeString::fromUTF8(SkinTone::codepointToChar(sequence).value_or(""));
    bool holdsATone = false;
    for (int32_t at = 0; at < text.length(); at = text.moveIndex32(at, 1)) {
        holdsATone = holdsATone || u_hasBinaryProperty(text.char32At(at), UCHAR_EMOJI_MODIFIER) != 0;
    }
    const bool isAlone = text.countChar32() == 1;
    return !holdsATone && !(isAlone && isPartOfOthers(text.char32At(0)));
}

} // namespace

CatalogueCheck::Report CatalogueCheck::run(std::string_view document, const RecommendedSequences& sequences)
{
    const auto decoded = Manifest::decode(document);
    if (!decoded) {
        return {{decoded.error().description}};
    }
    CatalogueCheck check(decoded.value(), sequences);
    for (const std::string& member : repeatedMembers(document)) {
        check.breach("the member " + member + " is there twice");
    }
    const auto again = Manifest::decode(decoded.value().encode());
    if (!again || !(again.value() == decoded.value())) {
        check.breach("encoding and decoding gives another manifest");
    }
    if (decoded.value().version().empty() || decoded.value().lastUpdated().empty()) {
        check.breach("the version or its date is empty");
    }
    check.checkCategories();
    check.checkMembership();
    check.checkCompleteness();
    for (const Emoji& emoji : check.m_emojis) {
        check.checkEmoji(emoji);
    }
    return std::move(check.m_report);
}

CatalogueCheck::CatalogueCheck(const Manifest& manifest, const RecommendedSequences& sequences)
    : m_manifest(manifest), m_sequences(sequences), m_emojis(manifest.allEmojis())
{
    m_report.emojiCount = m_emojis.size();
}

void CatalogueCheck::checkCategories()
{
    if (!std::ranges::equal(m_manifest.categories(), categoryIds, {}, &EmojiCategory::id)) {
        breach("the categories are not the nine of the picker in their order");
    }
    for (const EmojiCategory& category : m_manifest.categories()) {
        if (category.name.empty() || category.sfSymbol.value_or("").empty()
            || category.sfSymbolFallback.value_or("").empty()) {
            breach("category " + category.id + " lacks a name, a symbol or a fallback");
        }
        if (!m_manifest.emoji(category.icon)) {
            breach("category " + category.id + " has an icon that is no emoji: " + category.icon);
        }
    }
}

void CatalogueCheck::checkMembership()
{
    std::map<std::string, int> listed;
    for (const EmojiCategory& category : m_manifest.categories()) {
        for (const std::string& codepoint : category.emojis) {
            ++listed[codepoint];
            const auto emoji = m_manifest.emoji(codepoint);
            if (!emoji) {
                breach("category " + category.id + " lists " + codepoint + ", which is not there");
            } else if (emoji->category != category.id) {
                breach(codepoint + " is listed in " + category.id + " but names " + emoji->category);
            }
        }
    }
    for (const Emoji& emoji : m_emojis) {
        if (const int count = listed[emoji.codepoint]; count != 1) {
            breach(emoji.codepoint + " is listed " + std::to_string(count) + " times");
        }
    }
}

void CatalogueCheck::checkCompleteness()
{
    std::set<std::string> texts;
    for (const Emoji& emoji : m_emojis) {
        if (!texts.insert(codepointString(emoji.char_)).second) {
            breach(emoji.codepoint + " has the text of another emoji");
        }
    }
    for (const std::string& sequence : m_sequences.codepoints()) {
        if (isBaseEmoji(sequence) && !texts.contains(sequence)) {
            breach(sequence + " is a recommended emoji and not there");
        }
    }
}

void CatalogueCheck::checkEmoji(const Emoji& emoji)
{
    checkKey(emoji);
    checkKeywords(emoji);
    if (unicode::trimmed(emoji.name).empty()) {
        breach(emoji.codepoint + " has no name");
    }
    if (emoji.skinTones) {
        ++m_report.tonedCount;
    }
    if (emoji.skinTones != m_sequences.acceptsEveryTone(emoji.codepoint)) {
        breach(emoji.codepoint
               + (emoji.skinTones ? " takes tones that make no recommended sequence"
                                  : " takes no tones, though every one is recommended"));
    }
}

void CatalogueCheck::checkKey(const Emoji& emoji)
{
    const std::string text = codepointString(emoji.char_);
    if (!m_sequences.contains(text)) {
        breach(emoji.codepoint + " has a text that is no recommended emoji: " + text);
    }
    const bool isBareForItsTones = emoji.codepoint + std::string(variationSelector) == text
        && m_sequences.acceptsEveryTone(emoji.codepoint);
    const bool hidesTones = text.ends_with(variationSelector) && emoji.codepoint == text
        && m_sequences.acceptsEveryTone(text.substr(0, text.size() - variationSelector.size()));
    if ((emoji.codepoint != text && !isBareForItsTones) || hidesTones) {
        breach(emoji.codepoint + " is no key of the text " + text);
    }
}

void CatalogueCheck::checkKeywords(const Emoji& emoji)
{
    const auto say = [&](const std::string& keyword, const std::string& problem) {
        breach(emoji.codepoint + ": the keyword \"" + keyword + "\" " + problem);
    };
    const std::string name = unicode::lowercased(emoji.name);
    std::set<std::string> known;
    for (auto keyword = emoji.keywords.begin(); keyword != emoji.keywords.end(); ++keyword) {
        const std::string lower = unicode::lowercased(*keyword);
        if (lower.empty() || lower != *keyword || unicode::trimmed(lower) != lower
            || unicode::canonical(lower) != lower) {
            say(*keyword, "is not lower case, trimmed, composed and non-empty");
        }
        if (!known.insert(lower).second) {
            say(*keyword, "is there twice");
        }
        if (lower == name) {
            say(*keyword, "repeats the name");
        }
        const auto isLonger = [&](const std::string& other) { return other.starts_with(*keyword); };
        if (std::any_of(emoji.keywords.begin(), keyword,
                        [&](const auto& other) { return other != *keyword && isLonger(other); })) {
            say(*keyword, "stands behind a longer one that begins with it");
        }
    }
    m_report.keywordCount += emoji.keywords.size();
}

} // namespace glimmerwick
