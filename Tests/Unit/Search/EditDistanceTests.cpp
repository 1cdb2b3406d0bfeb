#include "Search/EditDistance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

TEST(EditDistanceTests, EqualTextsAreZeroApartAtEveryThreshold)
{
    for (const int threshold : {-1, 0, 2}) {
        EXPECT_EQ(levenshteinDistance("abc", "abc", threshold), 0);
        EXPECT_EQ(levenshteinDistance("", "", threshold), 0);
    }
}

TEST(EditDistanceTests, AnEmptyTextIsAsFarAsTheOtherIsLongButNoFurtherThanJustTooFar)
{
    EXPECT_EQ(levenshteinDistance("", "abcdef", 2), 3);
    EXPECT_EQ(levenshteinDistance("abcdef", "", 2), 3);
    EXPECT_EQ(levenshteinDistance("", "ab", 2), 2);
    EXPECT_EQ(levenshteinDistance("a", "", 2), 1);
    EXPECT_EQ(levenshteinDistance("", "abc", 9), 3);
}

TEST(EditDistanceTests, CountsInsertionsDeletionsAndSubstitutions)
{
    EXPECT_EQ(levenshteinDistance("smilr", "smile", 2), 1);
    EXPECT_EQ(levenshteinDistance("smle", "smile", 2), 1);
    EXPECT_EQ(levenshteinDistance("smiile", "smile", 2), 1);
    EXPECT_EQ(levenshteinDistance("simle", "smile", 2), 2);
    EXPECT_EQ(levenshteinDistance("xsmilex", "smile", 2), 2);
}

TEST(EditDistanceTests, ALengthDifferenceAboveTheThresholdIsJustTooFar)
{
    EXPECT_EQ(levenshteinDistance("ab", "abcde", 2), 3);
    EXPECT_EQ(levenshteinDistance("abcdefgh", "abc", 2), 3);
    EXPECT_EQ(levenshteinDistance("abc", "abcd", 0), 1);
}

TEST(EditDistanceTests, GivesUpWithJustTooFarWhenAWholeRowIsTooFar)
{
    EXPECT_EQ(levenshteinDistance("kitten", "sitting", 1), 2);
    EXPECT_EQ(levenshteinDistance("abcdef", "uvwxyz", 2), 3);
}

TEST(EditDistanceTests, ReturnsTheExactDistanceWhenOnlyTheLastCellIsTooFar)
{
    EXPECT_EQ(levenshteinDistance("kitten", "sitting", 2), 3);
    // Every row reaches back to 2 at most, the corner alone is 4.
    EXPECT_EQ(levenshteinDistance("abcdef", "cdefgh", 2), 4);
}

TEST(EditDistanceTests, ANegativeThresholdRefusesEverythingDifferent)
{
    EXPECT_EQ(levenshteinDistance("a", "b", -1), 0);
    EXPECT_EQ(levenshteinDistance("", "b", -1), 0);
}

TEST(EditDistanceTests, CountsUserPerceivedCharacters)
{
    EXPECT_EQ(levenshteinDistance("cafe\u0301", "cafe", 2), 1);
    EXPECT_EQ(levenshteinDistance("👩‍💻x", "x", 2), 1);
    EXPECT_EQ(levenshteinDistance("🇩🇪", "🇫🇷", 2), 1);
}

TEST(EditDistanceTests, CanonicallyEquivalentTextsAreEqual)
{
    EXPECT_EQ(levenshteinDistance("e\u0301te\u0301", "\u00e9t\u00e9", 0), 0);
    EXPECT_EQ(levenshteinDistance("e\u0301ta", "\u00e9t\u00e9", 2), 1);
}

TEST(EditDistanceTests, IsSymmetricAndAgreesWithThePlainDefinitionUpToTheThreshold)
{
    const std::vector<std::string> words{"",     "a",    "b",     "ab",    "ba",    "abc",   "acb",  "bca",
                                         "abab", "baba", "abcab", "cabca", "aabbc", "bbcaa", "abcde"};
    const auto plain = [](const std::string& left, const std::string& right) {
        std::vector<std::vector<int>> cells(left.size() + 1, std::vector<int>(right.size() + 1));
        for (std::size_t i = 0; i <= left.size(); ++i) {
            for (std::size_t j = 0; j <= right.size(); ++j) {
                if (i == 0 || j == 0) {
                    cells[i][j] = static_cast<int>(i + j);
                    continue;
                }
                cells[i][j] = std::min({cells[i - 1][j - 1] + (left[i - 1] == right[j - 1] ? 0 : 1),
                                        cells[i - 1][j] + 1, cells[i][j - 1] + 1});
            }
        }
        return cells[left.size()][right.size()];
    };

    for (const std::string& left : words) {
        for (const std::string& right : words) {
            const int exact = plain(left, right);
            for (int threshold = 0; threshold <= 5; ++threshold) {
                SCOPED_TRACE(left + " / " + right + " / " + std::to_string(threshold));
                const int distance = levenshteinDistance(left, right, threshold);
                if (exact <= threshold) {
                    EXPECT_EQ(distance, exact);
                } else {
                    EXPECT_GT(distance, threshold);
                }
            }
        }
    }
}

TEST(EditDistanceDeathTests, AnOverflowStopsTheProgram)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(levenshteinDistance("a", "b", std::numeric_limits<int>::max()), "integer overflow");
}

} // namespace
} // namespace glimmerwick
