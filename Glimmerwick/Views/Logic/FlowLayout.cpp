#include "Views/Logic/FlowLayout.h"

#include <algorithm>
#include <utility>

namespace glimmerwick {

void FlowLayout::setWidth(double width)
{
    m_width = width;
    layOut();
}

void FlowLayout::setSections(std::vector<Section> sections)
{
    m_sections = std::move(sections);
    layOut();
}

std::size_t FlowLayout::columns(double width, const Metrics& metrics)
{
    const double spacing = metrics.minimumInteritemSpacing;
    const double count = (width - 2 * metrics.sectionInset + spacing) / (metrics.itemSize.width + spacing);
    return count < 1 ? 1 : static_cast<std::size_t>(count);
}

void FlowLayout::layOut()
{
    m_columns = columns(m_width, m_metrics);
    const double gaps = static_cast<double>(m_columns - 1);
    const double leftOver =
        m_width - 2 * m_metrics.sectionInset - static_cast<double>(m_columns) * m_metrics.itemSize.width;
    m_interitemSpacing = gaps > 0 ? leftOver / gaps : m_metrics.minimumInteritemSpacing;

    m_sectionTops.clear();
    double top = 0;
    for (std::size_t section = 0; section < m_sections.size(); ++section) {
        m_sectionTops.push_back(top);
        const auto rows = static_cast<double>(rowCount(section));
        const double items = rows > 0 ? rows * lineHeight() - m_metrics.minimumLineSpacing : 0;
        top += m_sections[section].headerHeight + 2 * m_metrics.sectionInset + items;
    }
    m_contentHeight = top;
}

std::size_t FlowLayout::numberOfItems(std::size_t section) const
{
    return section < m_sections.size() ? m_sections[section].itemCount : 0;
}

std::optional<Rect> FlowLayout::headerFrame(std::size_t section) const
{
    if (section >= m_sections.size() || m_sections[section].headerHeight <= 0) {
        return std::nullopt;
    }
    return Rect{0, m_sectionTops[section], m_width, m_sections[section].headerHeight};
}

std::optional<Rect> FlowLayout::itemFrame(IndexPath path) const
{
    if (path.item >= numberOfItems(path.section)) {
        return std::nullopt;
    }
    const auto column = static_cast<double>(path.item % m_columns);
    const std::size_t row = path.item / m_columns;
    return Rect{m_metrics.sectionInset + column * (m_metrics.itemSize.width + m_interitemSpacing),
                firstRowTop(path.section) + static_cast<double>(row) * lineHeight(), m_metrics.itemSize.width,
                m_metrics.itemSize.height};
}

std::vector<IndexPath> FlowLayout::items(double top, double bottom) const
{
    std::vector<IndexPath> found;
    for (std::size_t section = firstSectionEndingBelow(top); section < m_sections.size(); ++section) {
        if (m_sectionTops[section] >= bottom) {
            break;
        }
        const double firstTop = firstRowTop(section);
        const double rowsAbove = (top - firstTop - m_metrics.itemSize.height) / lineHeight();
        std::size_t row = rowsAbove < 0 ? 0 : static_cast<std::size_t>(rowsAbove) + 1;
        for (; row < rowCount(section) && firstTop + static_cast<double>(row) * lineHeight() < bottom;
             ++row) {
            const std::size_t end = std::min((row + 1) * m_columns, numberOfItems(section));
            for (std::size_t item = row * m_columns; item < end; ++item) {
                found.push_back({section, item});
            }
        }
    }
    return found;
}

std::vector<std::size_t> FlowLayout::headers(double top, double bottom) const
{
    std::vector<std::size_t> found;
    for (std::size_t section = firstSectionEndingBelow(top); section < m_sections.size(); ++section) {
        if (m_sectionTops[section] >= bottom) {
            break;
        }
        const std::optional<Rect> frame = headerFrame(section);
        if (frame && frame->maxY() > top) {
            found.push_back(section);
        }
    }
    return found;
}

std::size_t FlowLayout::rowCount(std::size_t section) const
{
    return (numberOfItems(section) + m_columns - 1) / m_columns;
}

double FlowLayout::firstRowTop(std::size_t section) const
{
    return m_sectionTops[section] + m_sections[section].headerHeight + m_metrics.sectionInset;
}

std::size_t FlowLayout::firstSectionEndingBelow(double top) const
{
    const auto next = std::upper_bound(m_sectionTops.begin(), m_sectionTops.end(), top);
    return next == m_sectionTops.begin() ? 0 : static_cast<std::size_t>(next - m_sectionTops.begin()) - 1;
}

} // namespace glimmerwick
