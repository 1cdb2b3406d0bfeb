#pragma once

#include "Views/Logic/Geometry.h"
#include "Views/Logic/IndexPath.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace glimmerwick {

/// Places items of one size in rows from the left, section below section, each with a header above it.
///
/// A row holds as many items as fit with the minimum spacing; what is left over is spread evenly between
/// them, and a last row that is not full keeps that spacing.
class FlowLayout {
public:
    struct Metrics {
        Size itemSize{40, 40};
        double minimumInteritemSpacing = 4;
        double minimumLineSpacing = 4;
        /// On all four sides of a section's items.
        double sectionInset = 8;
    };

    struct Section {
        std::size_t itemCount = 0;
        /// 0 for no header.
        double headerHeight = 0;
    };

    FlowLayout() : FlowLayout(Metrics{}) { }
    explicit FlowLayout(Metrics metrics) : m_metrics(metrics) { }

    void setWidth(double width);
    void setSections(std::vector<Section> sections);

    std::size_t numberOfSections() const { return m_sections.size(); }
    /// 0 for a section that does not exist.
    std::size_t numberOfItems(std::size_t section) const;
    /// At least 1.
    std::size_t columns() const { return m_columns; }
    double contentHeight() const { return m_contentHeight; }

    /// Nothing for a section that does not exist or has no header.
    std::optional<Rect> headerFrame(std::size_t section) const;
    /// Nothing for an item that does not exist.
    std::optional<Rect> itemFrame(IndexPath path) const;

    /// The items, in order, and the sections whose headers have a part between two heights.
    std::vector<IndexPath> items(double top, double bottom) const;
    std::vector<std::size_t> headers(double top, double bottom) const;

    /// How many items of the given width fit beside each other in the width, at least 1.
    static std::size_t columns(double width, const Metrics& metrics);

private:
    void layOut();
    std::size_t rowCount(std::size_t section) const;
    double firstRowTop(std::size_t section) const;
    double lineHeight() const { return m_metrics.itemSize.height + m_metrics.minimumLineSpacing; }
    std::size_t firstSectionEndingBelow(double top) const;

    Metrics m_metrics;
    double m_width = 0;
    std::vector<Section> m_sections;
    std::vector<double> m_sectionTops;
    std::size_t m_columns = 1;
    double m_interitemSpacing = 0;
    double m_contentHeight = 0;
};

} // namespace glimmerwick
