#include "Views/Logic/GridSections.h"

#include "Fakes/SampleManifest.h"

#include <gmock/gmock.h>

namespace glimmerwick {
namespace {

Emoji makeEmoji(const std::string& codepoint)
{
    return {codepoint, "text of " + codepoint, codepoint, {}, "any", false};
}

class GridSectionsTests : public ::testing::Test {
protected:
    GridSectionsTests() { sections.setManifest(fakes::sampleManifest()); }

    GridSections sections;
};

TEST_F(GridSectionsTests, isEmptyBeforeTheManifest)
{
    const GridSections empty;

    EXPECT_EQ(empty.numberOfSections(), 0U);
    EXPECT_EQ(empty.numberOfItems(0), 0U);
    EXPECT_EQ(empty.title(0), std::nullopt);
}

TEST_F(GridSectionsTests, withoutRecentEmojiTheFirstSectionIsTheFirstCategory)
{
    EXPECT_EQ(sections.numberOfSections(), 2U);
    EXPECT_EQ(sections.title(0), "Smileys");
    EXPECT_EQ(sections.title(1), "People");
    EXPECT_EQ(sections.numberOfItems(0), 2U);
    EXPECT_EQ(sections.emoji({0, 1})->codepoint, "1f601");
    EXPECT_EQ(sections.section("people"), 1U);
}

TEST_F(GridSectionsTests, recentEmojiMoveEveryCategoryDownByOne)
{
    sections.setRecentEmojis({makeEmoji("1f44b")});

    EXPECT_EQ(sections.numberOfSections(), 3U);
    EXPECT_EQ(sections.title(0), "Recent");
    EXPECT_EQ(sections.emoji({0, 0})->codepoint, "1f44b");
    EXPECT_EQ(sections.title(1), "Smileys");
    EXPECT_EQ(sections.section("people"), 2U);
}

TEST_F(GridSectionsTests, searchShowsOneSectionOfResults)
{
    sections.setRecentEmojis({makeEmoji("1f44b")});
    sections.showSearchResults({makeEmoji("1f601"), makeEmoji("1f600")});

    EXPECT_EQ(sections.numberOfSections(), 1U);
    EXPECT_EQ(sections.title(0), "Search Results");
    EXPECT_EQ(sections.numberOfItems(0), 2U);
    EXPECT_EQ(sections.emoji({0, 0})->codepoint, "1f601");
    EXPECT_EQ(sections.headerHeight(), 28);
}

TEST_F(GridSectionsTests, searchWithoutResultsShowsNoSectionAndNoHeader)
{
    sections.showSearchResults({});

    EXPECT_TRUE(sections.isSearching());
    EXPECT_TRUE(sections.hasNoSearchResults());
    EXPECT_EQ(sections.numberOfSections(), 0U);
    EXPECT_EQ(sections.numberOfItems(0), 0U);
    EXPECT_EQ(sections.headerHeight(), 0);
}

TEST_F(GridSectionsTests, clearingTheSearchRestoresTheCategories)
{
    sections.showSearchResults({});
    sections.clearSearch();

    EXPECT_FALSE(sections.isSearching());
    EXPECT_EQ(sections.numberOfSections(), 2U);
    EXPECT_EQ(sections.headerHeight(), 28);
}

TEST_F(GridSectionsTests, placesOutOfRangeShowNoEmoji)
{
    sections.setRecentEmojis({makeEmoji("1f44b")});

    EXPECT_EQ(sections.emoji({0, 1}), std::nullopt);
    EXPECT_EQ(sections.emoji({1, 2}), std::nullopt);
    EXPECT_EQ(sections.emoji({3, 0}), std::nullopt);
    EXPECT_EQ(sections.title(3), std::nullopt);
    EXPECT_EQ(sections.section("nowhere"), std::nullopt);
    EXPECT_EQ(sections.numberOfItems(3), 0U);
}

TEST_F(GridSectionsTests, codepointsThatTheMapLacksAreNotCounted)
{
    const std::string document = R"({"version": "1", "lastUpdated": "", "categories": [
        {"id": "a", "name": "A", "icon": "1f600", "emojis": ["1f600", "ffff0", "1f601"]}],
        "emojis": {
            "1f600": {"char": "x", "name": "", "keywords": [], "category": "a", "skinTones": false},
            "1f601": {"char": "y", "name": "", "keywords": [], "category": "a", "skinTones": false}}})";

    sections.setManifest(Manifest::decode(document).value());

    EXPECT_EQ(sections.totalEmojiCount(), 2U);
    EXPECT_EQ(sections.emoji({0, 1})->codepoint, "1f601");
}

TEST_F(GridSectionsTests, aNewManifestReplacesTheCategories)
{
    const std::string document = R"({"version": "2", "lastUpdated": "", "categories": [
        {"id": "people", "name": "Folk", "icon": "1f600", "emojis": ["1f600"]}],
        "emojis": {
            "1f600": {"char": "x", "name": "", "keywords": [], "category": "a", "skinTones": false}}})";

    sections.setManifest(Manifest::decode(document).value());

    EXPECT_EQ(sections.numberOfSections(), 1U);
    EXPECT_EQ(sections.title(0), "Folk");
    EXPECT_EQ(sections.totalEmojiCount(), 1U);
}

} // namespace
} // namespace glimmerwick
