#include "Managers/UpdateManager.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

TEST(UpdateManager, StartsTheUpdaterWhenItIsMade)
{
    fakes::FakeUpdater updater;

    const UpdateManager manager(updater);

    EXPECT_EQ(updater.startCount, 1);
    EXPECT_EQ(updater.checkCount, 0);
}

TEST(UpdateManager, ChecksOnRequest)
{
    fakes::FakeUpdater updater;
    UpdateManager manager(updater);

    manager.checkForUpdates();
    manager.checkForUpdates();

    EXPECT_EQ(updater.startCount, 1);
    EXPECT_EQ(updater.checkCount, 2);
}

TEST(UpdateManager, IsOneForTheInstalledPlatform)
{
    fakes::FakePlatform fakes;
    const InstalledPlatform installed(fakes.platform);

    UpdateManager::shared();
    UpdateManager::shared().checkForUpdates();

    EXPECT_EQ(fakes.updater.startCount, 1);
    EXPECT_EQ(fakes.updater.checkCount, 1);
}

} // namespace
} // namespace glimmerwick
