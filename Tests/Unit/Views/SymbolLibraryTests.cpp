#include "Views/SymbolLibrary.h"

#include <QDir>
#include <QFile>
#include <QIcon>
#include <QImage>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <initializer_list>

namespace glimmerwick {
namespace {

class SymbolLibraryTests : public ::testing::Test {
protected:
    SymbolLibrary symbols{GLIMMERWICK_SOURCE_DIR "/Resources"};
};

TEST_F(SymbolLibraryTests, knowsEverySymbolThatTheViewsAskFor)
{
    for (const char* name : {"ellipsis", "magnifyingglass", "xmark.circle.fill", "clock"}) {
        EXPECT_FALSE(symbols.symbol(name).path.isEmpty()) << name;
    }
}

TEST_F(SymbolLibraryTests, hasNoPathForAnUnknownName)
{
    EXPECT_TRUE(symbols.symbol("no.such.symbol").isEmpty());
    EXPECT_TRUE(symbols.symbol("").isEmpty());
}

TEST_F(SymbolLibraryTests, takesNoNameThatLeavesItsFolder)
{
    EXPECT_TRUE(symbols.symbol("../symbols/heart").isEmpty());
    EXPECT_TRUE(symbols.symbol("/etc/passwd").isEmpty());
    EXPECT_TRUE(symbols.symbol(std::string("heart\0x", 7)).isEmpty());
}

TEST_F(SymbolLibraryTests, drawsInTheColourAskedFor)
{
    const QImage image = SymbolLibrary::pixmap(symbols.symbol("ellipsis"), 48, Qt::red).toImage();

    EXPECT_EQ(image.size(), QSize(48, 48));
    EXPECT_EQ(image.pixelColor(24, 24), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(2, 2).alpha(), 0);
}

/// An icon theme of one-coloured squares, in use for a while.
class IconTheme {
public:
    explicit IconTheme(std::initializer_list<const char*> names)
    {
        QDir().mkpath(folder.filePath("squares/scalable"));
        write("squares/index.theme",
              "[Icon Theme]\nName=Squares\nDirectories=scalable\n\n"
              "[scalable]\nSize=16\nMinSize=8\nMaxSize=512\nType=Scalable\n");
        for (const char* name : names) {
            write(QString("squares/scalable/") + name + ".svg",
                  R"(<svg xmlns="http://www.w3.org/2000/svg" width="16" height="16">)"
                  R"(<rect width="16" height="16" fill="#00f"/></svg>)");
        }
        QIcon::setThemeSearchPaths({folder.path()});
        QIcon::setThemeName("squares");
    }
    ~IconTheme()
    {
        QIcon::setThemeSearchPaths(previousPaths);
        QIcon::setThemeName(previousName);
    }

private:
    void write(const QString& name, const char* content)
    {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QFile::WriteOnly));
        file.write(content);
    }

    QTemporaryDir folder;
    QStringList previousPaths = QIcon::themeSearchPaths();
    QString previousName = QIcon::themeName();
};

TEST_F(SymbolLibraryTests, prefersItsOwnFileToTheThemesIcon)
{
    const IconTheme theme({"heart-symbolic"});

    EXPECT_TRUE(symbols.symbol("heart").path.endsWith("heart.svg"));
    EXPECT_TRUE(symbols.symbol("heart").themeName.isEmpty());
}

TEST_F(SymbolLibraryTests, takesFromTheThemeWhatItLacks)
{
    const IconTheme theme({"starred-symbolic", "weather-clear-symbolic", "tea-pot-symbolic"});

    EXPECT_EQ(symbols.symbol("star").themeName, "starred-symbolic");
    EXPECT_EQ(symbols.symbol("star.fill").themeName, "starred-symbolic");
    EXPECT_EQ(symbols.symbol("sun.max").themeName, "weather-clear-symbolic");
    EXPECT_EQ(symbols.symbol("tea.pot").themeName, "tea-pot-symbolic");
    EXPECT_TRUE(symbols.symbol("moon").isEmpty());
}

TEST_F(SymbolLibraryTests, takesNoCoarserAndNoColouredIconFromTheTheme)
{
    const IconTheme theme({"tea-symbolic", "tea", "rocket"});

    EXPECT_TRUE(symbols.symbol("tea.pot").isEmpty());
    EXPECT_TRUE(symbols.symbol("rocket").isEmpty());
}

TEST_F(SymbolLibraryTests, takesNoPathFromTheTheme)
{
    const IconTheme theme({});
    QTemporaryDir folder;
    const QString path = folder.filePath("picture-symbolic");
    QImage(4, 4, QImage::Format_ARGB32).save(path, "PNG");

    EXPECT_TRUE(symbols.symbol(folder.filePath("picture").toStdString()).isEmpty());
}

TEST_F(SymbolLibraryTests, tintsTheThemesIconAsItsOwn)
{
    const IconTheme theme({"starred-symbolic"});

    const QImage image = SymbolLibrary::pixmap(symbols.symbol("star"), 18, Qt::red).toImage();

    EXPECT_EQ(image.size(), QSize(18, 18));
    EXPECT_EQ(image.pixelColor(9, 9), QColor(Qt::red));
}

} // namespace
} // namespace glimmerwick
