#include "Views/ToastView.h"

#include "Fakes/FakeTime.h"
#include "Views/Style.h"

#include <QApplication>
#include <QFontMetrics>
#include <QImage>
#include <QPointer>
#include <QVariantAnimation>

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;

class ToastViewTests : public ::testing::Test {
protected:
    ToastViewTests()
    {
        host->resize(320, 400);
        host->show();
    }

    fakes::FakeTime time;
    std::unique_ptr<QWidget> host = std::make_unique<QWidget>();
    int dismissals = 0;
};

TEST_F(ToastViewTests, isTwentyFourPointsWiderAndTwelveTallerThanItsText)
{
    const ToastView toast("Copied!", time);

    const QSize text = QFontMetrics(style::systemFont(13, QFont::Medium)).size(Qt::TextSingleLine, "Copied!");
    EXPECT_EQ(toast.sizeHint(), text + QSize(24, 12));
    EXPECT_EQ(toast.alpha(), 0);
}

TEST_F(ToastViewTests, isCentredInItsHost)
{
    auto* toast = new ToastView("Copied!", time);

    toast->show(*host, std::nullopt);

    EXPECT_EQ(toast->parentWidget(), host.get());
    EXPECT_NEAR(QRectF(toast->geometry()).center().x(), 160, 1);
    EXPECT_NEAR(QRectF(toast->geometry()).center().y(), 200, 1);
    EXPECT_EQ(toast->alpha(), 1);
}

TEST_F(ToastViewTests, isCentredOnAPoint)
{
    auto* toast = new ToastView("Copied!", time);

    toast->show(*host, QPointF(100, 50));

    EXPECT_NEAR(QRectF(toast->geometry()).center().x(), 100, 1);
    EXPECT_NEAR(QRectF(toast->geometry()).center().y(), 50, 1);
}

TEST_F(ToastViewTests, goesByItselfAndTellsAfterItsRemoval)
{
    auto* toast = new ToastView("Copied!", time);
    QPointer<ToastView> weak = toast;
    toast->show(*host, std::nullopt, [&] {
        ++dismissals;
        EXPECT_EQ(toast->parentWidget(), nullptr);
    });

    time.advance(799ms);
    EXPECT_EQ(dismissals, 0);
    time.advance(1ms);
    EXPECT_EQ(dismissals, 1);

    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(weak.isNull());
}

TEST_F(ToastViewTests, earlyDismissalCancelsTheTimerAndTellsOnce)
{
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt, [&] { ++dismissals; });

    toast->dismiss();
    toast->dismiss();
    EXPECT_EQ(time.pendingCount(), 0U);
    time.advance(2s);

    EXPECT_EQ(dismissals, 1);
}

TEST_F(ToastViewTests, aToastWhoseHostIsGoneDoesNothing)
{
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt, [&] { ++dismissals; });

    host.reset();
    time.advance(2s);

    EXPECT_EQ(dismissals, 0);
}

TEST_F(ToastViewTests, fadesInWithinLessThanASixthOfASecond)
{
    style::setAnimationsEnabled(true);
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt);
    auto* fade = toast->findChild<QVariantAnimation*>();
    ASSERT_NE(fade, nullptr);

    EXPECT_EQ(fade->duration(), 150);
    EXPECT_EQ(toast->alpha(), 0);
    fade->setCurrentTime(75);
    EXPECT_GT(toast->alpha(), 0);
    EXPECT_LT(toast->alpha(), 1);
    fade->setCurrentTime(150);
    EXPECT_EQ(toast->alpha(), 1);
}

TEST_F(ToastViewTests, fadesOutThenIsRemovedThenTells)
{
    style::setAnimationsEnabled(true);
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt, [&] {
        ++dismissals;
        EXPECT_EQ(toast->alpha(), 0);
        EXPECT_EQ(toast->parentWidget(), nullptr);
    });
    auto* fade = toast->findChild<QVariantAnimation*>();
    fade->setCurrentTime(150);

    time.advance(800ms);
    EXPECT_EQ(fade->duration(), 150);
    EXPECT_EQ(toast->alpha(), 1);
    fade->setCurrentTime(149);
    EXPECT_EQ(toast->parentWidget(), host.get());
    EXPECT_EQ(dismissals, 0);
    fade->setCurrentTime(150);

    EXPECT_EQ(dismissals, 1);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QImage rendered(QWidget& view)
{
    QImage image(view.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    view.render(&image, {}, {}, {});
    return image;
}

TEST_F(ToastViewTests, isWhiteOnDarkGreyWithRoundedCorners)
{
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt);

    const QImage drawn = rendered(*toast);

    const QColor fill = drawn.pixelColor(4, drawn.height() / 2);
    EXPECT_NEAR(fill.alphaF(), 0.9, 0.01);
    EXPECT_NEAR(fill.redF(), 0.1, 0.01);
    EXPECT_EQ(fill.redF(), fill.blueF());
    EXPECT_LT(drawn.pixelColor(0, 0).alphaF(), 0.1);
    EXPECT_LT(drawn.pixelColor(1, 1).alphaF(), 0.5);
    EXPECT_NEAR(drawn.pixelColor(9, 0).alphaF(), 0.9, 0.01);
    EXPECT_NEAR(drawn.pixelColor(0, 9).alphaF(), 0.9, 0.01);
    bool hasWhite = false;
    for (int x = 12; x < drawn.width() - 12; ++x) {
        for (int y = 6; y < drawn.height() - 6; ++y) {
            hasWhite |= drawn.pixelColor(x, y).lightness() > 240;
        }
    }
    EXPECT_TRUE(hasWhite);
}

TEST_F(ToastViewTests, aLongMessageStaysInsideItsHost)
{
    const std::string message = "Diese kleine Nachricht ist nun wirklich viel länger, als irgendein Fenster "
                                "von dieser Breite sie zeigen kann";
    auto* toast = new ToastView(message, time);
    const int height = toast->sizeHint().height();

    toast->show(*host, std::nullopt);

    EXPECT_EQ(toast->geometry().left(), 8);
    EXPECT_EQ(toast->width(), 320 - 16);
    EXPECT_EQ(toast->height(), height);
    EXPECT_EQ(toast->accessibleName().toStdString(), message);
    const QFont font = style::systemFont(13, QFont::Medium);
    const QString shortened =
        QFontMetrics(font).elidedText(toast->accessibleName(), Qt::ElideRight, 304 - 24);
    ToastView asShort(shortened.toStdString(), time);
    asShort.show(*host, std::nullopt);
    asShort.resize(toast->size());
    EXPECT_EQ(rendered(*toast), rendered(asShort)) << "its beginning, and that there is more";
}

TEST_F(ToastViewTests, showCopiedShowsItsMessageInTheHost)
{
    ToastView::showCopied(*host, std::nullopt, time);

    ToastView* shown = nullptr;
    for (QObject* child : host->children()) {
        shown = dynamic_cast<ToastView*>(child);
    }
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->message(), "Copied!");
    EXPECT_EQ(shown->accessibleName(), "Copied!");
}

} // namespace
} // namespace glimmerwick
