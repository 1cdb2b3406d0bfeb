#pragma once

#include "Platform/ImageCodec.h"

#include <QImage>
#include <QSize>

#include <string_view>

namespace glimmerwick::picture {

/// The picture, copied.
QImage fromImage(const Image& image);

/// Decodes a picture file's bytes, no larger than the size in pixels. Null for what an ImageCodec does not
/// take for a decodable image: anything else than a picture, and one of absurd dimensions.
QImage decode(std::string_view bytes, QSize wanted);

} // namespace glimmerwick::picture
