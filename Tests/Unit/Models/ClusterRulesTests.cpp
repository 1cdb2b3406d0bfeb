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

TEST_F(ClusterRulesTests, DivideAroundEveryScalarAsTheIteratorDoes)
{
    constexpr char32_t woman = 0x1f469;
    constexpr char32_t joiner = 0x200d;
    constexpr char32_t flagHalf = 0x1f1e6;
    // Between the second plane and the one of tags there are ideographs and nothing.
    constexpr char32_t ideographs = 0x20000;
    constexpr char32_t tags = 0xe0000;
    constexpr char32_t end = 0xe1000;
    for (char32_t scalar = 0; scalar < end; scalar = scalar + 1 == ideographs ? tags : scalar + 1) {
        if (scalar >= 0xd800 && scalar <= 0xdfff) {
            continue;
        }
        for (const std::u32string& text : {std::u32string{U'a', scalar, U'b'},
                                           {woman, joiner, scalar},
                                           {scalar, joiner, woman},
                                           {flagHalf, scalar, flagHalf, flagHalf},
                                           {0x1100, scalar, 0x11a8}}) {
            expectSame(text);
            if (HasFatalFailure()) {
                return;
            }
        }
    }
}

TEST_F(ClusterRulesTests, DivideTextsOfAllKindsOfScalarsAsTheIteratorDoes)
{
    const std::u32string kinds{U'a',    U'\r',   U'\n', 0x1,    0xad,    0x300,  0xfe0f, 0x20e3,
                               0xe0067, 0x200d,  0x903, 0x600,  0x1100,  0x1161, 0x11a8, 0xac00,
                               0xac01,  0x1f1e6, 0xa9,  0x2764, 0x1f469, 0x1f3fb};
    std::mt19937 random(1);
    std::uniform_int_distribution<std::size_t> length(0, 12);
    std::uniform_int_distribution<std::size_t> kind(0, kinds.size() - 1);
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

} // namespace
} // namespace glimmerwick::unicode
