#pragma once

#include "Views/Logic/Geometry.h"

#include <optional>
#include <vector>

namespace glimmerwick {

/// A screen and the part of it that no dock or bar covers, in one coordinate system with y growing downwards.
struct ScreenArea {
    Rect frame;
    Rect visibleFrame;
};

/// Where the panel's top left corner goes: centred below the pointer, on the first screen that contains the
/// pointer or else on the main screen, and inside that screen's visible frame with a margin. Where the panel
/// does not fit, the left and the bottom margin win. Without any screen the corner is (0, 0).
Point panelOrigin(Point pointer, Size panel, const std::vector<ScreenArea>& screens,
                  const std::optional<ScreenArea>& mainScreen);

} // namespace glimmerwick
