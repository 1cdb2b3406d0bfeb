// Takes arbitrary bytes for a picture's file, as a download and as a cell do: first whether to keep it, then
// to show it.

#include "Fuzz/Invariant.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Views/PictureReader.h"

#include <QGuiApplication>
#include <QImage>
#include <QSize>

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maximumSize);

namespace glimmerwick {
namespace {

/// A cell's picture in pixels, at device pixel ratios of 1 and 3.
constexpr int wantedSides[] = {32, 96};

void checkShown(std::string_view bytes, int side, bool isDecodable)
{
    const QSize wanted(side, side);
    const QImage image = picture::decode(bytes, wanted);
    requireInvariant(image.width() <= wanted.width() && image.height() <= wanted.height(),
                     "a picture is no larger than wanted");
    requireInvariant(!isDecodable || !image.isNull(), "a picture that is kept can be shown");
    requireInvariant(isDecodable || image.isNull(), "a picture that is shown would have been kept");
    if (!image.isNull()) {
        // Every pixel is read, so that the sanitizers see a picture that is less than its size says.
        requireInvariant(!image.convertToFormat(QImage::Format_ARGB32_Premultiplied).isNull(),
                         "a picture has pixels");
    }
}

constexpr std::string_view pngSignature("\x89PNG\r\n\x1a\n", 8);
constexpr std::size_t lengthSize = 4;
constexpr std::size_t nameSize = 4;
constexpr std::size_t checksumSize = 4;

std::uint32_t bigEndian(const std::uint8_t* bytes)
{
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 | std::uint32_t{bytes[2]} << 8
        | std::uint32_t{bytes[3]};
}

/// Makes the checksums of a PNG's chunks right, without which a reader looks no further.
void repairChecksums(std::uint8_t* data, std::size_t size)
{
    if (size < pngSignature.size() || std::memcmp(data, pngSignature.data(), pngSignature.size()) != 0) {
        return;
    }
    std::size_t offset = pngSignature.size();
    while (size - offset >= lengthSize + nameSize + checksumSize) {
        const std::size_t length = bigEndian(data + offset);
        if (length > size - offset - lengthSize - nameSize - checksumSize) {
            return;
        }
        const std::uint8_t* name = data + offset + lengthSize;
        const auto checksum = static_cast<std::uint32_t>(
            crc32(crc32(0, nullptr, 0), name, static_cast<unsigned>(nameSize + length)));
        std::uint8_t* stored = data + offset + lengthSize + nameSize + length;
        for (std::size_t byte = 0; byte < checksumSize; ++byte) {
            stored[byte] = static_cast<std::uint8_t>(checksum >> (8 * (checksumSize - 1 - byte)));
        }
        offset += lengthSize + nameSize + length + checksumSize;
    }
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerInitialize(int* argumentCount, char*** arguments)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // What Qt says of damaged pictures would be most of a run's time.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    // Never destroyed: the fuzzer leaves by way of exit, when plug-ins may be gone.
    static auto* const application = new QGuiApplication(*argumentCount, *arguments);
    static_cast<void>(application);
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maximumSize,
                                               unsigned seed)
{
    const std::size_t mutated = LLVMFuzzerMutate(data, size, maximumSize);
    // Now and then a wrong checksum is what is to be tried.
    if (seed % 8 != 0) {
        glimmerwick::repairChecksums(data, mutated);
    }
    return mutated;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    QtImageCodec codec(std::nullopt);
    const bool isDecodable = codec.isDecodableImage(bytes);
    for (const int side : wantedSides) {
        checkShown(bytes, side, isDecodable);
    }
    return 0;
}
