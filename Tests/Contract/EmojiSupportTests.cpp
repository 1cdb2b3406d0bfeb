#include "Managers/EmojiDataManager.h"
#include "Models/Manifest.h"
#include "Models/SkinTone.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include "EmojiFontConfiguration.h"
#include "Fakes/FakePlatform.h"
#include "TinyEmojiFont.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <barrier>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#ifdef __SANITIZE_THREAD__
/// ICU makes its locales once and announces them by an atomic variable, which the sanitizer cannot see in a
/// library that it has not compiled: it took each locale's memory for contested.
extern "C" const char* __tsan_default_suppressions()
{
    return "called_from_lib:libicuuc.so\n";
}
#endif

namespace glimmerwick::contract {
namespace {

using ::testing::IsEmpty;
using ::testing::UnorderedElementsAreArray;
using Codepoints = std::vector<std::string>;
using Glyphs = std::vector<std::uint32_t>;

constexpr double pointSize = 16;

/// Of Emoji 16 and 17. Debian 12's font has what Emoji 15.1 has.
const Codepoints newerThanTheFont = {
    "1fae9",
    "1fac6",
    "1fabe",
    "1fadc",
    "1fa89",
    "1fa8f",
    "1fadf",
    "1f1e8-1f1f6",
    "1faea",
    "1faef",
    "1fac8",
    "1fa8a",
    "1f9d1-200d-1fa70",
    "1facd",
    "1f6d8",
    "1fa8e",
};

/// Of people with bunny ears, who have tones since Emoji 17.
const Codepoints tonesNewerThanTheFont = {
    "1f46f-1f3fb", "1f46f-1f3fc", "1f46f-1f3fd", "1f46f-1f3fe", "1f46f-1f3ff",
};

const std::vector<Emoji>& catalogue()
{
    static const std::vector<Emoji> emojis = [] {
        std::ifstream file(GLIMMERWICK_SOURCE_DIR "/Resources/catalogue/manifest.json", std::ios::binary);
        const std::string document{std::istreambuf_iterator<char>(file), {}};
        return Manifest::decode(document).value().allEmojis();
    }();
    return emojis;
}

/// An emoji that no catalogue needs to hold.
Emoji emojiOf(const std::string& codepoint)
{
    Emoji emoji;
    emoji.codepoint = codepoint;
    emoji.char_ = SkinTone::codepointToChar(codepoint).value();
    return emoji;
}

std::vector<Emoji> tonesOf(const Emoji& emoji)
{
    std::vector<Emoji> toned;
    for (const SkinTone tone : SkinTone::allCases()) {
        if (tone != SkinTone::default_) {
            toned.push_back(emojiOf(tone.apply(emoji.codepoint)));
        }
    }
    return toned;
}

std::string hexadecimal(std::uint32_t scalar)
{
    std::array<char, 9> text{};
    return {text.data(), static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%x", scalar))};
}

/// What two letters from A to Z make a flag of.
std::string flagOf(char first, char second)
{
    constexpr std::uint32_t letterA = 0x1f1e6;
    const auto letter = [](char which) {
        return hexadecimal(letterA + static_cast<std::uint32_t>(which - 'A'));
    };
    return letter(first) + "-" + letter(second);
}

/// A black flag with these letters and digits as tags.
std::string taggedFlagOf(std::string_view tags)
{
    constexpr std::uint32_t firstTag = 0xe0000;
    std::string codepoint = "1f3f4";
    for (const char tag : tags) {
        codepoint += "-" + hexadecimal(firstTag + static_cast<std::uint32_t>(tag));
    }
    return codepoint + "-e007f";
}

Codepoints flagsOfTwoLetters()
{
    Codepoints flags;
    for (char first = 'A'; first <= 'Z'; ++first) {
        for (char second = 'A'; second <= 'Z'; ++second) {
            flags.push_back(flagOf(first, second));
        }
    }
    return flags;
}

class EmojiSupportTests : public ::testing::Test {
protected:
    bool isSupported(const Emoji& emoji) { return manager.isEmojiNativelySupported(emoji); }

    Codepoints supported(const Codepoints& codepoints)
    {
        Codepoints found;
        std::copy_if(codepoints.begin(), codepoints.end(), std::back_inserter(found),
                     [this](const std::string& codepoint) { return isSupported(emojiOf(codepoint)); });
        return found;
    }

    Codepoints unsupported(const std::vector<Emoji>& emojis)
    {
        Codepoints found;
        for (const Emoji& emoji : emojis) {
            if (!isSupported(emoji)) {
                found.push_back(emoji.codepoint);
            }
        }
        return found;
    }

    Glyphs glyphs(std::string_view text)
    {
        Glyphs result;
        const auto runs = layout.layOut(text, pointSize);
        for (const GlyphRun& run : runs.value_or(std::vector<GlyphRun>())) {
            result.insert(result.end(), run.glyphs.begin(), run.glyphs.end());
        }
        return result;
    }

    fakes::FakePlatform fakes;
    HarfBuzzTextLayout layout;
    EmojiDataManager manager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                             fakes.time,    fakes.httpClient, layout,           fakes.imageCodec};
};

TEST_F(EmojiSupportTests, theCatalogueIsDrawnExceptForWhatIsNewerThanTheFont)
{
    ASSERT_EQ(layout.colourEmojiFontFamily(), "Noto Color Emoji");

    EXPECT_THAT(unsupported(catalogue()), UnorderedElementsAreArray(newerThanTheFont));
}

TEST_F(EmojiSupportTests, theTonesOfWhatIsDrawnAreGlyphsOfTheirOwnExceptForThoseNewerThanTheFont)
{
    Codepoints notDrawn;
    std::size_t drawnCount = 0;
    for (const Emoji& emoji : catalogue()) {
        if (!emoji.skinTones || !isSupported(emoji)) {
            continue;
        }
        std::set<Glyphs> different{glyphs(emoji.char_)};
        std::size_t drawnTones = 0;
        for (const Emoji& toned : tonesOf(emoji)) {
            if (!isSupported(toned)) {
                notDrawn.push_back(toned.codepoint);
                continue;
            }
            ++drawnTones;
            EXPECT_EQ(glyphs(toned.char_).size(), 1U) << toned.codepoint;
            different.insert(glyphs(toned.char_));
        }
        EXPECT_EQ(different.size(), 1 + drawnTones) << emoji.codepoint;
        drawnCount += drawnTones;
    }

    EXPECT_GT(drawnCount, 600U);
    EXPECT_THAT(notDrawn, UnorderedElementsAreArray(tonesNewerThanTheFont));
}

TEST_F(EmojiSupportTests, theFlagsThatAreDrawnAreThoseOfTheCatalogueThatTheFontKnows)
{
    const Codepoints all = flagsOfTwoLetters();
    Codepoints known;
    std::copy_if(all.begin(), all.end(), std::back_inserter(known), [](const std::string& codepoint) {
        const auto& emojis = catalogue();
        return std::find(emojis.begin(), emojis.end(), emojiOf(codepoint)) != emojis.end()
            && codepoint != flagOf('C', 'Q');
    });
    ASSERT_EQ(known.size(), 258U);

    EXPECT_THAT(supported(all), UnorderedElementsAreArray(known));
}

TEST_F(EmojiSupportTests, theFlagsOfThreeRegionsAreDrawn)
{
    for (const std::string_view region : {"gbeng", "gbsct", "gbwls"}) {
        EXPECT_TRUE(isSupported(emojiOf(taggedFlagOf(region)))) << region;
    }
}

TEST_F(EmojiSupportTests, flagsOfInventedRegionsAreNotDrawn)
{
    const Codepoints invented = {
        taggedFlagOf("zzzzz"), taggedFlagOf("xx"), taggedFlagOf("gb"),  taggedFlagOf("gbxyz"),
        taggedFlagOf("frzzz"), taggedFlagOf(""),   taggedFlagOf("123"), "1f3f4-e0067-e0062",
    };

    EXPECT_THAT(supported(invented), IsEmpty());
}

TEST_F(EmojiSupportTests, tagsBehindWhatIsNoFlagAreNotDrawn)
{
    EXPECT_TRUE(isSupported(emojiOf("1f600")));
    EXPECT_FALSE(isSupported(emojiOf("1f600-e0067-e0062-e007f")));
}

TEST_F(EmojiSupportTests, withoutAColourEmojiFontNothingIsDrawn)
{
    EmojiFontConfiguration fonts;
    const auto lettersOnly = EmojiFontConfiguration::fileOf("DejaVu Sans");
    ASSERT_TRUE(lettersOnly) << "DejaVu Sans must be installed";
    fonts.link(*lettersOnly);
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(unsupported(catalogue()).size(), catalogue().size());
}

TEST_F(EmojiSupportTests, withAFontOfOneEmojiOnlyThatIsDrawn)
{
    EmojiFontConfiguration fonts;
    fonts.write("One.ttf", TinyEmojiFont::bytes("One", U"\U0001F600", TinyEmojiFont::Colours::layers));
    ASSERT_TRUE(fonts.use());

    EXPECT_EQ(unsupported(catalogue()).size(), catalogue().size() - 1);
    EXPECT_TRUE(isSupported(emojiOf("1f600")));
}

/// The font is looked for by whoever comes first, so nothing may ask before the threads do.
TEST_F(EmojiSupportTests, threadsThatAskFromTheStartGetTheSameAnswers)
{
    constexpr std::size_t threadCount = 6;
    const std::vector<Emoji>& emojis = catalogue();
    // Elements of a vector<bool> would share bytes between threads.
    std::vector<std::vector<char>> answers(threadCount, std::vector<char>(emojis.size()));
    std::vector<Glyphs> rawGlyphs(threadCount);
    std::vector<std::string> families(threadCount);
    std::barrier start(threadCount);

    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < threadCount; ++number) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            if (number % 3 == 1) {
                families[number] = layout.colourEmojiFontFamily().value_or("");
            } else if (number % 3 == 2) {
                rawGlyphs[number] = glyphs("\U0001F44D\U0001F3FD");
            }
            // Two threads each from the same place, so that they meet at emoji that nobody has asked about.
            const std::size_t first = number / 2 * emojis.size() / 3;
            for (std::size_t step = 0; step < emojis.size(); ++step) {
                const std::size_t index = (first + step) % emojis.size();
                answers[number][index] = isSupported(emojis[index]) ? 1 : 0;
            }
            families[number] = layout.colourEmojiFontFamily().value_or("");
            rawGlyphs[number] = glyphs("\U0001F44D\U0001F3FD");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(std::count(answers.front().begin(), answers.front().end(), 0),
              static_cast<std::ptrdiff_t>(newerThanTheFont.size()));
    for (std::size_t number = 0; number < threadCount; ++number) {
        EXPECT_EQ(answers[number], answers.front());
        EXPECT_EQ(rawGlyphs[number], rawGlyphs.front());
        EXPECT_EQ(rawGlyphs[number].size(), 1U);
        EXPECT_EQ(families[number], "Noto Color Emoji");
    }
}

} // namespace
} // namespace glimmerwick::contract
