#include "Platform/Qt/QtImageCodec.h"

#include "Contract/TestServer.h"
#include "Fakes/FakeServices.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/PictureLimits.h"

#include <QBuffer>
#include <QImage>
#include <QImageWriter>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>

namespace glimmerwick::contract {
namespace {

constexpr std::string_view grinningFace = "\U0001F600";

std::string encodedPicture(const char* format, int width = 64, int height = 48)
{
    QImage image(width, height, QImage::Format_ARGB32);
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            image.setPixel(column, row, qRgba(row * column % 251, column, row, 255));
        }
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return buffer.data().toStdString();
}

struct FakeSubject {
    fakes::FakeImageCodec codec;
    std::string picture = "PNG...";
};

struct QtSubject {
    QtImageCodec codec{HarfBuzzTextLayout().colourEmojiFontFamily()};
    std::string picture = encodedPicture("PNG");
};

template <typename Subject> class ImageCodecContract : public ::testing::Test {
protected:
    Subject subject;
    ImageCodec& codec = subject.codec;
};

using Subjects = ::testing::Types<FakeSubject, QtSubject>;
TYPED_TEST_SUITE(ImageCodecContract, Subjects);

TYPED_TEST(ImageCodecContract, aPictureIsDecodable)
{
    EXPECT_TRUE(this->codec.isDecodableImage(this->subject.picture));
}

TYPED_TEST(ImageCodecContract, whatIsNoPictureIsNot)
{
    EXPECT_FALSE(this->codec.isDecodableImage(""));
    EXPECT_FALSE(this->codec.isDecodableImage("<!DOCTYPE html><html><body>Not found</body></html>"));
    EXPECT_FALSE(this->codec.isDecodableImage("{\"error\": 404}"));
}

TYPED_TEST(ImageCodecContract, aTextHasAnExtentThatGrowsWithItsSize)
{
    const TextExtent small = this->codec.measureText("ab", 16);
    const TextExtent large = this->codec.measureText("ab", 32);

    EXPECT_GT(small.width, 0);
    EXPECT_GT(small.height, 0);
    EXPECT_GT(large.width, small.width);
    EXPECT_GT(large.height, small.height);
}

TYPED_TEST(ImageCodecContract, aTextOfNoSizeHasNoWidth)
{
    EXPECT_EQ(this->codec.measureText("ab", 0).width, 0);
}

TYPED_TEST(ImageCodecContract, aDrawingHasTheSizeAskedFor)
{
    const Image image = this->codec.drawText("a", 16, 20, 30);

    EXPECT_EQ(image.width, 20);
    EXPECT_EQ(image.height, 30);
    EXPECT_EQ(image.pixels.size(), 600U);
}

class QtImageCodecTests : public ::testing::Test {
protected:
    QtImageCodec codec{HarfBuzzTextLayout().colourEmojiFontFamily()};
};

std::uint32_t checksum(std::string_view bytes)
{
    std::uint32_t sum = 0xffffffff;
    for (const char byte : bytes) {
        sum ^= static_cast<unsigned char>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            sum = (sum & 1) != 0 ? (sum >> 1) ^ 0xedb88320 : sum >> 1;
        }
    }
    return ~sum;
}

void putNumber(std::string& bytes, std::size_t position, std::uint32_t number)
{
    for (int byte = 0; byte < 4; ++byte) {
        bytes[position + static_cast<std::size_t>(byte)] = static_cast<char>(number >> (24 - 8 * byte));
    }
}

/// A PNG file whose header, with a correct checksum, declares the extent.
std::string pictureDeclaring(std::uint32_t width, std::uint32_t height)
{
    constexpr std::size_t headerName = 12;
    constexpr std::size_t headerWidth = 16;
    constexpr std::size_t headerHeight = 20;
    constexpr std::size_t headerEnd = 29;
    std::string bytes = encodedPicture("PNG");
    putNumber(bytes, headerWidth, width);
    putNumber(bytes, headerHeight, height);
    putNumber(bytes, headerEnd, checksum(std::string_view(bytes).substr(headerName, headerEnd - headerName)));
    return bytes;
}

std::string contentsOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// From this process's status.
long residentKilobytes(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name) {
            long kilobytes = 0;
            status >> kilobytes;
            return kilobytes;
        }
    }
    ADD_FAILURE() << "no " << name;
    return 0;
}

void forgetLargestResidentSize()
{
    std::ofstream("/proc/self/clear_refs") << "5";
}

TEST_F(QtImageCodecTests, theRasterFormatsOfTheWebAreDecodableAndNoOthers)
{
    EXPECT_TRUE(codec.isDecodableImage(encodedPicture("JPEG")));
    EXPECT_TRUE(codec.isDecodableImage(encodedPicture("BMP")));
    EXPECT_TRUE(codec.isDecodableImage(encodedPicture("ICO")));
    EXPECT_FALSE(codec.isDecodableImage(encodedPicture("PPM")));
    EXPECT_FALSE(codec.isDecodableImage(encodedPicture("XPM")));
}

TEST_F(QtImageCodecTests, anAbsurdExtentIsRefusedHoweverSmallTheFile)
{
    EXPECT_TRUE(codec.isDecodableImage(pictureDeclaring(64, 48)));
    EXPECT_FALSE(codec.isDecodableImage(pictureDeclaring(100'000, 100'000)));
    EXPECT_FALSE(codec.isDecodableImage(pictureDeclaring(0x7fffffff, 0x7fffffff)));
    EXPECT_FALSE(codec.isDecodableImage(pictureDeclaring(0, 48)));
    EXPECT_FALSE(codec.isDecodableImage(pictureDeclaring(5000, 5000)));
}

TEST_F(QtImageCodecTests, aPictureLongerOnASideThanAllowedIsRefusedThoughItIsWhole)
{
    constexpr int longest = pictureLimits::maximumSide;
    EXPECT_TRUE(codec.isDecodableImage(encodedPicture("PNG", longest, 1)));
    EXPECT_FALSE(codec.isDecodableImage(encodedPicture("PNG", longest + 1, 1)));
    EXPECT_FALSE(codec.isDecodableImage(encodedPicture("PNG", 1, longest + 1)));
}

TEST_F(QtImageCodecTests, noMemoryIsTakenForAChunkThatTheFileDoesNotHold)
{
    // The first chunk behind the header, of a kind that is kept as it is.
    constexpr std::size_t headerEnd = 33;
    std::string picture = encodedPicture("PNG");
    std::string text(4, '\0');
    putNumber(text, 0, 788'529'189);
    picture.insert(headerEnd, text + "tEXtTitle" + std::string(1, '\0') + "short");

    EXPECT_FALSE(pictureLimits::allowsChunks(picture));
    EXPECT_FALSE(codec.isDecodableImage(picture));
    EXPECT_TRUE(pictureLimits::allowsChunks(encodedPicture("PNG")));
    EXPECT_FALSE(pictureLimits::allowsChunks("an icon's head" + picture));
}

/// PNG files, each of which begins inside a chunk of the one before.
std::string picturesInsideEachOther(std::size_t count)
{
    constexpr std::string_view begin("\x89PNG\r\n\x1a\n", 8);
    // Read as the length of a chunk, as its name, or as the checksum before it: all of them have eight bytes.
    constexpr std::string_view eight("\0\0\0\x08", 4);
    std::string bytes;
    for (std::size_t picture = 0; picture < count; ++picture) {
        bytes.append(begin).append(eight).append(eight).append(eight);
    }
    return bytes + std::string(64, '\0');
}

TEST_F(QtImageCodecTests, picturesInsideEachOtherAreNotGoneThroughAgainAndAgain)
{
    EXPECT_TRUE(pictureLimits::allowsChunks(picturesInsideEachOther(20)));
    EXPECT_FALSE(pictureLimits::allowsChunks(picturesInsideEachOther(500)));
    // Half an hour's work if they were.
    EXPECT_FALSE(codec.isDecodableImage(picturesInsideEachOther(800'000)));
}

constexpr std::string_view scanBegin("\xff\xda", 2);

std::size_t scanCount(std::string_view jpeg)
{
    std::size_t count = 0;
    for (std::size_t found = jpeg.find(scanBegin); found != std::string_view::npos;
         found = jpeg.find(scanBegin, found + scanBegin.size())) {
        ++count;
    }
    return count;
}

/// A progressive JPEG file whose last scan is repeated until there are that many.
std::string pictureWithScans(std::size_t count)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "JPEG");
    writer.setProgressiveScanWrite(true);
    EXPECT_TRUE(writer.write(QImage::fromData(QByteArray::fromStdString(encodedPicture("PNG")))));
    std::string picture = buffer.data().toStdString();
    constexpr std::size_t endSize = 2;
    const std::size_t lastBegin = picture.rfind(scanBegin);
    const std::string last = picture.substr(lastBegin, picture.size() - endSize - lastBegin);
    while (scanCount(picture) < count) {
        picture.insert(picture.size() - endSize, last);
    }
    return picture;
}

TEST_F(QtImageCodecTests, aPictureIsNotGoneOverMoreOftenThanToolsDo)
{
    EXPECT_TRUE(codec.isDecodableImage(pictureWithScans(pictureLimits::maximumScanCount)));
    EXPECT_FALSE(codec.isDecodableImage(pictureWithScans(pictureLimits::maximumScanCount + 1)));
    // In other formats the same bytes come by chance.
    std::string chance;
    for (std::size_t scan = 0; scan <= pictureLimits::maximumScanCount; ++scan) {
        chance += scanBegin;
    }
    EXPECT_TRUE(codec.isDecodableImage(encodedPicture("PNG") + chance));
}

TEST_F(QtImageCodecTests, aTruncatedPictureIsNotDecodableWhereverItEnds)
{
    const std::string picture = encodedPicture("PNG");

    for (std::size_t size = 0; size + 20 < picture.size(); size += 37) {
        EXPECT_FALSE(codec.isDecodableImage(std::string_view(picture).substr(0, size))) << size;
    }
}

TEST_F(QtImageCodecTests, aDamagedPictureIsNotDecodable)
{
    std::string picture = encodedPicture("PNG");
    picture[picture.size() / 2] = static_cast<char>(picture[picture.size() / 2] ^ 0xff);

    EXPECT_FALSE(codec.isDecodableImage(picture));
}

TEST_F(QtImageCodecTests, vectorGraphicsAreNotDecodable)
{
    EXPECT_FALSE(codec.isDecodableImage(
        R"(<?xml version="1.0"?><svg xmlns="http://www.w3.org/2000/svg" width="8" height="8"/>)"));
}

TEST_F(QtImageCodecTests, packedVectorGraphicsAreNotEvenUnpacked)
{
    constexpr long unpackedKilobytes = 128L * 1024;
    const std::string packed = contentsOf(fromRunner("GLIMMERWICK_TEST_DOCUMENTS") + "/picture.svgz");
    ASSERT_GT(packed.size(), 0U);
    ASSERT_LT(packed.size(), 2U * 1024 * 1024);
    forgetLargestResidentSize();
    const long before = residentKilobytes("VmHWM:");

    EXPECT_FALSE(codec.isDecodableImage(packed));

    EXPECT_LT(residentKilobytes("VmHWM:") - before, unpackedKilobytes / 4);
}

TEST_F(QtImageCodecTests, sizesThatAreNoneGiveNoExtent)
{
    for (const double size :
         {0.0, -5.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_EQ(codec.measureText("ab", size).width, 0);
        EXPECT_EQ(codec.measureText("ab", size).height, 0);
    }
    EXPECT_EQ(codec.measureText("", 16).width, 0);
}

TEST_F(QtImageCodecTests, hugeSizesAreMeasuredWithoutLoadingHugeLetters)
{
    EXPECT_GT(codec.measureText("ab", 1e9).width, 1e8);
}

TEST_F(QtImageCodecTests, anAbsurdDrawingIsEmpty)
{
    for (const auto& [width, height] : {std::pair(0, 10), {10, -1}, {1'000'000, 1'000'000}}) {
        const Image image = codec.drawText("ab", 16, width, height);
        EXPECT_EQ(image.width, 0);
        EXPECT_TRUE(image.pixels.empty());
    }
}

TEST_F(QtImageCodecTests, anEmojiIsDrawnInColourOnNothing)
{
    const TextExtent extent = codec.measureText(grinningFace, 32);
    const Image image =
        codec.drawText(grinningFace, 32, static_cast<int>(extent.width), static_cast<int>(extent.height));

    const auto isYellow = [](std::uint32_t pixel) {
        return qAlpha(pixel) == 255 && qRed(pixel) > 200 && qGreen(pixel) > 150 && qBlue(pixel) < 120;
    };
    const auto yellow = std::count_if(image.pixels.begin(), image.pixels.end(), isYellow);
    EXPECT_GT(yellow, static_cast<long>(image.pixels.size() / 4));
    EXPECT_EQ(image.pixels.front(), 0U);
}

TEST_F(QtImageCodecTests, pixelsArePremultiplied)
{
    const Image image = codec.drawText(grinningFace, 32, 40, 40);

    for (const std::uint32_t pixel : image.pixels) {
        ASSERT_LE(std::max({qRed(pixel), qGreen(pixel), qBlue(pixel)}), qAlpha(pixel));
    }
}

TEST_F(QtImageCodecTests, rowsAreCountedFromTheTop)
{
    const Image image = codec.drawText("'", 40, 60, 80);

    const auto firstInk =
        std::find_if(image.pixels.begin(), image.pixels.end(), [](auto pixel) { return pixel != 0; });
    ASSERT_NE(firstInk, image.pixels.end());
    const auto lowerHalf = image.pixels.begin() + static_cast<std::ptrdiff_t>(image.pixels.size() / 2);
    EXPECT_TRUE(std::all_of(lowerHalf, image.pixels.end(), [](auto pixel) { return pixel == 0; }));
}

TEST_F(QtImageCodecTests, aSequenceWithASelectorInsideIsAsWideAsOneEmoji)
{
    EXPECT_EQ(codec.measureText("\U0001F3F3\ufe0f\u200d\u26a7\ufe0f", 32).width,
              codec.measureText(grinningFace, 32).width);
}

TEST_F(QtImageCodecTests, plainDigitsAreSetInTheSystemFont)
{
    EXPECT_LT(codec.measureText("1", 32).width, codec.measureText(grinningFace, 32).width);
}

} // namespace
} // namespace glimmerwick::contract
