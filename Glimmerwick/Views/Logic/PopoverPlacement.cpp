#include "Views/Logic/PopoverPlacement.h"

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr double margin = 4;
constexpr double arrowLength = 6;
/// How near the arrow may come to the bubble's rounded corners.
constexpr double arrowInset = 18;

double bubbleTop(Size bubble, const Rect& anchor, PopoverEdge edge)
{
    return edge == PopoverEdge::above ? anchor.y - arrowLength - bubble.height : anchor.maxY() + arrowLength;
}

bool fits(double top, Size bubble, const Rect& bounds)
{
    return top >= bounds.y + margin && top + bubble.height <= bounds.maxY() - margin;
}

} // namespace

PopoverPlacement placePopover(Size bubble, const Rect& anchor, const Rect& bounds, PopoverEdge preferredEdge)
{
    const PopoverEdge other = preferredEdge == PopoverEdge::above ? PopoverEdge::below : PopoverEdge::above;
    PopoverPlacement placement;
    placement.edge = preferredEdge;
    if (!fits(bubbleTop(bubble, anchor, preferredEdge), bubble, bounds)
        && fits(bubbleTop(bubble, anchor, other), bubble, bounds)) {
        placement.edge = other;
    }
    const double left = std::min(anchor.midX() - bubble.width / 2, bounds.maxX() - margin - bubble.width);
    placement.bubble = {std::max(bounds.x + margin, left), bubbleTop(bubble, anchor, placement.edge),
                        bubble.width, bubble.height};
    const double tipX = std::max(placement.bubble.x + arrowInset,
                                 std::min(placement.bubble.maxX() - arrowInset, anchor.midX()));
    placement.arrowTip = {tipX, placement.edge == PopoverEdge::above ? anchor.y : anchor.maxY()};
    return placement;
}

} // namespace glimmerwick
