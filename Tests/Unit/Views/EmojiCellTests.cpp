#include "Views/EmojiCell.h"

#include "Views/Style.h"
#include "Views/ViewsFixture.h"

#include <QBuffer>
#include <QImage>

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

const Emoji wave{"1f44b", "👋", "waving hand", {}, "people", true};
const Emoji grin{"1f600", "😀", "grinning face", {}, "smileys", false};

std::string pngBytes(QSize size = {64, 64})
{
    QImage image(size, QImage::Format_ARGB32);
    image.fill(Qt::green);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes.toStdString();
}

/// Knows a picture by its real signature, as these tests draw what was downloaded.
class SignatureCodec : public fakes::FakeImageCodec {
public:
    bool isDecodableImage(std::string_view bytes) override { return bytes.substr(1, 3) == "PNG"; }
};

class EmojiCellTests : public tests::ViewsFixture {
protected:
    EmojiCellTests()
    {
        window.resize(320, 400);
        cell->setGeometry(140, 200, 40, 40);
        window.show();
        fakes.log.lines.clear();
    }

    std::filesystem::path imagePath(const std::string& codepoint) const
    {
        return dataManager.cacheDirectory() / "emojis" / (codepoint + ".png");
    }

    void putImage(const std::string& codepoint, std::string bytes = pngBytes())
    {
        fakes.fileSystem.files[imagePath(codepoint)] = {std::move(bytes), fakes.fileClock.time};
    }

    SignatureCodec codec;
    EmojiDataManager cellManager{fakes.process, fakes.log,        fakes.fileSystem, fakes.fileClock,
                                 fakes.time,    fakes.httpClient, fakes.textLayout, codec};
    QWidget window;
    EmojiCell::Services services{fakes.platform, cellManager, preferences, renderer, popover};
    EmojiCell* cell = new EmojiCell(services, &window);
};

TEST_F(EmojiCellTests, drawableEmojiIsShownAsText)
{
    cell->configure(grin);

    EXPECT_EQ(cell->text(), "😀");
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::none);
    EXPECT_EQ(cell->accessibleName(), "😀");
    EXPECT_EQ(cell->objectName(), "😀");
}

TEST_F(EmojiCellTests, preferredToneIsShownAndTheIdentifierStaysPlain)
{
    preferences.setPreferredSkinTone(SkinTone::medium);

    cell->configure(wave);
    EXPECT_EQ(cell->text(), "👋🏽");
    EXPECT_EQ(cell->accessibleName(), "👋🏽");
    EXPECT_EQ(cell->objectName(), "👋");

    preferences.setPreferredSkinTone(SkinTone::dark);
    cell->configure(wave);
    EXPECT_EQ(cell->text(), "👋🏿");

    cell->configure(grin);
    EXPECT_EQ(cell->text(), "😀");
}

TEST_F(EmojiCellTests, cachedPictureIsShownWithoutARequest)
{
    makeUnsupported("1f600");
    putImage("1f600");

    cell->configure(grin);

    EXPECT_EQ(cell->text(), "");
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::loaded);
    EXPECT_EQ(cell->image().size(), QSize(32, 32));
    EXPECT_EQ(cell->image().pixelColor(16, 16), QColor(Qt::green));
    EXPECT_FALSE(cell->isLoadingImage());
    EXPECT_THAT(fakes.httpClient.exchanges, IsEmpty());
    EXPECT_EQ(fakes.imageCodec.drawCount, 1) << "the momentary rendering";
}

TEST_F(EmojiCellTests, missingPictureIsDownloadedBehindAPlaceholder)
{
    makeUnsupported("1f600");

    cell->configure(grin);
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::loading);
    EXPECT_TRUE(cell->isLoadingImage());
    fakes.time.runUntilIdle();
    ASSERT_EQ(fakes.httpClient.exchanges.size(), 1U);
    fakes.httpClient.answer(0, 200, pngBytes());
    fakes.time.runUntilIdle();

    EXPECT_EQ(cell->picture(), EmojiCell::Picture::loaded);
    EXPECT_EQ(cell->image().pixelColor(16, 16), QColor(Qt::green));
    EXPECT_FALSE(cell->isLoadingImage());
}

TEST_F(EmojiCellTests, failedDownloadPrintsFiveLinesAndShowsAQuestionMark)
{
    makeUnsupported("1f600");
    cell->configure(grin);
    fakes.time.runUntilIdle();
    fakes.log.lines.clear();

    fakes.httpClient.answer(0, 404, "");
    fakes.time.runUntilIdle();

    EmojiDataManager::ImageDownloadError error;
    error.kind = EmojiDataManager::ImageDownloadError::Kind::httpError;
    error.statusCode = 404;
    EXPECT_THAT(fakes.log.lines,
                ElementsAre("[EmojiCell] Failed to load image:", "  - Codepoint: 1f600",
                            "  - Filename: 1f600.png",
                            "  - URL: " + dataManager.productionBaseURL() + "/emojis/1f600.png",
                            "  - Error: " + error.errorDescription()));
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::failed);
    EXPECT_FALSE(cell->isLoadingImage());
}

TEST_F(EmojiCellTests, reuseCancelsTheDownloadSilently)
{
    makeUnsupported("1f600");
    cell->configure(grin);
    fakes.time.runUntilIdle();
    fakes.log.lines.clear();

    cell->prepareForReuse();
    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
    cell->configure(wave);
    fakes.httpClient.answer(0, 404, "");
    fakes.time.runUntilIdle();

    EXPECT_EQ(cell->text(), "👋");
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::none);
    EXPECT_THAT(fakes.log.lines, IsEmpty());
}

TEST_F(EmojiCellTests, aLateDownloadDoesNotTakeThePlaceOfAnEmojiThatIsDrawn)
{
    makeUnsupported("1f600");
    cell->configure(grin);
    fakes.time.runUntilIdle();
    cell->configure(wave);

    fakes.httpClient.answer(0, 200, pngBytes());
    fakes.time.runUntilIdle();

    EXPECT_EQ(cell->picture(), EmojiCell::Picture::none);
    EXPECT_EQ(cell->text(), "👋");
}

TEST_F(EmojiCellTests, aLateFailureIsLoggedAndNotShown)
{
    makeUnsupported("1f600");
    cell->configure(grin);
    fakes.time.runUntilIdle();
    cell->configure(wave);
    fakes.log.lines.clear();

    fakes.httpClient.answer(0, 404, "");
    fakes.time.runUntilIdle();

    EXPECT_EQ(fakes.log.lines.size(), 5U);
    EXPECT_EQ(cell->picture(), EmojiCell::Picture::none);
    EXPECT_EQ(cell->text(), "👋");
}

TEST_F(EmojiCellTests, configuringAnotherPictureCancelsTheFirst)
{
    makeUnsupported("1f600");
    makeUnsupported("1f601");
    cell->configure(grin);
    fakes.time.runUntilIdle();

    cell->configure({"1f601", "😁", "beaming face", {}, "smileys", false});
    fakes.time.runUntilIdle();

    ASSERT_EQ(fakes.httpClient.exchanges.size(), 2U);
    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
    EXPECT_FALSE(fakes.httpClient.exchanges[1]->cancelled);
}

TEST_F(EmojiCellTests, aCellThatIsGoneLeavesItsDownloadToNobody)
{
    makeUnsupported("1f600");
    cell->configure(grin);
    fakes.time.runUntilIdle();

    delete cell;
    fakes.httpClient.answer(0, 404, "");
    fakes.time.runUntilIdle();

    EXPECT_TRUE(fakes.httpClient.exchanges[0]->cancelled);
}

TEST_F(EmojiCellTests, aFileThatIsNoPictureShowsTheFailurePlaceholder)
{
    makeUnsupported("1f600");
    putImage("1f600", "<html>");

    cell->configure(grin);

    EXPECT_EQ(cell->picture(), EmojiCell::Picture::failed);
}

TEST_F(EmojiCellTests, aPictureOfAbsurdSizeIsRefused)
{
    makeUnsupported("1f600");
    putImage("1f600", pngBytes({5000, 1}));

    cell->configure(grin);

    EXPECT_EQ(cell->picture(), EmojiCell::Picture::failed);
}

TEST_F(EmojiCellTests, coloursFollowPointerPressAndSelection)
{
    cell->configure(grin);
    EXPECT_EQ(cell->backgroundColor().alpha(), 0);

    cell->setSelected(true);
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.25));

    tests::enter(*cell);
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.15)) << "the pointer goes ahead of the selection";

    tests::press(*cell, {20, 20});
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.3));

    tests::release(*cell, {20, 20});
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.15));

    tests::leave(*cell);
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.25));
    cell->setSelected(false);
    EXPECT_EQ(cell->backgroundColor().alpha(), 0);
}

TEST_F(EmojiCellTests, aPressThatLeavesTheCellIsNoLongerShown)
{
    cell->configure(grin);
    tests::enter(*cell);
    tests::press(*cell, {20, 20});

    tests::dragTo(*cell, {80, 20});
    EXPECT_EQ(cell->backgroundColor().alpha(), 0);

    tests::dragTo(*cell, {20, 20});
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.15)) << "back inside it is but hovered";
    tests::release(*cell, {20, 20});
    EXPECT_EQ(cell->backgroundColor(), style::accent(0.15));
}

TEST_F(EmojiCellTests, longPressOpensTheTones)
{
    cell->configure(wave);
    tests::press(*cell, {20, 20});

    fakes.time.advance(499ms);
    EXPECT_FALSE(popover.isShown());
    fakes.time.advance(1ms);

    ASSERT_TRUE(popover.isShown());
    EXPECT_EQ(popover.selectorView()->skinToneButtons()[0]->emojiText(), "👋");
}

TEST_F(EmojiCellTests, aPickDoesNotFollowALongPress)
{
    int clicks = 0;
    cell->onClick = [&](CollectionViewItem&, SelectionModifier) { ++clicks; };
    cell->configure(wave);
    tests::press(*cell, {20, 20});
    fakes.time.advance(500ms);

    tests::release(*cell, {20, 20});

    EXPECT_EQ(clicks, 0);
    EXPECT_TRUE(popover.isShown());
}

TEST_F(EmojiCellTests, aShortPressIsAClickAndOpensNothing)
{
    int clicks = 0;
    cell->onClick = [&](CollectionViewItem&, SelectionModifier) { ++clicks; };
    cell->configure(wave);
    tests::press(*cell, {20, 20});
    fakes.time.advance(400ms);

    tests::release(*cell, {20, 20});
    fakes.time.advance(1s);

    EXPECT_EQ(clicks, 1);
    EXPECT_FALSE(popover.isShown());
}

TEST_F(EmojiCellTests, aPressThatMovesMoreThanFivePointsIsNoLongPress)
{
    cell->configure(wave);

    tests::press(*cell, {20, 20});
    tests::dragTo(*cell, {23, 24});
    tests::dragTo(*cell, {23, 25});
    fakes.time.advance(1s);
    EXPECT_FALSE(popover.isShown()) << "5.8 points";
    tests::release(*cell, {23, 25});

    tests::press(*cell, {20, 20});
    tests::dragTo(*cell, {23, 24});
    fakes.time.advance(1s);
    EXPECT_TRUE(popover.isShown()) << "exactly 5 points";
}

TEST_F(EmojiCellTests, longPressWithoutTonesDoesNothingAndIsNoClick)
{
    int clicks = 0;
    cell->onClick = [&](CollectionViewItem&, SelectionModifier) { ++clicks; };
    cell->configure(grin);

    tests::press(*cell, {20, 20});
    fakes.time.advance(1s);
    EXPECT_FALSE(popover.isShown());
    tests::release(*cell, {20, 20});

    EXPECT_EQ(clicks, 0);
}

TEST_F(EmojiCellTests, rightClickOpensTheTonesAtOnceWhereThereAreAny)
{
    cell->configure(grin);
    tests::press(*cell, {20, 20}, Qt::RightButton);
    EXPECT_FALSE(popover.isShown());

    cell->configure(wave);
    tests::press(*cell, {20, 20}, Qt::RightButton);
    EXPECT_TRUE(popover.isShown());
}

TEST_F(EmojiCellTests, anEmptyCellOpensNothing)
{
    tests::press(*cell, {20, 20}, Qt::RightButton);

    EXPECT_FALSE(popover.isShown());
}

TEST_F(EmojiCellTests, pickFlashesForAFifthOfASecond)
{
    cell->configure(grin);
    tests::enter(*cell);

    cell->showSelectionFeedback();
    EXPECT_EQ(cell->shownBackgroundColor(), style::accent(0.4));
    fakes.time.advance(199ms);
    EXPECT_EQ(cell->shownBackgroundColor(), style::accent(0.4));
    fakes.time.advance(1ms);

    EXPECT_EQ(cell->shownBackgroundColor(), style::accent(0.15));
}

TEST_F(EmojiCellTests, theFlashEndsInTheColourOfTheMoment)
{
    cell->configure(grin);
    tests::enter(*cell);
    cell->showSelectionFeedback();

    tests::leave(*cell);
    EXPECT_EQ(cell->shownBackgroundColor(), style::accent(0.4));
    fakes.time.advance(200ms);

    EXPECT_EQ(cell->shownBackgroundColor().alpha(), 0);
}

TEST_F(EmojiCellTests, aReusedCellIsLikeNew)
{
    cell->configure(wave);
    cell->setSelected(true);
    tests::enter(*cell);
    tests::press(*cell, {20, 20});
    cell->showSelectionFeedback();

    cell->prepareForReuse();
    EXPECT_EQ(cell->emoji(), std::nullopt);
    EXPECT_EQ(cell->text(), "");
    EXPECT_FALSE(cell->isSelected());
    EXPECT_EQ(cell->shownBackgroundColor().alpha(), 0);
    EXPECT_EQ(cell->accessibleName(), "");
    EXPECT_EQ(cell->objectName(), "");

    fakes.time.advance(2s);
    EXPECT_EQ(cell->backgroundColor().alpha(), 0);
    EXPECT_FALSE(popover.isShown()) << "the press was the former emoji's";
}

TEST_F(EmojiCellTests, hidingEndsHoverAndPress)
{
    cell->configure(wave);
    tests::enter(*cell);
    tests::press(*cell, {20, 20});

    window.hide();
    fakes.time.advance(1s);

    EXPECT_EQ(cell->backgroundColor().alpha(), 0);
    EXPECT_FALSE(popover.isShown());
}

TEST_F(EmojiCellTests, drawsItsEmojiInColour)
{
    cell->configure(grin);

    const QImage drawn = cell->grab().toImage();

    const QColor middle = drawn.pixelColor(drawn.width() / 2, drawn.height() / 2 - 4);
    EXPECT_GT(middle.red(), middle.blue() + 80);
}

} // namespace
} // namespace glimmerwick
