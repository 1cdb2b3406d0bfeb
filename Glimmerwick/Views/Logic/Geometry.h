#pragma once

namespace glimmerwick {

/// Lengths in points, x growing to the right and y growing downwards, as everywhere in the views.
struct Point {
    double x = 0;
    double y = 0;

    friend bool operator==(const Point&, const Point&) = default;
};

struct Size {
    double width = 0;
    double height = 0;

    friend bool operator==(const Size&, const Size&) = default;
};

struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    double maxX() const { return x + width; }
    double maxY() const { return y + height; }
    double midX() const { return x + width / 2; }
    double midY() const { return y + height / 2; }

    /// The right and the bottom edge lie outside.
    bool contains(Point point) const
    {
        return point.x >= x && point.x < maxX() && point.y >= y && point.y < maxY();
    }

    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace glimmerwick
