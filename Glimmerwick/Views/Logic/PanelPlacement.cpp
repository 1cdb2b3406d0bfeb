#include "Views/Logic/PanelPlacement.h"

#include <algorithm>

namespace glimmerwick {

namespace {

constexpr double gapBelowPointer = 10;
constexpr double margin = 8;

const ScreenArea* screenContaining(Point point, const std::vector<ScreenArea>& screens)
{
    const auto found = std::find_if(screens.begin(), screens.end(),
                                    [&](const ScreenArea& screen) { return screen.frame.contains(point); });
    return found == screens.end() ? nullptr : &*found;
}

Point clamp(Point origin, Size panel, const Rect& area)
{
    const double x = std::max(area.x + margin, std::min(area.maxX() - panel.width - margin, origin.x));
    const double y = std::min(area.maxY() - panel.height - margin, std::max(area.y + margin, origin.y));
    return {x, y};
}

} // namespace

Point panelOrigin(Point pointer, Size panel, const std::vector<ScreenArea>& screens,
                  const std::optional<ScreenArea>& mainScreen)
{
    const ScreenArea* screen = screenContaining(pointer, screens);
    if (!screen && mainScreen) {
        screen = &*mainScreen;
    }
    if (!screen) {
        return {0, 0};
    }
    return clamp({pointer.x - panel.width * 0.5, pointer.y + gapBelowPointer}, panel, screen->visibleFrame);
}

} // namespace glimmerwick
