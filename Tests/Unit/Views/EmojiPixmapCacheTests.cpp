#include "Views/EmojiPixmapCache.h"

#include "Fakes/FakePictureStore.h"

#include <QImage>

#include <gtest/gtest.h>

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

} // namespace
} // namespace glimmerwick
