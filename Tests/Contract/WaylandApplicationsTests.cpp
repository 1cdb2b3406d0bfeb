#include "Contract/Eventually.h"
#include "Contract/WaylandClients.h"
#include "Contract/WaylandTestWindow.h"
#include "Platform/Wayland/WaylandConnection.h"
#include "Platform/Wayland/WaylandWindows.h"
#include "Platform/Wayland/WaylandWorkspace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {
namespace {

using ::testing::Contains;
using ::testing::IsEmpty;
using ::testing::IsSupersetOf;
using ::testing::Not;

constexpr ActivationOption option = ActivationOption::ignoringOtherApps;

class WaylandWorkspaceTest : public ::testing::Test {
protected:
    std::vector<std::string> runningIdentifiers()
    {
        std::vector<std::string> identifiers;
        for (const auto& application : workspace.runningApplications()) {
            identifiers.push_back(application->bundleIdentifier().value_or("(none)"));
        }
        return identifiers;
    }

    std::optional<std::string> frontmostIdentifier()
    {
        const auto application = workspace.frontmostApplication();
        return application ? application->bundleIdentifier() : std::nullopt;
    }

    bool isInFront(const std::string& identifier)
    {
        return eventually([&] { return frontmostIdentifier() == identifier; });
    }

    WaylandConnection connection{{}};
    WaylandWindows windows{connection};
    WaylandWorkspace workspace{windows};
};

TEST_F(WaylandWorkspaceTest, nothingIsInFrontOfAnEmptyDesktop)
{
    EXPECT_TRUE(eventually([&] { return workspace.frontmostApplication() == nullptr; }));
    EXPECT_THAT(runningIdentifiers(), IsEmpty());
}

TEST_F(WaylandWorkspaceTest, theApplicationThatHasTheKeysIsInFront)
{
    const TestWindow first("org.example.First");
    ASSERT_TRUE(isInFront("org.example.First"));
    TestWindow second("org.example.Second");

    EXPECT_TRUE(isInFront("org.example.Second"));
    EXPECT_TRUE(second.hasKeys());
    EXPECT_THAT(runningIdentifiers(), IsSupersetOf({"org.example.First", "org.example.Second"}));
}

TEST_F(WaylandWorkspaceTest, aDesktopFileNamesTheApplication)
{
    const TestWindow terminal("foot");
    ASSERT_TRUE(isInFront("foot"));

    const auto application = workspace.frontmostApplication();

    EXPECT_EQ(application->localizedName(), "Foot");
    EXPECT_EQ(application->processIdentifier(), -1);
}

TEST_F(WaylandWorkspaceTest, anApplicationWithoutADesktopFileIsNamedByItsWindow)
{
    const TestWindow window("org.example.Unheard");
    ASSERT_TRUE(isInFront("org.example.Unheard"));

    EXPECT_EQ(workspace.frontmostApplication()->localizedName(), "org.example.Unheard");
}

TEST_F(WaylandWorkspaceTest, activatingBringsTheVeryWindowBackThatWasRemembered)
{
    TestWindow remembered("org.example.Same");
    ASSERT_TRUE(isInFront("org.example.Same"));
    const auto application = workspace.frontmostApplication();
    TestWindow other("org.example.Same");
    ASSERT_TRUE(eventually([&] { return other.hasKeys() && !remembered.hasKeys(); }));

    EXPECT_TRUE(application->activate(option));

    EXPECT_TRUE(remembered.hasKeys());
    EXPECT_FALSE(other.hasKeys());
    // It is there already.
    EXPECT_TRUE(application->activate(option));
}

TEST_F(WaylandWorkspaceTest, anApplicationThatIsGoneIsNotActivatedAndKeepsItsName)
{
    auto window = std::make_unique<TestWindow>("org.example.Gone");
    ASSERT_TRUE(isInFront("org.example.Gone"));
    const auto application = workspace.frontmostApplication();
    window.reset();
    ASSERT_TRUE(eventually([&] { return workspace.frontmostApplication() == nullptr; }));

    EXPECT_FALSE(application->activate(option));

    EXPECT_EQ(application->bundleIdentifier(), "org.example.Gone");
    EXPECT_THAT(runningIdentifiers(), Not(Contains("org.example.Gone")));
}

TEST_F(WaylandWorkspaceTest, onlyTheWindowThatWasActivatedIsFreeForKeys)
{
    auto meant = std::make_unique<TestWindow>("org.example.Meant");
    ASSERT_TRUE(isInFront("org.example.Meant"));
    EXPECT_EQ(windows.obstacle(), std::nullopt);
    ASSERT_TRUE(workspace.frontmostApplication()->activate(option));
    EXPECT_EQ(windows.obstacle(), std::nullopt);

    auto other = std::make_unique<TestWindow>("org.example.Other");
    ASSERT_TRUE(isInFront("org.example.Other"));
    EXPECT_EQ(windows.obstacle(), WaylandWindows::Obstacle::anotherWindowHasTheKeys);

    other.reset();
    EXPECT_TRUE(eventually([&] { return windows.obstacle() == std::nullopt; }));

    meant.reset();
    EXPECT_TRUE(eventually([&] { return windows.obstacle() == WaylandWindows::Obstacle::windowIsGone; }));
}

} // namespace
} // namespace glimmerwick::contract
