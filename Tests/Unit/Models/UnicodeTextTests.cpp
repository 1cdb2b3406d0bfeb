#include "Models/UnicodeText.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace glimmerwick::unicode {
namespace {

using Strings = std::vector<std::string>;

TEST(LowercasedText, FollowsUnicodeAndNoLocale)
{
    EXPECT_EQ(lowercased(""), "");
    EXPECT_EQ(lowercased("Hello, WORLD [@`{] 123"), "hello, world [@`{] 123");
    EXPECT_EQ(lowercased("ÄÖÜ ÉÇ"), "äöü éç");
    EXPECT_EQ(lowercased("ΑΒΓ ДЖЯ"), "αβγ джя");
    EXPECT_EQ(lowercased("TITLE I"), "title i");
}

TEST(LowercasedText, UsesFullMappings)
{
    EXPECT_EQ(lowercased("İ"), "i\u0307");
    EXPECT_EQ(lowercased("ΟΔΟΣ"), "οδος");
    EXPECT_EQ(lowercased("ẞ"), "ß");
}

TEST(LowercasedText, LeavesEmojiAlone)
{
    EXPECT_EQ(lowercased("👍🏻 ❤️"), "👍🏻 ❤️");
}

TEST(TrimmedText, LosesWhiteSpaceAndNewlinesAtBothEnds)
{
    EXPECT_EQ(trimmed("  a b  "), "a b");
    EXPECT_EQ(trimmed("\t\r\n\v\fa\u0085\u2028\u2029"), "a");
    EXPECT_EQ(trimmed("\u00a0\u3000\u2009x\u202f\u205f\u1680"), "x");
    EXPECT_EQ(trimmed("   "), "");
    EXPECT_EQ(trimmed(""), "");
    EXPECT_EQ(trimmed("\U0001F600"), "😀");
    EXPECT_EQ(trimmed(" 😀 "), "😀");
}

TEST(TrimmedText, KeepsWhatIsNoWhiteSpace)
{
    EXPECT_EQ(trimmed("\u200ba\u200d"), "\u200ba\u200d");
    EXPECT_EQ(trimmed("\x01"), "\x01");
}

TEST(GraphemeClusters, AreWhatPeopleTakeForCharacters)
{
    EXPECT_EQ(graphemeClusters(""), Strings{});
    EXPECT_EQ(graphemeClusters("abc"), (Strings{"a", "b", "c"}));
    EXPECT_EQ(graphemeClusters("👍🏻a"), (Strings{"👍🏻", "a"}));
    EXPECT_EQ(graphemeClusters("👩‍💻👩‍💻"), (Strings{"👩‍💻", "👩‍💻"}));
    EXPECT_EQ(graphemeClusters("🇩🇪🇫🇷🇮"), (Strings{"🇩🇪", "🇫🇷", "🇮"}));
    EXPECT_EQ(graphemeClusters("e\u0301x"), (Strings{"e\u0301", "x"}));
    EXPECT_EQ(graphemeClusters("❤️1️⃣"), (Strings{"❤️", "1️⃣"}));
    EXPECT_EQ(graphemeClusters("🏴󠁧󠁢󠁳󠁣󠁴󠁿"), (Strings{"🏴󠁧󠁢󠁳󠁣󠁴󠁿"}));
}

TEST(GraphemeClusters, JoinLettersOfOtherScriptsAsIcuDoes)
{
    EXPECT_EQ(graphemeClusters("\u0915\u094d\u0937a"), (Strings{"\u0915\u094d\u0937", "a"}));
    EXPECT_EQ(graphemeClusters("\u0928\u093f\u0932"), (Strings{"\u0928\u093f", "\u0932"}));
    EXPECT_EQ(graphemeClusters("\u1112\u1161\u11ab\uae00"), (Strings{"\u1112\u1161\u11ab", "\uae00"}));
    EXPECT_EQ(graphemeClusters("\u0600\u0661\u00e9"), (Strings{"\u0600\u0661", "\u00e9"}));
    EXPECT_EQ(graphemeClusterCount("\u0915\u094d\u0937\u00e9"), 2U);
}

TEST(GraphemeClusters, TakeCarriageReturnAndLineFeedForOne)
{
    EXPECT_EQ(graphemeClusters("a\r\nb"), (Strings{"a", "\r\n", "b"}));
    EXPECT_EQ(graphemeClusters("\n\n"), (Strings{"\n", "\n"}));
    EXPECT_EQ(graphemeClusterCount("a\r\nb"), 3U);
}

TEST(GraphemeClusters, AreCountedWithoutBeingCopied)
{
    for (const std::string text : {"", "abc", "👍🏻a", "👩‍💻👩‍💻", "🇩🇪🇫🇷🇮", "\xff\xfe"}) {
        EXPECT_EQ(graphemeClusterCount(text), graphemeClusters(text).size()) << text;
    }
}

TEST(GraphemeClusters, AreFoundOnSeveralThreadsAtOnce)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&wrong] {
            for (int round = 0; round < 500; ++round) {
                const std::string text =
                    std::string(static_cast<std::size_t>(round % 7), 'x') + "👩‍💻🇩🇪";
                if (graphemeClusterCount(text) != static_cast<std::size_t>(round % 7) + 2) {
                    ++wrong;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(wrong, 0);
}

TEST(CanonicalText, IsOneFormOfAllEquivalentTexts)
{
    EXPECT_EQ(canonical("e\u0301"), "é");
    EXPECT_EQ(canonical("é"), "é");
    EXPECT_EQ(canonical("a\u0323\u0307"), canonical("a\u0307\u0323"));
    EXPECT_EQ(canonical("\u1100\u1161"), "가");
    EXPECT_EQ(canonical("plain"), "plain");
    EXPECT_EQ(canonical("\u212b"), "\u00c5");
}

TEST(CanonicalText, KeepsWhatIsOnlyCompatible)
{
    EXPECT_EQ(canonical("ﬁ"), "ﬁ");
    EXPECT_EQ(canonical("❤️"), "❤️");
}

TEST(PrintableStart, IsALetterMarkDigitPunctuationSymbolOrSpace)
{
    for (const std::string text : {"a", "Z", "é", "д", "字", "\u0301", "7", "½", "٣",   "!",
                                   "-", "«", "+", "€", "^",  "☃",      "😀", " ", "a\n", " \t"}) {
        EXPECT_TRUE(startsWithPrintable(text)) << text;
    }
}

TEST(PrintableStart, IsNoControlFormatCharacterOrOtherBlank)
{
    for (const std::string text : {"", "\n", "\t", "\x1b", "\x7f", "\u0085", "\u00a0", "\u2028", "\u3000",
                                   "\u200d", "\ufeff", "\ue000", "\U000E0041", "\u0378", "\ta"}) {
        EXPECT_FALSE(startsWithPrintable(text)) << text;
    }
    EXPECT_FALSE(startsWithPrintable(std::string_view("\0", 1)));
}

TEST(PlainAscii, IsACharacterAByte)
{
    for (const std::string text : {"", "a", "grinning face", ":-)", "a\nb", "\x7f"}) {
        EXPECT_TRUE(isPlainAscii(text)) << text;
        EXPECT_EQ(graphemeClusterCount(text), text.size()) << text;
    }
    for (const std::string text : {"a\r\nb", "\r", "é", "e\u0301", "😀", "\xff"}) {
        EXPECT_FALSE(isPlainAscii(text)) << text;
    }
}

TEST(WordStart, IsALetterMarkOrDigit)
{
    for (const std::string text : {"a", "Z", "é", "д", "字", "\u0301", "7", "½", "a b"}) {
        EXPECT_TRUE(startsWithLetterOrDigit(text)) << text;
    }
    for (const std::string text : {"", " ", "-", ":", "'", "😀", "+", "\n", "\u200d"}) {
        EXPECT_FALSE(startsWithLetterOrDigit(text)) << text;
    }
}

TEST(LoggedText, StaysOnOneLine)
{
    EXPECT_EQ(escapedForLog("plain 😀 é"), "plain 😀 é");
    EXPECT_EQ(escapedForLog("a\nb\r\nc\td"), "a\\nb\\r\\nc\\td");
    EXPECT_EQ(escapedForLog("\u0085\u2028\u2029"), "\\u{85}\\u{2028}\\u{2029}");
    EXPECT_EQ(escapedForLog("\x1b[31m\x7f\v"), "\\u{1b}[31m\\u{7f}\\u{b}");
    EXPECT_EQ(escapedForLog(std::string_view("a\0b", 3)), "a\\u{0}b");
}

TEST(LoggedText, KeepsBackslashesAndJoiners)
{
    EXPECT_EQ(escapedForLog("C:\\n 👩‍💻"), "C:\\n 👩‍💻");
}

TEST(IllFormedText, IsReadAsReplacementCharacters)
{
    const std::string text = "a\xff\xc3";

    EXPECT_EQ(lowercased(text), "a\uFFFD\uFFFD");
    EXPECT_EQ(trimmed(" \xff "), "\uFFFD");
    EXPECT_EQ(graphemeClusters(text), (Strings{"a", "\uFFFD", "\uFFFD"}));
    EXPECT_EQ(canonical(text), "a\uFFFD\uFFFD");
    EXPECT_EQ(escapedForLog(text), "a\uFFFD\uFFFD");
    EXPECT_TRUE(startsWithPrintable("\xff"));
}

TEST(IllFormedText, IsToldFromWellFormed)
{
    EXPECT_TRUE(isWellFormed(""));
    EXPECT_TRUE(isWellFormed("plain 😀 é \U0010FFFF"));
    EXPECT_TRUE(isWellFormed(std::string_view("\0", 1)));
    for (const std::string text :
         {"\xff", "\xc3", "a\x80", "\xed\xa0\x80", "\xc0\x80", "\xf4\x90\x80\x80", "\xe2\x82"}) {
        EXPECT_FALSE(isWellFormed(text)) << text;
    }
}

} // namespace
} // namespace glimmerwick::unicode
