#include "ImageCanvas.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace glimmerwick {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view header = "\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\x01\x02\0\0\0\x80"sv;

TEST(SizeOfPng, IsReadFromTheHeader)
{
    EXPECT_EQ(sizeOfPng(std::string(header) + "the rest"), (ImageSize{258, 128}));
}

TEST(SizeOfPng, IsUnknownForAnythingElse)
{
    std::string damaged(header);
    damaged[5] = '\r';

    EXPECT_EQ(sizeOfPng(damaged), std::nullopt);
    EXPECT_EQ(sizeOfPng(header.substr(0, header.size() - 1)), std::nullopt);
    EXPECT_EQ(sizeOfPng("<svg/>"), std::nullopt);
    EXPECT_EQ(sizeOfPng(""), std::nullopt);
}

TEST(SvgOnCanvas, ShowsAPartOfAPlane)
{
    EXPECT_EQ(svgOnCanvas({0, -95.5, 1275, 1200}, "<path/>"),
              "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" "
              "width=\"136\" height=\"128\" viewBox=\"0 -95.5 1275 1200\"><path/></svg>\n");
}

} // namespace
} // namespace glimmerwick
