#pragma once

#include <optional>

namespace glimmerwick {

/// How the desktop wants programs to look.
struct DesktopAppearance {
    enum class ColorScheme { noPreference, dark, light };
    enum class Contrast { normal, high };
    enum class Motion { full, reduced };
    /// In sRGB, each part from 0 to 1.
    struct Color {
        double red = 0;
        double green = 0;
        double blue = 0;

        friend bool operator==(const Color&, const Color&) = default;
    };

    ColorScheme colorScheme = ColorScheme::noPreference;
    Contrast contrast = Contrast::normal;
    Motion motion = Motion::full;
    /// Absent: the desktop names none.
    std::optional<Color> accentColor;

    friend bool operator==(const DesktopAppearance&, const DesktopAppearance&) = default;
};

} // namespace glimmerwick
