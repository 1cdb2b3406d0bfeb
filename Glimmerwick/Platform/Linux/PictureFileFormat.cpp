#include "Platform/Linux/PictureFileFormat.h"

#include <algorithm>
#include <limits>

#include <zlib.h>

namespace glimmerwick {

namespace {

constexpr std::string_view usualCharacters =
    "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.-_@";

/// What cannot be in a name, in hexadecimal digits behind a percent sign.
std::string nameOf(std::string_view text)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string name;
    for (const char character : text) {
        if (usualCharacters.find(character) != std::string_view::npos) {
            name += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            name += {'%', digits[byte / 16], digits[byte % 16]};
        }
    }
    return name;
}

} // namespace

std::uint32_t pictureChecksum(std::span<const std::byte> bytes, std::uint32_t seed)
{
    const auto* begin = reinterpret_cast<const Bytef*>(bytes.data());
    return static_cast<std::uint32_t>(::crc32_z(seed, begin, bytes.size()));
}

std::optional<PictureFileHeader> PictureFileHeader::of(const PictureKind& kind, std::uint32_t headCount)
{
    constexpr std::size_t longestName = 240;
    // A file must not get longer than a file offset reaches, whatever the size of its table.
    constexpr std::uint64_t largestPicture = std::numeric_limits<std::int32_t>::max();
    PictureFileHeader header;
    if (kind.maker.size() > header.maker.size() || kind.detail.size() > header.detail.size()
        || kind.byteCount == 0 || kind.byteCount > largestPicture) {
        return std::nullopt;
    }
    header.headCount = headCount;
    header.byteCount = kind.byteCount;
    header.makerSize = static_cast<std::uint32_t>(kind.maker.size());
    header.detailSize = static_cast<std::uint32_t>(kind.detail.size());
    std::ranges::copy(kind.maker, header.maker.begin());
    std::ranges::copy(kind.detail, header.detail.begin());
    return header.fileName().size() <= longestName ? std::optional(header) : std::nullopt;
}

std::string PictureFileHeader::fileName() const
{
    return nameOf({detail.data(), detailSize}) + ".pictures";
}

bool PictureFileHeader::isRelatedTo(const PictureFileHeader& other) const
{
    return magic == other.magic && version == other.version && headCount == other.headCount
        && makerSize == other.makerSize && maker == other.maker;
}

std::uint64_t PictureFileHeader::headOffset(std::uint64_t place) const
{
    return sizeof(PictureFileHeader) + place * sizeof(PictureHead);
}

std::uint64_t PictureFileHeader::pictureOffset(std::uint64_t number) const
{
    return headOffset(headCount) + number * byteCount;
}

std::optional<PictureHead> PictureHead::of(std::string_view text)
{
    PictureHead head;
    if (text.empty() || text.size() > head.text.size()) {
        return std::nullopt;
    }
    head.textSize = static_cast<std::uint32_t>(text.size());
    std::ranges::copy(text, head.text.begin());
    return head;
}

bool PictureHead::hasTextOf(const PictureHead& other) const
{
    return textSize == other.textSize && text == other.text;
}

std::uint32_t PictureHead::homePlace(std::uint32_t headCount) const
{
    return pictureChecksum(std::as_bytes(std::span(text))) % headCount;
}

bool PictureHead::isIntact(std::uint32_t headerChecksum, std::uint32_t headCount) const
{
    return checksum == expectedChecksum(headerChecksum) && number < headCount && textSize <= text.size();
}

std::uint32_t PictureHead::expectedChecksum(std::uint32_t headerChecksum) const
{
    return pictureChecksum(std::as_bytes(std::span(this, 1)).subspan(sizeof(checksum)), headerChecksum);
}

} // namespace glimmerwick
