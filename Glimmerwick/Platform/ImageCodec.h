#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// A picture in memory: rows from the top, 32-bit premultiplied ARGB, width * height values.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;
};

struct TextExtent {
    double width = 0;
    double height = 0;
};

/// Reads and draws pictures. Main thread.
class ImageCodec {
public:
    virtual ~ImageCodec() = default;

    /// Whether the bytes are a picture that can be decoded. Never takes memory for absurd dimensions.
    virtual bool isDecodableImage(std::string_view bytes) = 0;

    /// The extent of the UTF-8 text in the system font, in points, with unlimited room.
    virtual TextExtent measureText(std::string_view text, double pointSize) = 0;

    /// A picture of the given size with the text drawn at its origin.
    virtual Image drawText(std::string_view text, double pointSize, int width, int height) = 0;
};

} // namespace glimmerwick
