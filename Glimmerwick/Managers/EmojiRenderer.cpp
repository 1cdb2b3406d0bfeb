#include "Managers/EmojiRenderer.h"

#include "Platform/Platform.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace glimmerwick {

namespace {

/// Far beyond every emoji drawn, and small enough for the number of pixels to be counted in an int.
constexpr double largestSide = 16384;

std::int64_t wholePart(double size)
{
    constexpr double lowest = -0x1p63;
    constexpr double beyondHighest = 0x1p63;
    if (!(size >= lowest && size < beyondHighest)) {
        std::fprintf(stderr, "glimmerwick: an emoji cannot be drawn at a size of %g points\n", size);
        std::abort();
    }
    return static_cast<std::int64_t>(size);
}

bool isDrawable(double width, double height)
{
    return width > 0 && height > 0 && width <= largestSide && height <= largestSide;
}

} // namespace

EmojiRenderer& EmojiRenderer::shared()
{
    return InstalledPlatform::sharedInstance<EmojiRenderer>(
        [](const Platform& platform) { return std::make_unique<EmojiRenderer>(platform.imageCodec); });
}

EmojiRenderer::EmojiRenderer(ImageCodec& imageCodec) : m_imageCodec(imageCodec) { }

std::shared_ptr<const Image> EmojiRenderer::renderEmoji(const std::string& text, double size)
{
    std::string key = text + "_" + std::to_string(wholePart(size));
    if (const auto found = m_cache.find(key); found != m_cache.end()) {
        return found->second;
    }
    const TextExtent extent = m_imageCodec.measureText(text, size);
    const double width = std::ceil(extent.width);
    const double height = std::ceil(extent.height);
    if (!isDrawable(width, height)) {
        return nullptr;
    }
    auto image = std::make_shared<const Image>(
        m_imageCodec.drawText(text, size, static_cast<int>(width), static_cast<int>(height)));
    if (image->width <= 0 || image->height <= 0) {
        return nullptr;
    }
    m_cache.emplace(std::move(key), image);
    return image;
}

} // namespace glimmerwick
