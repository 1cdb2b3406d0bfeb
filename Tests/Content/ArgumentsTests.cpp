#include "Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {
namespace {

constexpr std::array<std::string_view, 2> options = {"--output", "--locale"};
constexpr std::array<std::string_view, 1> switches = {"--all"};

Result<Arguments, GeneratorError> parse(const std::vector<std::string>& words)
{
    return Arguments::parse(words, options, switches);
}

TEST(Arguments, TellsValuesAndSwitches)
{
    const auto arguments = parse({"--all", "--output", "a folder"});

    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments.value().value("--output").value(), "a folder");
    EXPECT_TRUE(arguments.value().has("--all"));
    EXPECT_EQ(arguments.value().optionalValue("--locale"), std::nullopt);
}

TEST(Arguments, FailsForAMissingOption)
{
    const auto arguments = parse({});

    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments.value().value("--output").error().description, "--output is missing");
    EXPECT_FALSE(arguments.value().has("--all"));
}

TEST(Arguments, RefusesWhatItDoesNotKnow)
{
    EXPECT_EQ(parse({"--colour", "red"}).error().description, "unknown option --colour");
    EXPECT_EQ(parse({"file"}).error().description, "unknown option file");
    EXPECT_EQ(parse({"--output"}).error().description, "--output needs a value");
    EXPECT_EQ(parse({"--output", "a", "--output", "b"}).error().description, "--output is given twice");
}

} // namespace
} // namespace glimmerwick
