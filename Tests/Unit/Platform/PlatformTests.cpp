#include "Platform/Platform.h"

#include "Fakes/FakePlatform.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {
namespace {

std::vector<std::string> events;

struct Older {
    Older() { events.emplace_back("made older"); }
    ~Older() { events.emplace_back("destroyed older"); }

    static Older& shared()
    {
        return InstalledPlatform::sharedInstance<Older>(
            [](const Platform&) { return std::make_unique<Older>(); });
    }
};

/// Asks for the other one while it is made and again while it goes.
struct Younger {
    Younger() : older(Older::shared()) { events.emplace_back("made younger"); }
    ~Younger() { events.emplace_back(&Older::shared() == &older ? "destroyed younger" : "lost older"); }

    static Younger& shared()
    {
        return InstalledPlatform::sharedInstance<Younger>(
            [](const Platform&) { return std::make_unique<Younger>(); });
    }

    Older& older;
};

struct Logging {
    explicit Logging(Log& ofPlatform) : log(ofPlatform) { }

    static Logging& shared()
    {
        return InstalledPlatform::sharedInstance<Logging>(
            [](const Platform& platform) { return std::make_unique<Logging>(platform.log); });
    }

    Log& log;
};

class InstalledPlatformTests : public testing::Test {
protected:
    InstalledPlatformTests() { events.clear(); }

    fakes::FakePlatform fakes;
};

using Events = std::vector<std::string>;

TEST_F(InstalledPlatformTests, GivesTheSetThatWasInstalled)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_EQ(&InstalledPlatform::current().log, &fakes.log);
    EXPECT_EQ(&InstalledPlatform::current().process, &fakes.process);
}

TEST_F(InstalledPlatformTests, MakesASharedInstanceOnFirstUseAndOnce)
{
    const InstalledPlatform installed(fakes.platform);
    EXPECT_TRUE(events.empty());

    Older& first = Older::shared();
    Older& second = Older::shared();

    EXPECT_EQ(&first, &second);
    EXPECT_EQ(events, Events{"made older"});
}

TEST_F(InstalledPlatformTests, MakesSharedInstancesFromTheInstalledSet)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_EQ(&Logging::shared().log, &fakes.log);
}

TEST_F(InstalledPlatformTests, DestroysTheYoungestInstanceFirstAlsoWhenOneAsksForAnotherWhileItIsMade)
{
    {
        const InstalledPlatform installed(fakes.platform);
        Younger::shared();
        events.clear();
    }

    EXPECT_EQ(events, (Events{"destroyed younger", "destroyed older"}));
}

TEST_F(InstalledPlatformTests, MakesNewInstancesForTheNextSet)
{
    fakes::FakePlatform others;
    {
        const InstalledPlatform installed(fakes.platform);
        Logging::shared();
    }
    const InstalledPlatform installed(others.platform);

    EXPECT_EQ(&Logging::shared().log, &others.log);
}

using InstalledPlatformDeathTest = InstalledPlatformTests;

TEST_F(InstalledPlatformDeathTest, StopsAProgramThatAsksWithoutOne)
{
    EXPECT_DEATH(InstalledPlatform::current(), "no platform is installed");
    EXPECT_DEATH(Older::shared(), "no platform is installed");
}

TEST_F(InstalledPlatformDeathTest, StopsAProgramThatInstallsTwo)
{
    const InstalledPlatform installed(fakes.platform);

    EXPECT_DEATH(InstalledPlatform(fakes.platform), "a platform is installed already");
}

} // namespace
} // namespace glimmerwick
