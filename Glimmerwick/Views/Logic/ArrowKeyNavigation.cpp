#include "Views/Logic/ArrowKeyNavigation.h"

#include "Platform/KeyEvent.h"
#include "Views/Logic/FlowLayout.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

std::optional<ArrowKey> arrowKey(std::int64_t code)
{
    switch (code) {
    case keyCode::leftArrow:
        return ArrowKey::left;
    case keyCode::rightArrow:
        return ArrowKey::right;
    case keyCode::downArrow:
        return ArrowKey::down;
    case keyCode::upArrow:
        return ArrowKey::up;
    default:
        return std::nullopt;
    }
}

ArrowKeyNavigation::ArrowKeyNavigation(std::vector<std::size_t> itemCounts, double width)
    : m_itemCounts(std::move(itemCounts)), m_columns(FlowLayout::columns(width, FlowLayout::Metrics{}))
{
}

std::optional<IndexPath> ArrowKeyNavigation::firstItem() const
{
    const auto found =
        std::find_if(m_itemCounts.begin(), m_itemCounts.end(), [](std::size_t n) { return n > 0; });
    if (found == m_itemCounts.end()) {
        return std::nullopt;
    }
    return IndexPath{static_cast<std::size_t>(found - m_itemCounts.begin()), 0};
}

std::optional<IndexPath> ArrowKeyNavigation::target(IndexPath selected, ArrowKey key) const
{
    if (selected.section >= m_itemCounts.size() || selected.item >= m_itemCounts[selected.section]) {
        return std::nullopt;
    }
    switch (key) {
    case ArrowKey::left:
        return left(selected);
    case ArrowKey::right:
        return right(selected);
    case ArrowKey::down:
        return down(selected);
    case ArrowKey::up:
        return up(selected);
    }
    return std::nullopt;
}

std::optional<IndexPath> ArrowKeyNavigation::left(IndexPath selected) const
{
    if (selected.item >= 1) {
        return IndexPath{selected.section, selected.item - 1};
    }
    const auto section = earlierSection(selected.section);
    return section ? std::optional(IndexPath{*section, m_itemCounts[*section] - 1}) : std::nullopt;
}

std::optional<IndexPath> ArrowKeyNavigation::right(IndexPath selected) const
{
    if (selected.item + 1 < m_itemCounts[selected.section]) {
        return IndexPath{selected.section, selected.item + 1};
    }
    const auto section = laterSection(selected.section);
    return section ? std::optional(IndexPath{*section, 0}) : std::nullopt;
}

std::optional<IndexPath> ArrowKeyNavigation::down(IndexPath selected) const
{
    const std::size_t count = m_itemCounts[selected.section];
    const std::size_t row = selected.item / m_columns;
    const std::size_t column = selected.item % m_columns;
    const std::size_t rows = (count + m_columns - 1) / m_columns;
    if (row + 1 < rows) {
        return IndexPath{selected.section, std::min((row + 1) * m_columns + column, count - 1)};
    }
    const auto section = laterSection(selected.section);
    return section ? std::optional(IndexPath{*section, std::min(column, m_itemCounts[*section] - 1)})
                   : std::nullopt;
}

std::optional<IndexPath> ArrowKeyNavigation::up(IndexPath selected) const
{
    if (selected.item >= m_columns) {
        return IndexPath{selected.section, selected.item - m_columns};
    }
    const auto section = earlierSection(selected.section);
    if (!section) {
        return std::nullopt;
    }
    const std::size_t last = m_itemCounts[*section] - 1;
    return IndexPath{*section, std::min(last, last / m_columns * m_columns + selected.item % m_columns)};
}

std::optional<std::size_t> ArrowKeyNavigation::earlierSection(std::size_t section) const
{
    while (section > 0) {
        --section;
        if (m_itemCounts[section] > 0) {
            return section;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> ArrowKeyNavigation::laterSection(std::size_t section) const
{
    for (++section; section < m_itemCounts.size(); ++section) {
        if (m_itemCounts[section] > 0) {
            return section;
        }
    }
    return std::nullopt;
}

} // namespace glimmerwick
