#pragma once

#include "Platform/ImageCodec.h"

#include <QImage>
#include <QSize>

#include <string_view>

namespace glimmerwick::picture {

/// The picture, copied.
QImage fromImage(const Image& image);

/// Decodes a picture file's bytes, no larger than needed to fill the size in pixels. Null for anything else
/// than a picture, and for one of absurd dimensions.
QImage decode(std::string_view bytes, QSize wanted);

} // namespace glimmerwick::picture
