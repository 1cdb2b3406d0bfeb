#pragma once

#include "Views/Logic/Geometry.h"

namespace glimmerwick {

/// The side of its anchor that a popover lies at.
enum class PopoverEdge { above, below };

struct PopoverPlacement {
    /// The bubble, without its arrow.
    Rect bubble;
    PopoverEdge edge = PopoverEdge::above;
    /// Where the arrow's tip points, at the anchor's edge.
    Point arrowTip;
};

/// Places a bubble of a size next to its anchor, centred on it and inside the bounds with a margin. It
/// changes sides where it does not fit, unless it fits on neither.
PopoverPlacement placePopover(Size bubble, const Rect& anchor, const Rect& bounds, PopoverEdge preferredEdge);

} // namespace glimmerwick
