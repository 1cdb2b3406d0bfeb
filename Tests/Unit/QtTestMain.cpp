#include "Views/Style.h"

#include <QApplication>

#include <private/qguiapplication_p.h>
#include <qpa/qplatformaccessibility.h>
#include <qpa/qplatformintegration.h>

#include <gtest/gtest.h>

namespace {

/// Lets what is animated happen at once, so that no test waits; a test that turns animations on does so for
/// itself.
class AnimationsOff : public ::testing::EmptyTestEventListener {
public:
    void OnTestStart(const ::testing::TestInfo&) override { glimmerwick::style::setAnimationsEnabled(false); }
};

/// As if a screen reader ran: without one the toolkit makes and tells nothing.
void activateAccessibility()
{
    QGuiApplicationPrivate::platformIntegration()->accessibility()->setActive(true);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new AnimationsOff);
    QApplication application(argc, argv);
    activateAccessibility();
    QApplication::setStyle(QStringLiteral("Fusion"));
    return RUN_ALL_TESTS();
}
