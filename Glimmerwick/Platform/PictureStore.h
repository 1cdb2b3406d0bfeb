#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// Pictures of one kind have the same size and come from the same maker.
struct PictureKind {
    /// What draws them, down to its version. Opaque. Pictures of another maker are never handed out, and
    /// those that another one drew may be removed as soon as this one has some kept.
    std::string maker;
    /// How large they are drawn, such as a font size and a scale; short. Opaque. Kinds of different details
    /// are kept side by side; of one detail there is but one maker and one byte count at a time.
    std::string detail;
    /// Of every picture.
    std::size_t byteCount = 0;

    bool operator==(const PictureKind&) const = default;
};

/// Drawn pictures, kept from one start of the program to the next. All of it may be lost at any time, and no
/// failure is ever reported to the caller: who gets no picture draws it. Main thread.
class PictureStore {
public:
    virtual ~PictureStore() = default;

    /// Copies the picture of the text. False, and the pixels may be anything, when there is none, it is
    /// damaged, or the span has not exactly the kind's byte count. Waits for nothing but the disk.
    virtual bool read(const PictureKind& kind, std::string_view text, std::span<std::byte> pixels) = 0;
    /// Whether there is a picture to read, without reading it: a damaged one counts. Cheap.
    virtual bool contains(const PictureKind& kind, std::string_view text) = 0;
    /// Keeps the picture in place of an older one of the text, at some later time and from another thread.
    /// Pixels of another size than the kind's, an empty text, and a text or kind that is too long are
    /// dropped.
    virtual void write(const PictureKind& kind, std::string_view text, std::vector<std::byte> pixels) = 0;
};

} // namespace glimmerwick
