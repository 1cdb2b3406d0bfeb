#include "Managers/InstallLocationChecker.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <any>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

class InstallLocationCheckerTests : public testing::Test {
protected:
    void check()
    {
        InstallLocationChecker::checkInstallLocation(fakes.userDefaults, fakes.volumeInfo, fakes.alert,
                                                     fakes.fileViewer, [this] { ++doneCount; });
    }

    std::optional<bool> hasShown() { return fakes.userDefaults.boolean("hasShownInstallLocationAlert"); }

    fakes::FakePlatform fakes;
    int doneCount = 0;
};

TEST_F(InstallLocationCheckerTests, AsksWhenTheProgramRunsFromAReadOnlyVolume)
{
    fakes.volumeInfo.readOnly = true;

    check();

    ASSERT_EQ(fakes.alert.shown.size(), 1U);
    EXPECT_EQ(fakes.alert.shown[0].messageText, "Move to Applications Folder?");
    EXPECT_EQ(fakes.alert.shown[0].informativeText,
              "Glimmerwick is running from a read-only location (like a disk image). For automatic updates "
              "to work, "
              "please move the app to your Applications folder.\n\nTo do this:\n1. Quit Glimmerwick\n2. Drag "
              "Glimmerwick.app to your Applications folder\n3. Relaunch from Applications");
    EXPECT_EQ(fakes.alert.shown[0].buttons, (std::vector<std::string>{"Open Applications Folder", "Later"}));
}

TEST_F(InstallLocationCheckerTests, HoldsTheLaunchUntilTheAnswer)
{
    fakes.volumeInfo.readOnly = true;
    check();
    EXPECT_EQ(doneCount, 0);

    fakes.alert.answer(1);

    EXPECT_EQ(doneCount, 1);
}

/// Notes what was stored when the alert came up.
class WatchingAlert : public Alert {
public:
    explicit WatchingAlert(UserDefaults& defaults) : m_defaults(defaults) { }

    void show(AlertContent, std::function<void(std::size_t)>) override
    {
        storedWhenShown = m_defaults.boolean("hasShownInstallLocationAlert");
    }

    std::optional<bool> storedWhenShown;

private:
    UserDefaults& m_defaults;
};

TEST_F(InstallLocationCheckerTests, RemembersTheQuestionBeforeItIsAsked)
{
    fakes.volumeInfo.readOnly = true;
    WatchingAlert alert(fakes.userDefaults);

    InstallLocationChecker::checkInstallLocation(fakes.userDefaults, fakes.volumeInfo, alert,
                                                 fakes.fileViewer, [] {});

    EXPECT_EQ(alert.storedWhenShown, true);
}

TEST_F(InstallLocationCheckerTests, AsksOncePerUserWhateverTheAnswer)
{
    fakes.volumeInfo.readOnly = true;
    check();

    check();

    EXPECT_EQ(fakes.alert.shown.size(), 1U);
    EXPECT_EQ(doneCount, 1);
}

TEST_F(InstallLocationCheckerTests, LeavesAProgramOnAWritableVolumeAlone)
{
    fakes.volumeInfo.readOnly = false;

    check();

    EXPECT_TRUE(fakes.alert.shown.empty());
    EXPECT_EQ(hasShown(), std::nullopt);
    EXPECT_EQ(fakes.userDefaults.writeCount, 0);
    EXPECT_EQ(doneCount, 1);
}

TEST_F(InstallLocationCheckerTests, AsksOnceTheProgramHasMovedToAReadOnlyVolume)
{
    fakes.volumeInfo.readOnly = false;
    check();
    fakes.volumeInfo.readOnly = true;

    check();

    EXPECT_EQ(fakes.alert.shown.size(), 1U);
    EXPECT_EQ(hasShown(), true);
}

TEST_F(InstallLocationCheckerTests, DoesNotAskWhenTheVolumeIsUnknown)
{
    fakes.volumeInfo.readOnly = std::nullopt;

    check();

    EXPECT_TRUE(fakes.alert.shown.empty());
    EXPECT_EQ(hasShown(), std::nullopt);
    EXPECT_EQ(doneCount, 1);
}

TEST_F(InstallLocationCheckerTests, TakesAStoredValueOfAnotherTypeForNone)
{
    fakes.userDefaults.values["hasShownInstallLocationAlert"] = std::string("true");
    fakes.volumeInfo.readOnly = true;

    check();

    EXPECT_EQ(fakes.alert.shown.size(), 1U);
}

TEST_F(InstallLocationCheckerTests, OpensTheApplicationsFolderOnTheFirstButtonAndGoesOn)
{
    fakes.volumeInfo.readOnly = true;
    check();

    fakes.alert.answer(0);

    EXPECT_EQ(fakes.fileViewer.applicationsFolderCount, 1);
    EXPECT_EQ(fakes.menuHost.terminateCount, 0);
    EXPECT_EQ(doneCount, 1);
}

TEST_F(InstallLocationCheckerTests, OpensNothingOnLater)
{
    fakes.volumeInfo.readOnly = true;
    check();

    fakes.alert.answer(1);

    EXPECT_EQ(fakes.fileViewer.applicationsFolderCount, 0);
}

TEST_F(InstallLocationCheckerTests, WorksOverTheInstalledPlatform)
{
    const InstalledPlatform installed(fakes.platform);
    fakes.volumeInfo.readOnly = true;

    InstallLocationChecker::checkInstallLocation([this] { ++doneCount; });
    fakes.alert.answer(0);

    EXPECT_EQ(fakes.fileViewer.applicationsFolderCount, 1);
    EXPECT_EQ(doneCount, 1);
}

} // namespace
} // namespace glimmerwick
