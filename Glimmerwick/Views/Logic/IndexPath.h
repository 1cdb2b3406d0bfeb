#pragma once

#include <compare>
#include <cstddef>

namespace glimmerwick {

/// The place of an item in a sectioned grid.
struct IndexPath {
    std::size_t section = 0;
    std::size_t item = 0;

    friend auto operator<=>(const IndexPath&, const IndexPath&) = default;
};

} // namespace glimmerwick
