#include "ImageCanvas.h"

#include <cstddef>
#include <cstdint>
#include <sstream>

namespace glimmerwick {

namespace {

std::uint32_t bigEndian(std::string_view bytes)
{
    std::uint32_t value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

} // namespace

std::string svgOnCanvas(const ViewBox& viewBox, std::string_view content)
{
    std::ostringstream document;
    document << R"(<svg xmlns="http://www.w3.org/2000/svg" xmlns:xlink="http://www.w3.org/1999/xlink")"
             << " width=\"" << canvasSize.width << "\" height=\"" << canvasSize.height << "\" viewBox=\""
             << viewBox.left << " " << viewBox.top << " " << viewBox.width << " " << viewBox.height << "\">"
             << content << "</svg>\n";
    return document.str();
}

std::optional<ImageSize> sizeOfPng(std::string_view bytes)
{
    // The signature, then the first chunk: its length, its type, and the size that it begins with.
    using namespace std::string_view_literals;
    constexpr std::string_view start = "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR"sv;
    constexpr std::size_t numberLength = 4;
    if (!bytes.starts_with(start) || bytes.size() < start.size() + 2 * numberLength) {
        return std::nullopt;
    }
    bytes.remove_prefix(start.size());
    return ImageSize{static_cast<int>(bigEndian(bytes.substr(0, numberLength))),
                     static_cast<int>(bigEndian(bytes.substr(numberLength, numberLength)))};
}

} // namespace glimmerwick
