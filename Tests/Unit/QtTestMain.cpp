#include "Views/Style.h"

#include <QApplication>

#include <gtest/gtest.h>

namespace {

/// Lets what is animated happen at once, so that no test waits; a test that turns animations on does so for
/// itself.
class AnimationsOff : public ::testing::EmptyTestEventListener {
public:
    void OnTestStart(const ::testing::TestInfo&) override { glimmerwick::style::setAnimationsEnabled(false); }
};

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new AnimationsOff);
    QApplication application(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    return RUN_ALL_TESTS();
}
