#include "PermissionManager.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using fakes::FakeAccessibilityTrust;
using fakes::FakeTime;

class PermissionManagerTests : public testing::Test {
protected:
    PermissionManagerTests()
    {
        manager->onPermissionGranted = [this] { ++granted; };
    }

    FakeAccessibilityTrust trust;
    FakeTime time;
    std::unique_ptr<PermissionManager> manager = std::make_unique<PermissionManager>(trust, time);
    int granted = 0;
};

TEST_F(PermissionManagerTests, AnswersWhetherTheProcessIsTrustedWithoutPrompting)
{
    trust.trusted = true;
    EXPECT_TRUE(manager->isAccessibilityEnabled());

    trust.trusted = false;
    EXPECT_FALSE(manager->isAccessibilityEnabled());

    EXPECT_EQ(trust.promptCount, 0);
}

TEST_F(PermissionManagerTests, ARequestPromptsOnce)
{
    trust.trusted = false;

    manager->requestAccessibilityPermission();

    EXPECT_EQ(trust.promptCount, 1);
    EXPECT_EQ(granted, 0);
}

TEST_F(PermissionManagerTests, WithPermissionTheCallbackRunsAtOnceAndNothingPolls)
{
    trust.trusted = true;

    manager->startPollingForPermission();

    EXPECT_EQ(granted, 1);
    EXPECT_EQ(time.timersStarted, 0);
}

TEST_F(PermissionManagerTests, ALaterStartWithPermissionRunsTheCallbackAgain)
{
    trust.trusted = true;

    manager->startPollingForPermission();
    manager->startPollingForPermission();

    EXPECT_EQ(granted, 2);
}

TEST_F(PermissionManagerTests, PermissionGivenWhilePollingIsSeenAtTheNextSecond)
{
    trust.trusted = false;
    manager->startPollingForPermission();
    time.advance(5s);
    EXPECT_EQ(granted, 0);

    trust.trusted = true;
    time.advance(999ms);
    EXPECT_EQ(granted, 0);
    time.advance(1ms);
    EXPECT_EQ(granted, 1);

    time.advance(1h);
    EXPECT_EQ(granted, 1);
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST_F(PermissionManagerTests, PollsWithoutEndWhilePermissionIsMissing)
{
    trust.trusted = false;
    manager->startPollingForPermission();

    time.advance(1h);

    EXPECT_EQ(granted, 0);
    EXPECT_EQ(time.pendingCount(), 1u);
}

TEST_F(PermissionManagerTests, ASecondStartWhilePollingMakesNoSecondTimer)
{
    trust.trusted = false;
    manager->startPollingForPermission();

    manager->startPollingForPermission();

    EXPECT_EQ(time.timersStarted, 1);
    trust.trusted = true;
    time.advance(10s);
    EXPECT_EQ(granted, 1);
}

TEST_F(PermissionManagerTests, ASecondStartWhilePollingDoesNotLookAtThePermission)
{
    trust.trusted = false;
    manager->startPollingForPermission();
    trust.trusted = true;

    manager->startPollingForPermission();

    EXPECT_EQ(granted, 0);
    time.advance(1s);
    EXPECT_EQ(granted, 1);
}

TEST_F(PermissionManagerTests, StoppingEndsThePolling)
{
    trust.trusted = false;
    manager->startPollingForPermission();

    manager->stopPollingForPermission();
    trust.trusted = true;
    time.advance(10s);

    EXPECT_EQ(granted, 0);
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST_F(PermissionManagerTests, StoppingWhenNothingPollsChangesNothing)
{
    manager->stopPollingForPermission();

    EXPECT_EQ(granted, 0);
    EXPECT_TRUE(manager->onPermissionGranted);
}

TEST_F(PermissionManagerTests, PollingCanStartAgainAfterItHasEnded)
{
    trust.trusted = false;
    manager->startPollingForPermission();
    trust.trusted = true;
    time.advance(1s);
    trust.trusted = false;

    manager->startPollingForPermission();
    trust.trusted = true;
    time.advance(1s);

    EXPECT_EQ(granted, 2);
    EXPECT_EQ(time.timersStarted, 2);
}

TEST_F(PermissionManagerTests, DestructionEndsThePolling)
{
    trust.trusted = false;
    manager->startPollingForPermission();

    manager.reset();
    trust.trusted = true;
    time.advance(10s);

    EXPECT_EQ(granted, 0);
    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST_F(PermissionManagerTests, PollingEndsWithoutACallbackToo)
{
    manager->onPermissionGranted = nullptr;
    trust.trusted = true;
    manager->startPollingForPermission();
    trust.trusted = false;
    manager->startPollingForPermission();

    trust.trusted = true;
    time.advance(1s);

    EXPECT_EQ(time.pendingCount(), 0u);
}

TEST_F(PermissionManagerTests, TheCallbackMayReplaceItself)
{
    const auto kept = std::make_shared<int>(0);
    manager->onPermissionGranted = [this, kept] {
        manager->onPermissionGranted = nullptr;
        ++*kept;
    };
    trust.trusted = false;
    manager->startPollingForPermission();

    trust.trusted = true;
    time.advance(1s);

    EXPECT_EQ(*kept, 1);
}

TEST(PermissionManagerSharedTests, SharedIsOneInstanceOnTheInstalledPlatform)
{
    fakes::FakePlatform fakes;
    fakes.accessibilityTrust.trusted = false;
    const InstalledPlatform installed(fakes.platform);

    PermissionManager::shared().requestAccessibilityPermission();

    EXPECT_EQ(&PermissionManager::shared(), &PermissionManager::shared());
    EXPECT_EQ(fakes.accessibilityTrust.promptCount, 1);
}

} // namespace
} // namespace glimmerwick
