#pragma once

#include <cstdio>
#include <cstdlib>

namespace glimmerwick {

/// Stops a fuzzer, which then keeps the input, when what must always hold does not.
inline void requireInvariant(bool holds, const char* invariant)
{
    if (!holds) {
        std::fprintf(stderr, "Broken invariant: %s\n", invariant);
        std::abort();
    }
}

} // namespace glimmerwick
