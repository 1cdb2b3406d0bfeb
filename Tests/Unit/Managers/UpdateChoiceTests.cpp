#include "Managers/UpdateChoice.h"

#include <gtest/gtest.h>

#include <string>
#include <variant>

namespace glimmerwick {
namespace {

ReleaseVersion version(const std::string& text)
{
    return *ReleaseVersion::parse(text);
}

UpdateItem item(const std::string& text, const std::string& minimum = "",
                const std::vector<std::string>& architectures = {"amd64"})
{
    UpdateItem result{version(text), ReleaseVersion::parse(minimum), "Notes of " + text, {}};
    for (const std::string& architecture : architectures) {
        result.enclosures.push_back(
            {"https://example.invalid/" + text + "-" + architecture, 5, architecture, "signature"});
    }
    return result;
}

UpdateTarget target(const std::string& installed, const std::string& system = "2.36",
                    const std::string& architecture = "amd64")
{
    return {version(installed), architecture, ReleaseVersion::parse(system)};
}

std::string describe(const UpdateChoice& choice)
{
    if (const auto* newer = std::get_if<NewerRelease>(&choice)) {
        return newer->version.text() + " from " + newer->enclosure.url;
    }
    const auto* needing = std::get_if<NeedsNewerSystem>(&choice);
    return needing ? needing->version.text() + " needs a newer system" : "nothing";
}

TEST(UpdateChoiceTests, TheNewestIsChosenWhereverItStands)
{
    const std::string newest = "0.10.0 from https://example.invalid/0.10.0-amd64";

    EXPECT_EQ(describe(chooseUpdate({1, {item("0.9.0"), item("0.10.0"), item("0.2.0")}}, target("0.1.0"))),
              newest);
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.10.0"), item("0.9.0")}}, target("0.1.0"))), newest);
}

TEST(UpdateChoiceTests, ItComesWithItsNotesAndItsEnclosure)
{
    const auto choice = chooseUpdate({1, {item("0.2.0", "", {"arm64", "amd64"})}}, target("0.1.0"));

    const auto& newer = std::get<NewerRelease>(choice);
    EXPECT_EQ(newer.notes, "Notes of 0.2.0");
    EXPECT_EQ(newer.enclosure.architecture, "amd64");
    EXPECT_EQ(newer.enclosure.length, 5U);
}

TEST(UpdateChoiceTests, TheInstalledVersionAndOlderOnesAreNoUpdates)
{
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.2.0"), item("0.1.0")}}, target("0.2.0"))), "nothing");
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.2")}}, target("0.2.0"))), "nothing");
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.1.9")}}, target("0.2.0"))), "nothing");
    EXPECT_EQ(describe(chooseUpdate({1, {}}, target("0.2.0"))), "nothing");
}

TEST(UpdateChoiceTests, PreReleasesAreForThoseWhoRunOne)
{
    const UpdateFeed feed{1, {item("0.2.0-rc.1"), item("0.1.5")}};

    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0"))),
              "0.1.5 from https://example.invalid/0.1.5-amd64");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.5"))), "nothing");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0-rc.3"))),
              "0.2.0-rc.1 from https://example.invalid/0.2.0-rc.1-amd64");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.2.0-rc.1"))), "nothing");
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.2.0"), item("0.2.0-rc.2")}}, target("0.2.0-rc.1"))),
              "0.2.0 from https://example.invalid/0.2.0-amd64");
}

TEST(UpdateChoiceTests, OnlyWhatIsForThisArchitectureCounts)
{
    const UpdateFeed feed{1, {item("0.3.0", "", {"arm64"}), item("0.2.0", "", {"amd64", "arm64"})}};

    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0"))),
              "0.2.0 from https://example.invalid/0.2.0-amd64");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0", "2.36", "arm64"))),
              "0.3.0 from https://example.invalid/0.3.0-arm64");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0", "2.36", "riscv64"))), "nothing");
}

TEST(UpdateChoiceTests, AReleaseThatNeedsANewerSystemIsPassedOver)
{
    const UpdateFeed feed{1, {item("0.3.0", "2.40"), item("0.2.0", "2.36")}};

    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0"))),
              "0.2.0 from https://example.invalid/0.2.0-amd64");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0", "2.40"))),
              "0.3.0 from https://example.invalid/0.3.0-amd64");
}

TEST(UpdateChoiceTests, WhenAllNewerOnesNeedANewerSystemTheNewestIsNamed)
{
    const UpdateFeed feed{1, {item("0.2.0", "2.37"), item("0.3.0", "2.40"), item("0.1.0")}};

    EXPECT_EQ(describe(chooseUpdate(feed, target("0.1.0"))), "0.3.0 needs a newer system");
    EXPECT_EQ(describe(chooseUpdate(feed, target("0.3.0"))), "nothing");
}

TEST(UpdateChoiceTests, AnUnknownSystemGetsWhatRunsOnAny)
{
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.3.0", "2.1"), item("0.2.0")}}, target("0.1.0", "unknown"))),
              "0.2.0 from https://example.invalid/0.2.0-amd64");
    EXPECT_EQ(describe(chooseUpdate({1, {item("0.3.0", "2.1")}}, target("0.1.0", "unknown"))),
              "0.3.0 needs a newer system");
}

} // namespace
} // namespace glimmerwick
