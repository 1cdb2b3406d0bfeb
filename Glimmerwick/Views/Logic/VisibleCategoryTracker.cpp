#include "Views/Logic/VisibleCategoryTracker.h"

#include <limits>

namespace glimmerwick {

namespace {

constexpr double thresholdBelowTop = 50;

} // namespace

std::optional<std::size_t>
VisibleCategoryTracker::update(double visibleTop, const std::vector<std::optional<double>>& headerTops,
                               const GridSections& sections)
{
    if (sections.categories().empty()) {
        return std::nullopt;
    }
    const std::size_t section = sectionAtTop(visibleTop, headerTops);
    if (section < sections.recentSectionCount()) {
        m_currentId = recentId;
        return std::nullopt;
    }
    const std::size_t category = section - sections.recentSectionCount();
    if (category >= sections.categories().size() || m_currentId == sections.categories()[category].id) {
        return std::nullopt;
    }
    m_currentId = sections.categories()[category].id;
    return category;
}

std::size_t VisibleCategoryTracker::sectionAtTop(double visibleTop,
                                                 const std::vector<std::optional<double>>& headerTops)
{
    const double threshold = visibleTop + thresholdBelowTop;
    double bestTop = std::numeric_limits<double>::max();
    std::size_t chosen = 0;
    for (std::size_t section = 0; section < headerTops.size(); ++section) {
        if (!headerTops[section]) {
            continue;
        }
        const double top = *headerTops[section];
        const bool isBetter =
            top <= threshold ? (bestTop < top || chosen == 0) : (chosen == 0 && top < bestTop);
        if (isBetter) {
            bestTop = top;
            chosen = section;
        }
    }
    return chosen;
}

} // namespace glimmerwick
