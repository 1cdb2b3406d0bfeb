#include "Views/SymbolLibrary.h"

#include <QImage>

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

class SymbolLibraryTests : public ::testing::Test {
protected:
    SymbolLibrary symbols{GLIMMERWICK_SOURCE_DIR "/Resources"};
};

TEST_F(SymbolLibraryTests, knowsEverySymbolThatTheViewsAskFor)
{
    for (const char* name : {"ellipsis", "magnifyingglass", "xmark.circle.fill", "clock"}) {
        EXPECT_FALSE(symbols.path(name).isEmpty()) << name;
    }
}

TEST_F(SymbolLibraryTests, hasNoPathForAnUnknownName)
{
    EXPECT_TRUE(symbols.path("no.such.symbol").isEmpty());
    EXPECT_TRUE(symbols.path("").isEmpty());
}

TEST_F(SymbolLibraryTests, takesNoNameThatLeavesItsFolder)
{
    EXPECT_TRUE(symbols.path("../symbols/heart").isEmpty());
    EXPECT_TRUE(symbols.path("/etc/passwd").isEmpty());
    EXPECT_TRUE(symbols.path(std::string("heart\0x", 7)).isEmpty());
}

TEST_F(SymbolLibraryTests, drawsInTheColourAskedFor)
{
    const QImage image = SymbolLibrary::pixmap(symbols.path("ellipsis"), 24, Qt::red, 2).toImage();

    EXPECT_EQ(image.size(), QSize(48, 48));
    EXPECT_EQ(image.pixelColor(24, 24), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(2, 2).alpha(), 0);
}

} // namespace
} // namespace glimmerwick
