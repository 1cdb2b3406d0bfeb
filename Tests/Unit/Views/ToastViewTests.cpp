#include "Views/ToastView.h"

#include "Fakes/FakeTime.h"
#include "Views/Style.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPointer>

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

TEST_F(ToastViewTests, fadesInAndOutOverTime)
{
    style::setAnimationsEnabled(true);
    auto* toast = new ToastView("Copied!", time);
    toast->show(*host, std::nullopt, [&] { ++dismissals; });
    style::setAnimationsEnabled(false);

    EXPECT_LT(toast->alpha(), 1);
    EXPECT_EQ(dismissals, 0);
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
