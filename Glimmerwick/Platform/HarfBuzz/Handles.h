#pragma once

#include <fontconfig/fontconfig.h>
#include <hb.h>

#include <memory>

/// Owners of what HarfBuzz and fontconfig hand out. For .cpp files: it brings their headers along.
namespace glimmerwick {

struct BlobDeleter {
    void operator()(hb_blob_t* blob) const { hb_blob_destroy(blob); }
};
struct FaceDeleter {
    void operator()(hb_face_t* face) const { hb_face_destroy(face); }
};
struct FontDeleter {
    void operator()(hb_font_t* font) const { hb_font_destroy(font); }
};
struct BufferDeleter {
    void operator()(hb_buffer_t* buffer) const { hb_buffer_destroy(buffer); }
};
struct PatternDeleter {
    void operator()(FcPattern* pattern) const { FcPatternDestroy(pattern); }
};
struct FontSetDeleter {
    void operator()(FcFontSet* set) const { FcFontSetDestroy(set); }
};
using BlobHandle = std::unique_ptr<hb_blob_t, BlobDeleter>;
using FaceHandle = std::unique_ptr<hb_face_t, FaceDeleter>;
using FontHandle = std::unique_ptr<hb_font_t, FontDeleter>;
using BufferHandle = std::unique_ptr<hb_buffer_t, BufferDeleter>;
using PatternHandle = std::unique_ptr<FcPattern, PatternDeleter>;
using FontSetHandle = std::unique_ptr<FcFontSet, FontSetDeleter>;

} // namespace glimmerwick
