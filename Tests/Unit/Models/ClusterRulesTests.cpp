#include "Models/ClusterRules.h"

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <unicode/brkiter.h>
#include <unicode/unistr.h>

namespace glimmerwick::unicode {
namespace {

/// Where clusters begin, in scalars.
using Beginnings = std::vector<std::size_t>;

Beginnings byRules(const std::u32string& text)
{
    Beginnings beginnings;
    ClusterRules rules;
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (rules.beginsWith(text[index])) {
            beginnings.push_back(index);
        }
    }
    return beginnings;
}

class ClusterRulesTests : public testing::Test {
protected:
    ClusterRulesTests()
    {
        UErrorCode status = U_ZERO_ERROR;
        m_iterator.reset(icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        EXPECT_TRUE(U_SUCCESS(status));
    }

    Beginnings byIterator(const std::u32string& text) const
    {
        icu::UnicodeString whole;
        for (const char32_t scalar : text) {
            whole.append(static_cast<UChar32>(scalar));
        }
        m_iterator->setText(whole);
        Beginnings beginnings;
        for (std::int32_t at = m_iterator->first(); at < whole.length(); at = m_iterator->next()) {
            beginnings.push_back(static_cast<std::size_t>(whole.countChar32(0, at)));
        }
        return beginnings;
    }

    void expectSame(const std::u32string& text) const
    {
        const auto spelled = [&text] {
            std::string scalars;
            for (const char32_t scalar : text) {
                scalars += ' ' + std::to_string(static_cast<std::uint32_t>(scalar));
            }
            return scalars;
        };
        ASSERT_EQ(byRules(text), byIterator(text)) << "the scalars" << spelled();
    }

private:
    std::unique_ptr<icu::BreakIterator> m_iterator;
};

TEST_F(ClusterRulesTests, DivideAroundEveryScalarTheyCoverAsTheIteratorDoes)
{
    constexpr char32_t woman = 0x1f469;
    constexpr char32_t joiner = 0x200d;
    constexpr char32_t flagHalf = 0x1f1e6;
    constexpr char32_t afterTheLast = 0x110000;
    int count = 0;
    for (char32_t scalar = 0; scalar < afterTheLast; ++scalar) {
        if (!ClusterRules::cover(scalar)) {
            continue;
        }
        ++count;
        for (const std::u32string& text : {std::u32string{U'a', scalar, U'b'},
                                           {woman, joiner, scalar},
                                           {scalar, joiner, woman},
                                           {flagHalf, scalar, flagHalf, flagHalf},
                                           {scalar, scalar, 0x300, scalar}}) {
            expectSame(text);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
    EXPECT_GT(count, 30'000);
}

TEST_F(ClusterRulesTests, DivideTextsOfAllKindsThatTheyCoverAsTheIteratorDoes)
{
    const std::u32string kinds{U'a',  0xe9,  0x300,  0xfe0f, 0x20e3, 0xe0067, 0x200d,  0x1f1e6,
                               0x5d0, 0x5b0, 0x6f22, 0x3099, 0xa9,   0x2764,  0x1f469, 0x1f3fb};
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> length(0, 12);
    std::uniform_int_distribution<std::size_t> kind(0, kinds.size() - 1);
    for (const char32_t scalar : kinds) {
        ASSERT_TRUE(ClusterRules::cover(scalar)) << static_cast<std::uint32_t>(scalar);
    }
    for (int count = 0; count < 50'000; ++count) {
        std::u32string text(length(random), U'a');
        for (char32_t& scalar : text) {
            scalar = kinds[kind(random)];
        }
        expectSame(text);
        if (HasFatalFailure()) {
            return;
        }
    }
}

TEST_F(ClusterRulesTests, DoNotCoverWhatOtherRulesJoin)
{
    for (const char32_t scalar : std::u32string{U'\r', U'\n', 0x1, 0xad, // controls
                                                0x600, // prepended
                                                0x903, 0x915, 0x94d, 0xc95, 0xd4d, // India's
                                                0x1100, 0x1161, 0x11a8, 0xac00, 0xac01, // Korea's
                                                0xfffd, 0x110bd, 0x1fc00, 0xe0001}) {
        EXPECT_FALSE(ClusterRules::cover(scalar)) << static_cast<std::uint32_t>(scalar);
    }
}

} // namespace
} // namespace glimmerwick::unicode
