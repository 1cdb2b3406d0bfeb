#pragma once

#include "Views/Logic/IndexPath.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace glimmerwick {

enum class ArrowKey { left, right, down, up };

std::optional<ArrowKey> arrowKey(std::int64_t keyCode);

/// Moves of a selection over a grid of sections, some of them perhaps empty.
class ArrowKeyNavigation {
public:
    /// The width is the collection view's.
    ArrowKeyNavigation(std::vector<std::size_t> itemCounts, double width);

    /// Item 0 of the first section that has items.
    std::optional<IndexPath> firstItem() const;

    /// Where the key moves the selection; nothing when it stays.
    std::optional<IndexPath> target(IndexPath selected, ArrowKey key) const;

private:
    std::optional<IndexPath> left(IndexPath selected) const;
    std::optional<IndexPath> right(IndexPath selected) const;
    std::optional<IndexPath> down(IndexPath selected) const;
    std::optional<IndexPath> up(IndexPath selected) const;
    std::optional<std::size_t> earlierSection(std::size_t section) const;
    std::optional<std::size_t> laterSection(std::size_t section) const;

    std::vector<std::size_t> m_itemCounts;
    std::size_t m_columns;
};

} // namespace glimmerwick
