#include "Files.h"
#include "IconSet.h"

#include "Contract/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace glimmerwick {
namespace {

using ::testing::HasSubstr;

class IconSetTests : public ::testing::Test {
protected:
    Result<IconSet, GeneratorError> load(std::string_view names, std::string_view icons)
    {
        EXPECT_TRUE(replaceFile(folder.path() / "chars.json", names));
        EXPECT_TRUE(replaceFile(folder.path() / "icons.json", icons));
        return IconSet::load(folder.path());
    }

    contract::TemporaryFolder folder;
};

TEST_F(IconSetTests, FindsDrawingsByCodepointString)
{
    const auto icons = load(R"({"1facd": "whale", "1f3f3-200d-1f308": "flag", "00a9": "copyright"})",
                            R"({"width": 32, "height": 32, "icons": {
                                "whale": {"body": "<path id='whale'/>"},
                                "flag": {"body": "<path id='flag'/>"},
                                "copyright": {"body": "<path id='copyright'/>"}}})");
    ASSERT_TRUE(icons) << icons.error().description;

    EXPECT_THAT(icons.value().drawing("1facd").value_or(""), HasSubstr("<path id='whale'/>"));
    EXPECT_THAT(icons.value().drawing("1f3f3-fe0f-200d-1f308").value_or(""), HasSubstr("<path id='flag'/>"));
    EXPECT_THAT(icons.value().drawing("a9-fe0f").value_or(""), HasSubstr("<path id='copyright'/>"));
    EXPECT_EQ(icons.value().drawing("1f308"), std::nullopt);
    EXPECT_EQ(icons.value().drawing(""), std::nullopt);
}

TEST_F(IconSetTests, CentresADrawingOnTheCanvas)
{
    const auto icons = load(R"({"1facd": "whale"})",
                            R"({"width": 32, "height": 32, "icons": {"whale": {"body": "<path/>"}}})");
    ASSERT_TRUE(icons) << icons.error().description;

    const std::string drawing = icons.value().drawing("1facd").value_or("");

    EXPECT_THAT(drawing, HasSubstr(R"(width="136" height="128" viewBox="0 0 136 128")"));
    EXPECT_THAT(drawing, HasSubstr(R"(<svg width="136" height="128" viewBox="0 0 32 32"><path/></svg>)"));
}

TEST_F(IconSetTests, UsesAnIconsOwnMeasures)
{
    const auto icons = load(R"({"1facd": "whale"})", R"({"width": 32, "height": 32, "icons": {
        "whale": {"body": "<path/>", "left": 1, "top": 2, "width": 20}}})");
    ASSERT_TRUE(icons) << icons.error().description;

    EXPECT_THAT(icons.value().drawing("1facd").value_or(""), HasSubstr(R"(viewBox="1 2 20 32")"));
}

TEST_F(IconSetTests, LacksAnIconThatIsNamedButNotThere)
{
    const auto icons =
        load(R"({"1facd": "whale", "1f6d8": 5})", R"({"icons": {"other": {"body": ""}, "whale": {}}})");
    ASSERT_TRUE(icons) << icons.error().description;

    EXPECT_EQ(icons.value().drawing("1facd"), std::nullopt);
    EXPECT_EQ(icons.value().drawing("1f6d8"), std::nullopt);
}

TEST_F(IconSetTests, IsRefusedWhenAFileIsMissingOrNoJson)
{
    EXPECT_THAT(IconSet::load(folder.path()).error().description,
                HasSubstr("cannot read " + (folder.path() / "chars.json").string()));
    EXPECT_EQ(load("{}", "[1]").error().description,
              (folder.path() / "icons.json").string() + " holds no JSON object");
    EXPECT_EQ(load("{", "{}").error().description,
              (folder.path() / "chars.json").string() + " holds no JSON object");
}

} // namespace
} // namespace glimmerwick
