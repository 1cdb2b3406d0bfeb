#pragma once

#include "Platform/PictureStore.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace glimmerwick {

// A file of pictures is a header, a table of heads, and the pictures one behind the other. The heads are
// hashed by their texts: a text's head stands at its home place in the table or, where others stand, soon
// behind it, and behind the last one comes the first. Numbers are in the byte order of the machine: another
// machine's file has another magic number. What was never written is zero, or lies behind the end of the
// file.

/// Any thread.
std::uint32_t pictureChecksum(std::span<const std::byte> bytes, std::uint32_t seed = 0);

/// The beginning of a file: it is of a kind when it is what the kind's own header is, byte for byte.
struct PictureFileHeader {
    static constexpr std::uint64_t ownMagic = 0x9c'67'6d'77'70'69'63'0a;
    /// Another one for every change of the layout.
    static constexpr std::uint32_t ownVersion = 1;

    std::uint64_t magic = ownMagic;
    std::uint32_t version = ownVersion;
    std::uint32_t headCount = 0;
    std::uint64_t byteCount = 0;
    std::uint32_t makerSize = 0;
    std::uint32_t detailSize = 0;
    std::array<char, 3808> maker{};
    std::array<char, 256> detail{};

    bool operator==(const PictureFileHeader&) const = default;

    /// Nothing when the kind is too long, or its pictures have no bytes.
    static std::optional<PictureFileHeader> of(const PictureKind& kind, std::uint32_t headCount);

    /// The name of the file for these details, of letters, digits and signs that are usual in names.
    std::string fileName() const;
    /// Whether the same program would read both, with pictures of the same maker.
    bool isRelatedTo(const PictureFileHeader& other) const;

    std::uint64_t headOffset(std::uint64_t place) const;
    std::uint64_t pictureOffset(std::uint64_t number) const;
};

/// What tells of one picture.
struct PictureHead {
    /// Of all the rest; begins with the checksum of the file's header, whose kind belongs to it thereby.
    std::uint32_t checksum = 0;
    /// The picture's place among the pictures, less than there are heads.
    std::uint32_t number = 0;
    std::uint32_t pixelChecksum = 0;
    std::uint32_t textSize = 0;
    std::array<char, 112> text{};

    bool operator==(const PictureHead&) const = default;

    /// Nothing when the text is empty or too long.
    static std::optional<PictureHead> of(std::string_view text);

    bool isEmpty() const { return *this == PictureHead(); }
    bool hasTextOf(const PictureHead& other) const;
    std::uint32_t homePlace(std::uint32_t headCount) const;

    void seal(std::uint32_t headerChecksum) { checksum = expectedChecksum(headerChecksum); }
    bool isIntact(std::uint32_t headerChecksum, std::uint32_t headCount) const;

private:
    std::uint32_t expectedChecksum(std::uint32_t headerChecksum) const;
};

static_assert(sizeof(PictureFileHeader) == 4096);
static_assert(sizeof(PictureHead) == 128);

} // namespace glimmerwick
