#include "Views/PanelBackgroundView.h"

#include <QColor>
#include <QImage>
#include <QRect>
#include <QRegion>
#include <QWidget>

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

constexpr QSize panelSize(320, 400);

class PanelBackgroundViewTests : public ::testing::TestWithParam<Backdrop> {
protected:
    PanelBackgroundViewTests()
    {
        window.resize(panelSize);
        view = new PanelBackgroundView(PanelBackgroundView::Material::hudWindow, &window);
        view->setBackdrop(GetParam());
    }

    /// As it is painted when only this has changed.
    QImage painted(const QRegion& region)
    {
        QImage image(panelSize, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        view->render(&image, region.boundingRect().topLeft(), region, QWidget::RenderFlags());
        return image;
    }

    QWidget window;
    PanelBackgroundView* view = nullptr;
};

TEST_P(PanelBackgroundViewTests, aPartLooksAsItDoesInTheWhole)
{
    const QImage whole = painted(QRect(QPoint(), panelSize));
    for (const QRect& part :
         {QRect(20, 20, 280, 360), QRect(2, 16, 316, 368), QRect(16, 2, 288, 396), QRect(2, 15, 316, 368),
          QRect(1, 16, 316, 368), QRect(0, 0, 20, 20), QRect(300, 380, 20, 20), QRect(0, 100, 320, 50)}) {
        EXPECT_EQ(painted(part).copy(part), whole.copy(part))
            << part.width() << " by " << part.height() << " at " << part.x() << ", " << part.y();
    }
}

TEST_P(PanelBackgroundViewTests, severalPartsLeaveOutWhatIsBetweenThem)
{
    const QRect upper(20, 20, 100, 50);
    const QRect lower(20, 200, 280, 50);
    const QImage whole = painted(QRect(QPoint(), panelSize));

    const QImage image = painted(QRegion(upper).united(lower));

    EXPECT_EQ(image.copy(upper), whole.copy(upper));
    EXPECT_EQ(image.copy(lower), whole.copy(lower));
    EXPECT_EQ(image.pixelColor(150, 150).alpha(), 0);
    EXPECT_EQ(image.pixelColor(200, 40).alpha(), 0);
}

TEST_P(PanelBackgroundViewTests, theBorderAndTheCornersDifferFromTheMiddle)
{
    const QImage whole = painted(QRect(QPoint(), panelSize));
    const QColor middle = whole.pixelColor(160, 200);

    EXPECT_NE(whole.pixelColor(0, 200), middle);
    EXPECT_NE(whole.pixelColor(160, 399), middle);
    EXPECT_NE(whole.pixelColor(4, 4), middle);
    EXPECT_EQ(whole.pixelColor(0, 0).alpha() > 0, GetParam() == Backdrop::opaque);
}

INSTANTIATE_TEST_SUITE_P(Backdrops, PanelBackgroundViewTests,
                         ::testing::Values(Backdrop::translucent, Backdrop::blurred, Backdrop::opaque));

} // namespace
} // namespace glimmerwick
