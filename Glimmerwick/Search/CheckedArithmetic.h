#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace glimmerwick {

[[noreturn]] inline void stopOnOverflow()
{
    std::fputs("Search: integer overflow\n", stderr);
    std::abort();
}

/// Sums whose overflow stops the program: a wrapped distance would rank nonsense first.
inline int checkedSum(int left, int right)
{
    int sum = 0;
    if (__builtin_add_overflow(left, right, &sum)) {
        stopOnOverflow();
    }
    return sum;
}

/// A count of characters small enough that counting one more cannot overflow.
inline int checkedCount(std::size_t count)
{
    if (!std::in_range<int>(count + 1)) {
        stopOnOverflow();
    }
    return static_cast<int>(count);
}

} // namespace glimmerwick
