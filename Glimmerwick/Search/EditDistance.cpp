#include "Search/EditDistance.h"

#include "Search/CheckedArithmetic.h"

#include <algorithm>
#include <cstdlib>
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

    std::vector<int> rows(2 * (s2.size() + 1));
    int* previous = rows.data();
    int* current = previous + s2.size() + 1;
    std::iota(previous, current, 0);
    for (int i = 1; i <= m; ++i) {
        current[0] = i;
        int rowMin = i;
        for (int j = 1; j <= n; ++j) {
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
