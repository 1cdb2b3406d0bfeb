#include "Search/EditDistance.h"

#include "Search/CheckedArithmetic.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

namespace glimmerwick {

int levenshteinDistance(std::span<const GraphemeId> s1, std::span<const GraphemeId> s2, int threshold)
{
    if (std::ranges::equal(s1, s2)) {
        return 0;
    }
    const int m = checkedCount(s1.size());
    const int n = checkedCount(s2.size());
    const int tooFar = checkedSum(threshold, 1);
    if (m == 0 || n == 0) {
        return std::min(tooFar, std::max(m, n));
    }
    if (std::abs(m - n) > threshold) {
        return tooFar;
    }

    // Only a band along the diagonal matters; whole rows of two megabytes would take hours. The last row is
    // too far, or has a cell of at most the threshold, whose way stays within one threshold of the diagonal.
    // From that cell it is at most two thresholds to the corner, so the result is at most three, and what
    // strays further than two from the diagonal cannot come back for that.
    const int band = threshold > std::max(m, n) / 2 ? std::max(m, n) : 2 * threshold;
    constexpr int outside = std::numeric_limits<int>::max() - 1;
    std::vector<int> rows(2 * (s2.size() + 1), outside);
    int* previous = rows.data();
    int* current = previous + s2.size() + 1;
    std::iota(previous, previous + std::min(n, band) + 1, 0);
    for (int i = 1; i <= m; ++i) {
        const int first = std::max(1, i - band);
        const int last = n - i > band ? i + band : n;
        // Exact in column 0, and never less than the distance in another.
        current[first - 1] = i;
        int rowMin = i;
        for (int j = first; j <= last; ++j) {
            const int cost = s1[i - 1] == s2[j - 1] ? 0 : 1;
            current[j] = std::min({previous[j - 1] + cost, current[j - 1] + 1, previous[j] + 1});
            rowMin = std::min(rowMin, current[j]);
        }
        if (rowMin > threshold) {
            return tooFar;
        }
        std::swap(previous, current);
    }
    return previous[n];
}

int levenshteinDistance(std::string_view s1, std::string_view s2, int threshold)
{
    GraphemeTable table;
    const auto first = table.intern(s1);
    const auto second = table.intern(s2);
    return levenshteinDistance(first, second, threshold);
}

} // namespace glimmerwick
