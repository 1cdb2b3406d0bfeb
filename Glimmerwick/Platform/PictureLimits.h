#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

/// Which picture files are worth decoding. Whoever keeps files and whoever shows them must agree, or a file
/// that is kept is never shown.
namespace glimmerwick::pictureLimits {

/// A picture that declares more pixels on a side is refused before memory is taken for it.
constexpr int maximumSide = 4096;

/// Each of them may unpack to eight megabytes. Tools write one or two.
constexpr std::size_t maximumPackedTextCount = 8;

/// Of all PNG files inside a file. Tools write some 2,000 into one of 16 megabytes.
constexpr std::size_t maximumChunkCount = 65'536;

/// Tools write ten of a progressive picture.
constexpr std::size_t maximumScanCount = 64;

constexpr bool allowsSize(int width, int height)
{
    return width > 0 && height > 0 && width <= maximumSide && height <= maximumSide;
}

/// By the name of the format in lower case, empty for an unknown one. A desktop brings readers of many more,
/// which nobody needs here: vector formats can ask for any amount of work, whatever their extent.
constexpr bool allowsFormat(std::string_view format)
{
    for (const std::string_view allowed :
         {std::string_view("png"), std::string_view("jpeg"), std::string_view("gif"),
          std::string_view("webp"), std::string_view("bmp"), std::string_view("ico")}) {
        if (format == allowed) {
            return true;
        }
    }
    return false;
}

/// The reader of PNG unpacks every text that stands in a file, though nobody asks for them: 500 in a file of
/// four megabytes took it 23 seconds. They are looked for everywhere, as an icon holds whole PNG files.
constexpr bool allowsTexts(std::string_view bytes)
{
    std::size_t count = 0;
    for (const std::string_view name : {std::string_view("zTXt"), std::string_view("iTXt")}) {
        for (std::size_t found = bytes.find(name); found != std::string_view::npos;
             found = bytes.find(name, found + name.size())) {
            ++count;
        }
    }
    return count <= maximumPackedTextCount;
}

/// The reader of PNG takes memory for as much as a chunk declares, up to two gigabytes, before it looks
/// whether the file goes on that far. Icons hold whole PNG files. Files inside of others' chunks would be
/// gone through again and again: one megabyte of them took ten seconds.
constexpr bool allowsChunks(std::string_view bytes)
{
    std::size_t count = 0;
    constexpr std::string_view signature("\x89PNG\r\n\x1a\n", 8);
    // The length before a chunk's contents, its name, and the checksum behind them.
    constexpr std::size_t lengthSize = 4;
    constexpr std::size_t frameSize = 12;
    for (std::size_t file = bytes.find(signature); file != std::string_view::npos;
         file = bytes.find(signature, file + signature.size())) {
        std::string_view rest = bytes.substr(file + signature.size());
        while (rest.size() >= frameSize) {
            std::size_t length = 0;
            for (const char byte : rest.substr(0, lengthSize)) {
                length = length << 8 | static_cast<unsigned char>(byte);
            }
            if (length > rest.size() - frameSize || ++count > maximumChunkCount) {
                return false;
            }
            if (rest.substr(lengthSize, 4) == "IEND") {
                break;
            }
            rest.remove_prefix(frameSize + length);
        }
    }
    return true;
}

/// The reader of JPEG goes over the whole picture for each of its scans, which may be 34 bytes long: 1,000 in
/// a file of 67 kilobytes took it four seconds. What looks like the beginning of one counts, but it stands by
/// chance in metadata alone.
constexpr bool allowsScans(std::string_view bytes)
{
    constexpr std::string_view pictureBegin("\xff\xd8", 2);
    constexpr std::string_view scanBegin("\xff\xda", 2);
    if (!bytes.starts_with(pictureBegin)) {
        return true;
    }
    std::size_t count = 0;
    for (std::size_t found = bytes.find(scanBegin); found != std::string_view::npos;
         found = bytes.find(scanBegin, found + scanBegin.size())) {
        ++count;
    }
    return count <= maximumScanCount;
}

/// What a file may ask of the readers whatever extent it declares.
constexpr bool allowsContents(std::string_view bytes)
{
    return allowsTexts(bytes) && allowsChunks(bytes) && allowsScans(bytes);
}

} // namespace glimmerwick::pictureLimits
