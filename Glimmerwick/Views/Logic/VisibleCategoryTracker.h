#pragma once

#include "Views/Logic/GridSections.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick {

/// Knows which category the user is looking at, so that a change is told exactly once.
class VisibleCategoryTracker {
public:
    /// The identifier that stands for the recent emoji.
    static constexpr const char* recentId = "recent";

    /// Takes the tops of the sections' headers, nothing for one without a header, and returns the category,
    /// by its index, that has become the visible one; nothing when none has, and for the recent emoji, whose
    /// becoming visible is only recorded.
    std::optional<std::size_t> update(double visibleTop, const std::vector<std::optional<double>>& headerTops,
                                      const GridSections& sections);

    /// Records a category as visible without telling.
    void setCurrent(std::string id) { m_currentId = std::move(id); }
    void reset() { m_currentId.reset(); }
    const std::optional<std::string>& current() const { return m_currentId; }

    /// The lowest section whose header begins at most 50 points below the visible top; the first when none
    /// does.
    static std::size_t sectionAtTop(double visibleTop, const std::vector<std::optional<double>>& headerTops);

private:
    std::optional<std::string> m_currentId;
};

} // namespace glimmerwick
