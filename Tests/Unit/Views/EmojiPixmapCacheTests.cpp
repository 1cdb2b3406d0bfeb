#include "Views/EmojiPixmapCache.h"

#include "Fakes/FakePictureStore.h"
#include "Platform/GlyphPictures.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"

#include <QBuffer>
#include <QImage>
#include <QRect>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <span>
#include <string_view>

namespace glimmerwick {
namespace {

constexpr std::size_t plenty = 1 << 20;

TEST(EmojiPixmapCacheTests, drawsATextOnce)
{
    EmojiPixmapCache cache(plenty);

    cache.pixmap("😀", 28, 40, 1);
    cache.pixmap("😀", 28, 40, 1);

    EXPECT_EQ(cache.drawCount(), 1U);
}

TEST(EmojiPixmapCacheTests, drawsAnewForAnotherTextSizeOrRatio)
{
    EmojiPixmapCache cache(plenty);

    cache.pixmap("😀", 28, 40, 1);
    cache.pixmap("😁", 28, 40, 1);
    cache.pixmap("😀", 24, 40, 1);
    cache.pixmap("😀", 28, 36, 1);
    const QPixmap sharp = cache.pixmap("😀", 28, 40, 2);

    EXPECT_EQ(cache.drawCount(), 5U);
    EXPECT_EQ(sharp.size(), QSize(80, 80));
    EXPECT_EQ(sharp.devicePixelRatio(), 2);
}

TEST(EmojiPixmapCacheTests, drawsInColourAndInTheMiddle)
{
    EmojiPixmapCache cache(plenty);

    const QImage image = cache.pixmap("😀", 28, 40, 1).toImage();

    const QColor middle = image.pixelColor(20, 16);
    EXPECT_EQ(middle.alpha(), 255);
    EXPECT_GT(middle.red(), middle.blue() + 80) << "a yellow face";
    EXPECT_EQ(image.pixelColor(1, 1).alpha(), 0);
}

TEST(EmojiPixmapCacheTests, aSequenceIsDrawnAsOneGlyph)
{
    EmojiPixmapCache cache(plenty);

    const QImage image = cache.pixmap("👩‍❤️‍💋‍👨", 24, 60, 1).toImage();

    for (int y = 0; y < 60; ++y) {
        EXPECT_EQ(image.pixelColor(8, y).alpha(), 0) << "nothing beside the one glyph, row " << y;
        EXPECT_EQ(image.pixelColor(51, y).alpha(), 0);
    }
}

TEST(EmojiPixmapCacheTests, forgetsWhatWasUsedLeastRecently)
{
    constexpr std::size_t one = 40 * 40 * 4;
    EmojiPixmapCache cache(2 * one);
    cache.pixmap("a", 28, 40, 1);
    cache.pixmap("b", 28, 40, 1);
    cache.pixmap("a", 28, 40, 1);

    cache.pixmap("c", 28, 40, 1);
    cache.pixmap("a", 28, 40, 1);
    EXPECT_EQ(cache.drawCount(), 3U);
    EXPECT_LE(cache.bytes(), 2 * one);

    cache.pixmap("b", 28, 40, 1);
    EXPECT_EQ(cache.drawCount(), 4U);
}

TEST(EmojiPixmapCacheTests, aPictureLargerThanTheCacheIsStillDrawn)
{
    EmojiPixmapCache cache(10);

    EXPECT_FALSE(cache.pixmap("😀", 28, 40, 1).isNull());
    EXPECT_EQ(cache.bytes(), 0U);
}

class StoredEmojiTests : public ::testing::Test {
protected:
    StoredEmojiTests() { cache.setStore(&store, "maker"); }

    QImage picture(EmojiPixmapCache& from) { return from.pixmap("😀", 28, 40, 1.25).toImage(); }

    fakes::FakePictureStore store;
    EmojiPixmapCache cache{plenty};
};

TEST_F(StoredEmojiTests, whatWasDrawnOnceIsReadByALaterProcess)
{
    const QImage drawn = picture(cache);
    store.keepWritten();

    EmojiPixmapCache later(plenty);
    later.setStore(&store, "maker");
    const QImage read = picture(later);

    EXPECT_EQ(later.drawCount(), 0U);
    EXPECT_EQ(read, drawn);
    EXPECT_EQ(read.size(), QSize(50, 50));
    EXPECT_EQ(read.devicePixelRatio(), 1.25);
}

TEST_F(StoredEmojiTests, anotherMakersPicturesAreNotUsed)
{
    picture(cache);
    store.keepWritten();

    EmojiPixmapCache later(plenty);
    later.setStore(&store, "a newer font");
    picture(later);

    EXPECT_EQ(later.drawCount(), 1U);
}

TEST_F(StoredEmojiTests, aPictureThatCannotBeReadIsDrawnAndKeptAnew)
{
    picture(cache);
    store.keepWritten();
    store.damaged.insert("😀");
    cache.clear();

    picture(cache);
    store.keepWritten();
    cache.clear();
    picture(cache);

    EXPECT_EQ(cache.drawCount(), 2U);
    EXPECT_EQ(store.writeCount, 2);
}

TEST_F(StoredEmojiTests, picturesAreDrawnForTheStoreAlone)
{
    EXPECT_TRUE(cache.store("😀", 28, 40, 1.25));
    store.keepWritten();

    EXPECT_FALSE(cache.store("😀", 28, 40, 1.25)) << "it is there";
    EXPECT_EQ(cache.bytes(), 0U);
    picture(cache);
    EXPECT_EQ(cache.drawCount(), 1U);
}

TEST_F(StoredEmojiTests, withoutAStoreNothingIsDrawnForIt)
{
    cache.setStore(nullptr, {});

    EXPECT_FALSE(cache.store("😀", 28, 40, 1.25));
    EXPECT_EQ(cache.drawCount(), 0U);
}

TEST_F(StoredEmojiTests, forgottenGlyphsAreDrawnAsBefore)
{
    const QImage before = picture(cache);
    cache.setStore(nullptr, {});
    cache.clear();

    cache.forgetGlyphs();

    EXPECT_EQ(picture(cache), before);
    EXPECT_EQ(cache.drawCount(), 2U);
}

/// Where anything of the picture can be seen.
QRect visibleBox(const QImage& image)
{
    QRect box;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y).alpha() > 0) {
                box |= QRect(x, y, 1, 1);
            }
        }
    }
    return box;
}

/// The same blue picture, 8 pixels wide and 4 high, for every text.
class BluePictures : public GlyphPictures {
public:
    BluePictures()
    {
        QImage image(8, 4, QImage::Format_RGB32);
        image.fill(Qt::blue);
        QBuffer buffer(&m_png);
        image.save(&buffer, "PNG");
        picture =
            GlyphPicture{std::as_bytes(std::span(m_png.constData(), m_png.size())), 0.25, 0.25, 1, 0.5, 1.5};
    }
    std::optional<GlyphPicture> glyphPicture(std::string_view) override { return picture; }

    std::optional<GlyphPicture> picture;

private:
    QByteArray m_png;
};

class GlyphPictureTests : public ::testing::Test {
protected:
    GlyphPictureTests() { cache.setGlyphPictures(&pictures); }

    QImage drawn(double ratio = 1) { return cache.pixmap("😀", 20, 40, ratio).toImage(); }
    /// A yellow face in the middle.
    bool isDrawnAsText()
    {
        const QColor middle = drawn().pixelColor(20, 17);
        return middle.alpha() == 255 && middle.red() > middle.blue() + 80;
    }

    BluePictures pictures;
    EmojiPixmapCache cache{plenty};
};

TEST_F(GlyphPictureTests, aPictureStandsWhereTheFontPlacesItInTheLine)
{
    // The line is 30 wide and 20 high, so its corner is at 5, 10; the picture 20 wide and 10 high.
    EXPECT_EQ(visibleBox(drawn()), QRect(10, 15, 20, 10));
    EXPECT_EQ(drawn().pixelColor(20, 20), QColor(Qt::blue));
}

TEST_F(GlyphPictureTests, aPictureIsAsSharpAsTheScreen)
{
    const QImage image = drawn(2);

    EXPECT_EQ(image.devicePixelRatio(), 2);
    EXPECT_EQ(visibleBox(image), QRect(20, 30, 40, 20));
}

TEST_F(GlyphPictureTests, aPictureIsDrawnOnceAsWell)
{
    drawn();
    drawn();

    EXPECT_EQ(cache.drawCount(), 1U);
}

TEST_F(GlyphPictureTests, whatHasNoPictureIsDrawnAsText)
{
    pictures.picture = std::nullopt;

    EXPECT_TRUE(isDrawnAsText());
}

TEST_F(GlyphPictureTests, aPictureThatIsDamagedIsDrawnAsText)
{
    pictures.picture->png = pictures.picture->png.first(20);

    EXPECT_TRUE(isDrawnAsText());
}

TEST_F(GlyphPictureTests, aPictureOfNoSizeOrFarFromItsLineIsDrawnAsText)
{
    const QRectF places[] = {{0, 0, 0, 1},   {0, 0, 1, 0},     {0, 0, -1, 1},    {0, 0, 1, -1},
                             {0, 0, 100, 1}, {0, 0, 1, 100},   {0, 0, 1, 1e300}, {10, 0, 1, 1},
                             {0, 10, 1, 1},  {-1e300, 0, 1, 1}};
    for (const QRectF& place : places) {
        cache.clear();
        pictures.picture->left = place.left();
        pictures.picture->top = place.top();
        pictures.picture->width = place.width();
        pictures.picture->height = place.height();

        EXPECT_TRUE(isDrawnAsText()) << place.width() << " by " << place.height() << " at " << place.left()
                                     << ", " << place.top();
    }
}

TEST_F(GlyphPictureTests, theSystemsFontHasThemWhereTextIsDrawn)
{
    HarfBuzzTextLayout font;
    EmojiPixmapCache asText(plenty);
    cache.setGlyphPictures(&font);
    for (const char* const emoji :
         {"😀", "❤️", "👍🏽", "🇩🇪", "👩‍❤️‍💋‍👨", "1️⃣"}) {
        ASSERT_TRUE(font.glyphPicture(emoji)) << emoji;
        for (const double ratio : {1.0, 1.25, 2.0}) {
            const QRect picture = visibleBox(cache.pixmap(emoji, 28, 40, ratio).toImage());
            const QRect text = visibleBox(asText.pixmap(emoji, 28, 40, ratio).toImage());

            constexpr int tolerance = 2;
            EXPECT_LE(std::abs(picture.left() - text.left()), tolerance) << emoji << " at " << ratio;
            EXPECT_LE(std::abs(picture.top() - text.top()), tolerance) << emoji << " at " << ratio;
            EXPECT_LE(std::abs(picture.right() - text.right()), tolerance) << emoji << " at " << ratio;
            EXPECT_LE(std::abs(picture.bottom() - text.bottom()), tolerance) << emoji << " at " << ratio;
        }
    }
}

} // namespace
} // namespace glimmerwick
