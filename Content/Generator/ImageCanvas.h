#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The size in pixels that every image has. It is that of the bitmaps in Noto Color Emoji: emoji of all
/// sources look equally large side by side. Their drawings are 128 pixels square, with a margin at each side.
struct ImageSize {
    int width = 0;
    int height = 0;

    friend bool operator==(const ImageSize&, const ImageSize&) = default;
};

inline constexpr ImageSize canvasSize{136, 128};

/// The part of a drawing's plane, in its own units, that fills the canvas.
struct ViewBox {
    double left = 0;
    double top = 0;
    double width = 0;
    double height = 0;
};

/// An SVG document as large as the canvas. `content` is SVG without a root element.
std::string svgOnCanvas(const ViewBox& viewBox, std::string_view content);

/// The size that a PNG file's header states; nothing when these bytes are no PNG file.
std::optional<ImageSize> sizeOfPng(std::string_view bytes);

} // namespace glimmerwick
