#include "Views/Logic/VisibleCategoryTracker.h"

#include "Fakes/SampleManifest.h"

#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using Tops = std::vector<std::optional<double>>;

class VisibleCategoryTrackerTests : public ::testing::Test {
protected:
    VisibleCategoryTrackerTests() { sections.setManifest(fakes::sampleManifest()); }

    void addRecent() { sections.setRecentEmojis({*fakes::sampleManifest().emoji("1f600")}); }

    GridSections sections;
    VisibleCategoryTracker tracker;
};

TEST_F(VisibleCategoryTrackerTests, takesTheLowestHeaderAtMostFiftyPointsBelowTheTop)
{
    const Tops tops{0, 500, 900};

    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(0, tops), 0U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(449, tops), 0U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(450, tops), 1U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(849, tops), 1U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(5000, tops), 2U);
}

TEST_F(VisibleCategoryTrackerTests, takesTheFirstSectionWhenEveryHeaderIsFarBelow)
{
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(0, {60, 500}), 0U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(0, {}), 0U);
}

TEST_F(VisibleCategoryTrackerTests, skipsSectionsWithoutAHeader)
{
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(100, {0, std::nullopt, 120}), 2U);
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(0, {std::nullopt, 200, 300}), 1U)
        << "the nearest one below";
    EXPECT_EQ(VisibleCategoryTracker::sectionAtTop(0, {std::nullopt, std::nullopt}), 0U);
}

TEST_F(VisibleCategoryTrackerTests, tellsEachChangeOnce)
{
    EXPECT_EQ(tracker.update(0, {0, 500}, sections), 0U);
    EXPECT_EQ(tracker.update(10, {0, 500}, sections), std::nullopt);
    EXPECT_EQ(tracker.update(460, {0, 500}, sections), 1U);
    EXPECT_EQ(tracker.update(480, {0, 500}, sections), std::nullopt);
    EXPECT_EQ(tracker.current(), "people");
}

TEST_F(VisibleCategoryTrackerTests, recordsTheRecentSectionWithoutTelling)
{
    addRecent();
    ASSERT_EQ(tracker.update(460, {0, 500, 900}, sections), 0U);

    EXPECT_EQ(tracker.update(0, {0, 500, 900}, sections), std::nullopt);

    EXPECT_EQ(tracker.current(), "recent");
    EXPECT_EQ(tracker.update(460, {0, 500, 900}, sections), 0U) << "coming back is a change again";
}

TEST_F(VisibleCategoryTrackerTests, doesNotTellOfACategoryRecordedBefore)
{
    tracker.setCurrent("people");

    EXPECT_EQ(tracker.update(460, {0, 500}, sections), std::nullopt);
}

TEST_F(VisibleCategoryTrackerTests, tellsAgainAfterAReset)
{
    ASSERT_EQ(tracker.update(0, {0, 500}, sections), 0U);
    tracker.reset();

    EXPECT_EQ(tracker.update(0, {0, 500}, sections), 0U);
}

TEST_F(VisibleCategoryTrackerTests, doesNothingWithoutCategories)
{
    const GridSections none;

    EXPECT_EQ(tracker.update(0, {}, none), std::nullopt);
    EXPECT_EQ(tracker.current(), std::nullopt);
}

} // namespace
} // namespace glimmerwick
