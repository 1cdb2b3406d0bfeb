#pragma once

#include "Platform/ImageCodec.h"

#include <optional>
#include <string>

namespace glimmerwick {

/// Pictures by Qt. The application object must exist.
class QtImageCodec : public ImageCodec {
public:
    /// Emoji are drawn in the family given, or in whatever the system font falls back to.
    explicit QtImageCodec(std::optional<std::string> colourEmojiFontFamily);

    bool isDecodableImage(std::string_view bytes) override;
    TextExtent measureText(std::string_view text, double pointSize) override;
    /// An image without extent when the size asked for is absurd.
    Image drawText(std::string_view text, double pointSize, int width, int height) override;

private:
    const std::optional<std::string> m_colourEmojiFontFamily;
};

} // namespace glimmerwick
