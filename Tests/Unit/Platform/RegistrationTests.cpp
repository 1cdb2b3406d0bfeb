#include "Platform/Registration.h"

#include "Platform/Lifetime.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace glimmerwick {
namespace {

TEST(Registration, UndoesWhenItIsDestroyed)
{
    int undone = 0;
    {
        const Registration registration([&] { ++undone; });
        EXPECT_TRUE(registration);
        EXPECT_EQ(undone, 0);
    }

    EXPECT_EQ(undone, 1);
}

TEST(Registration, UndoesOnceWhenItIsReset)
{
    int undone = 0;
    Registration registration([&] { ++undone; });

    registration.reset();
    registration.reset();

    EXPECT_EQ(undone, 1);
    EXPECT_FALSE(registration);
}

TEST(Registration, HandsTheUndoingOnWhenItIsMoved)
{
    int undone = 0;
    Registration first([&] { ++undone; });
    {
        const Registration second(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_TRUE(second);
        EXPECT_EQ(undone, 0);
    }

    EXPECT_EQ(undone, 1);
}

TEST(Registration, UndoesWhatItHeldWhenAnotherIsAssigned)
{
    int firstUndone = 0;
    int secondUndone = 0;
    Registration registration([&] { ++firstUndone; });

    registration = Registration([&] { ++secondUndone; });

    EXPECT_EQ(firstUndone, 1);
    EXPECT_EQ(secondUndone, 0);
}

TEST(Registration, NeverUndoesOnceReleased)
{
    int undone = 0;
    {
        Registration registration([&] { ++undone; });
        registration.release();
    }

    EXPECT_EQ(undone, 0);
}

TEST(Registration, MayBeResetFromItsOwnUndoing)
{
    int undone = 0;
    Registration registration;
    registration = Registration([&] {
        ++undone;
        registration.reset();
    });

    registration.reset();

    EXPECT_EQ(undone, 1);
}

TEST(Lifetime, IsWatchedUntilItEnds)
{
    auto lifetime = std::make_unique<Lifetime>();
    const auto alive = lifetime->watch();
    EXPECT_TRUE(alive);

    lifetime.reset();

    EXPECT_FALSE(alive);
}

} // namespace
} // namespace glimmerwick
