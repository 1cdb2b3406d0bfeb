#pragma once

#include "Platform/ImageCodec.h"

#include <memory>
#include <string>
#include <unordered_map>

namespace glimmerwick {

/// Draws emoji texts into pictures and keeps every picture for the life of the process. Main thread.
class EmojiRenderer {
public:
    static EmojiRenderer& shared();

    explicit EmojiRenderer(ImageCodec& imageCodec);

    /// The text drawn at the given point size, or null when it has no extent. Sizes that agree in their whole
    /// part share one picture. A size that is not finite or does not fit 64 bits stops the program.
    std::shared_ptr<const Image> renderEmoji(const std::string& text, double size);

private:
    ImageCodec& m_imageCodec;
    std::unordered_map<std::string, std::shared_ptr<const Image>> m_cache;
};

} // namespace glimmerwick
