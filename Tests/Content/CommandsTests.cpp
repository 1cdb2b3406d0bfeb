#include "Commands.h"
#include "Files.h"

#include "Contract/TemporaryFolder.h"
#include "TinyPackages.h"

#include "Models/Manifest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace glimmerwick {
namespace {

using std::filesystem::path;
using testing::Contains;
using testing::HasSubstr;

class CommandsTests : public testing::Test {
protected:
    CommandsTests()
    {
        writeTinyPackages(packages);
        writeTinyContent(content);
    }

    Result<Success, GeneratorError> makeManifest(const std::string& locale = "en") const
    {
        return runManifest(std::vector<std::string>{"--packages", packages.string(), "--content",
                                                    content.string(), "--locale", locale, "--output",
                                                    output.string()});
    }

    Result<Success, GeneratorError> check() const
    {
        return runCheck(std::vector<std::string>{"--manifest", output.string(), "--sequences",
                                                 (content / "sequences.txt").string()});
    }

    const contract::TemporaryFolder folder;
    const path packages = folder.path() / "packages";
    const path content = folder.path() / "content";
    const path output = folder.path() / "manifest.json";
};

TEST_F(CommandsTests, TheManifestIsWrittenTheSameEachTime)
{
    ASSERT_TRUE(makeManifest());
    const std::string first = readFile(output).value();
    ASSERT_TRUE(makeManifest());

    EXPECT_EQ(readFile(output).value(), first);
    const auto manifest = Manifest::decode(first);
    ASSERT_TRUE(manifest);
    EXPECT_EQ(manifest.value().version(), "1");
    EXPECT_THAT(manifest.value().emoji("1f600")->keywords, Contains("cheese"));
    EXPECT_FALSE(exists(path(output.string() + ".unfinished")));
}

TEST_F(CommandsTests, ALocaleGetsItsOwnNames)
{
    ASSERT_TRUE(makeManifest("de"));

    const auto manifest = Manifest::decode(readFile(output).value());
    EXPECT_EQ(manifest.value().emoji("1f600")->name, "grinsendes Gesicht");
    EXPECT_THAT(manifest.value().emoji("1f600")->keywords, Contains("grinning face"));
}

TEST_F(CommandsTests, WhatTheGeneratorCannotReadIsNamedAndNothingIsWritten)
{
    writeText(content / "edition.json", R"({"version": 1})");
    EXPECT_THAT(makeManifest().error().description, HasSubstr("edition.json: "));

    writeTinyContent(content);
    writeText(content / "sequences.txt", "1f600\nnot a codepoint\n");
    EXPECT_THAT(makeManifest().error().description, HasSubstr("no codepoint string: not a codepoint"));

    writeText(content / "sequences.txt", "1f600\n1f600\n");
    EXPECT_THAT(makeManifest().error().description, HasSubstr("repeated: 1f600"));

    writeTinyContent(content);
    remove(content / "synonyms");
    EXPECT_THAT(makeManifest().error().description, HasSubstr("synonyms"));
    EXPECT_FALSE(exists(output));
}

TEST_F(CommandsTests, MissingOptionsAreNamed)
{
    EXPECT_EQ(runManifest(std::vector<std::string>{"--packages", "x"}).error().description,
              "--content is missing");
    EXPECT_EQ(runCheck({}).error().description, "--manifest is missing");
}

TEST_F(CommandsTests, TheCheckTellsAGoodManifestFromABadOne)
{
    ASSERT_TRUE(makeManifest());
    const auto outcome = check();
    // The tiny catalogue has none of the icons but 😀 and ❤️.
    EXPECT_EQ(outcome.error().description, output.string() + " breaks 7 rules");

    remove(output);
    EXPECT_THAT(check().error().description, HasSubstr(output.string()));
}

} // namespace
} // namespace glimmerwick
