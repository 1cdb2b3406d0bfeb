#include "Commands.h"
#include "EmojiFont.h"
#include "ExternalProgram.h"
#include "Files.h"
#include "ImageCanvas.h"

#include "Contract/TemporaryFolder.h"
#include "TinyFont.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::string_view thumbsUp =
    R"("1f44d": {"char": "👍", "name": "thumbs up", "keywords": [], "category": "c", "skinTones": true})";
/// Its key is bare; its text is not.
constexpr std::string_view keycap =
    R"("31-20e3": {"char": "1️⃣", "name": "keycap 1", "keywords": [], "category": "c", "skinTones": false})";
constexpr std::string_view orca =
    R"("1facd": {"char": "🫍", "name": "orca", "keywords": [], "category": "c", "skinTones": false})";
constexpr std::string_view landslide =
    R"("1f6d8": {"char": "🛘", "name": "landslide", "keywords": [], "category": "c", "skinTones": false})";
constexpr std::string_view trombone =
    R"("1fa8a": {"char": "🪊", "name": "trombone", "keywords": [], "category": "c", "skinTones": true})";
constexpr std::string_view noCodepoint =
    R"("../up": {"char": "👍", "name": "up", "keywords": [], "category": "c", "skinTones": false})";

class ImagesCommandTests : public ::testing::Test {
protected:
    ImagesCommandTests()
    {
        std::filesystem::create_directories(iconFolder);
        std::filesystem::create_directories(fontFolder);
        writeIcons("{}", R"({"icons": {}})");
    }

    void writeManifest(const std::vector<std::string_view>& emojis)
    {
        std::string document = R"({"version": "1", "lastUpdated": "", "categories": [], "emojis": {)";
        std::string_view separator;
        for (const std::string_view emoji : emojis) {
            document.append(separator).append(emoji);
            separator = ",";
        }
        ASSERT_TRUE(replaceFile(manifest, document + "}}"));
    }

    void writeIcons(std::string_view names, std::string_view icons)
    {
        ASSERT_TRUE(replaceFile(iconFolder / "chars.json", names));
        ASSERT_TRUE(replaceFile(iconFolder / "icons.json", icons));
    }

    /// A drawing of an orca: a circle.
    void writeOrcaIcon()
    {
        writeIcons(R"({"1facd": "orca"})", R"({"width": 8, "height": 8, "icons": {
            "orca": {"body": "<circle cx='4' cy='4' r='3' fill='navy'/>"}}})");
    }

    /// Runs the command; what it prints is kept.
    Result<Success, GeneratorError> run(const std::vector<std::string>& more = {})
    {
        std::vector<std::string> words = {"--packages",      packages.string(), "--manifest",
                                          manifest.string(), "--output",        output.string()};
        words.insert(words.end(), more.begin(), more.end());
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        auto outcome = runImages(words);
        printed = testing::internal::GetCapturedStdout();
        complaints = testing::internal::GetCapturedStderr();
        return outcome;
    }

    std::vector<std::string> outputFiles() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(output)) {
            names.push_back(entry.path().filename().string());
        }
        std::ranges::sort(names);
        return names;
    }

    std::string image(const std::string& codepoint) const
    {
        const auto bytes = readFile(output / (codepoint + ".png"));
        EXPECT_TRUE(bytes) << bytes.error().description;
        return bytes ? bytes.value() : "";
    }

    static std::string bitmap(std::string_view text)
    {
        const auto font = EmojiFont::installed();
        EXPECT_TRUE(font);
        return font ? font.value().bitmap(text).value_or("") : "";
    }

    contract::TemporaryFolder folder;
    std::filesystem::path packages = folder.path() / "packages";
    std::filesystem::path iconFolder = packages / "@iconify-json" / "noto";
    std::filesystem::path fontFolder = packages / "@fontsource" / "noto-color-emoji" / "files";
    std::filesystem::path manifest = folder.path() / "manifest.json";
    std::filesystem::path output = folder.path() / "made" / "images";
    std::string printed;
    std::string complaints;
};

TEST_F(ImagesCommandTests, writesAnEmojiAndItsFiveTonesAsTheFontHasThem)
{
    writeManifest({thumbsUp});

    const auto outcome = run();

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_THAT(outputFiles(),
                ElementsAre("1f44d-1f3fb.png", "1f44d-1f3fc.png", "1f44d-1f3fd.png", "1f44d-1f3fe.png",
                            "1f44d-1f3ff.png", "1f44d.png"));
    EXPECT_EQ(image("1f44d"), bitmap("\U0001F44D"));
    EXPECT_EQ(image("1f44d-1f3fd"), bitmap("\U0001F44D\U0001F3FD"));
    EXPECT_EQ(printed, "6 images from the installed font, 0 from the icons, 0 from the web font\n");
    EXPECT_EQ(complaints, "");
}

TEST_F(ImagesCommandTests, drawsTheTextOfAnEmojiWhoseKeyIsBare)
{
    writeManifest({keycap});

    ASSERT_TRUE(run());

    EXPECT_THAT(outputFiles(), ElementsAre("31-20e3.png"));
    EXPECT_EQ(image("31-20e3"), bitmap("1\ufe0f\u20e3"));
}

TEST_F(ImagesCommandTests, drawsAnIconWhereTheFontHasNothing)
{
    writeManifest({orca});
    writeOrcaIcon();

    const auto outcome = run();

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_EQ(sizeOfPng(image("1facd")), canvasSize);
    EXPECT_EQ(printed, "0 images from the installed font, 1 from the icons, 0 from the web font\n");
}

TEST_F(ImagesCommandTests, drawsFromTheWebFontWhatTheIconsLack)
{
    writeManifest({orca, landslide});
    writeOrcaIcon();
    const auto font = fontFolder / "noto-color-emoji-emoji-400-normal.ttf";
    ASSERT_TRUE(replaceFile(
        font,
        tests::TinyFont::bytes(U'\U0001F6D8',
                               R"(<svg xmlns="http://www.w3.org/2000/svg">)"
                               R"(<rect id="glyph1" y="-500" width="500" height="500"/></svg>)")));
    ASSERT_TRUE(runProgram({"woff2_compress", font.string()}));
    const auto packed = readFile(fontFolder / "noto-color-emoji-emoji-400-normal.woff2").value();

    const auto outcome = run();

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_EQ(sizeOfPng(image("1f6d8")), canvasSize);
    EXPECT_EQ(printed, "0 images from the installed font, 1 from the icons, 1 from the web font\n");
    EXPECT_EQ(readFile(fontFolder / "noto-color-emoji-emoji-400-normal.woff2").value(), packed);
}

TEST_F(ImagesCommandTests, namesWhatNoSourceHasAndGoesOn)
{
    writeManifest({landslide, orca, thumbsUp});
    writeOrcaIcon();

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: 1f6d8");
    EXPECT_THAT(complaints, HasSubstr("1f6d8: "));
    EXPECT_EQ(outputFiles().size(), 7U);
    EXPECT_EQ(printed, "6 images from the installed font, 1 from the icons, 0 from the web font\n");
}

TEST_F(ImagesCommandTests, namesATonedFormThatNoSourceHas)
{
    writeManifest({trombone});
    writeIcons(R"({"1fa8a": "t", "1fa8a-1f3fc": "t", "1fa8a-1f3fd": "t", "1fa8a-1f3fe": "t",
                   "1fa8a-1f3ff": "t"})",
               R"({"icons": {"t": {"body": "<path d='M0 0h9v9z'/>"}}})");

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: 1fa8a-1f3fb");
    EXPECT_EQ(outputFiles().size(), 5U);
}

TEST_F(ImagesCommandTests, namesADrawingThatCannotBeRendered)
{
    writeManifest({orca});
    writeIcons(R"({"1facd": "orca"})", R"({"icons": {"orca": {"body": "<circle"}}})");

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: 1facd");
    EXPECT_THAT(complaints, HasSubstr("1facd: rsvg-convert failed"));
    EXPECT_TRUE(outputFiles().empty());
}

TEST_F(ImagesCommandTests, writesNothingForAKeyThatIsNoCodepointString)
{
    writeManifest({noCodepoint, keycap});

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: ../up");
    EXPECT_EQ(complaints, "../up: is no codepoint string\n");
    EXPECT_THAT(outputFiles(), ElementsAre("31-20e3.png"));
    EXPECT_FALSE(std::filesystem::exists(output.parent_path() / "up.png"));
}

TEST_F(ImagesCommandTests, leavesEqualFilesAloneAndReplacesOthers)
{
    writeManifest({keycap, thumbsUp});
    ASSERT_TRUE(run());
    const auto old = std::filesystem::file_time_type::clock::now() - std::chrono::hours(24);
    std::filesystem::last_write_time(output / "31-20e3.png", old);
    ASSERT_TRUE(replaceFile(output / "1f44d.png", "damaged"));

    ASSERT_TRUE(run());

    EXPECT_EQ(std::filesystem::last_write_time(output / "31-20e3.png"), old);
    EXPECT_EQ(image("1f44d"), bitmap("\U0001F44D"));
}

TEST_F(ImagesCommandTests, removesTheImagesThatAreNoLongerWantedAndNothingElse)
{
    writeManifest({thumbsUp, keycap});
    ASSERT_TRUE(run());
    ASSERT_TRUE(replaceFile(output / "notes.txt", "kept"));
    ASSERT_TRUE(replaceFile(output / "1f600.png.unfinished", "kept"));
    std::filesystem::create_directories(output / "folder.png");
    writeManifest({keycap});

    const auto outcome = run();

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_THAT(outputFiles(), ElementsAre("1f600.png.unfinished", "31-20e3.png", "folder.png", "notes.txt"));
}

TEST_F(ImagesCommandTests, removesOnTheSwitchWhatTheFontDraws)
{
    writeManifest({keycap, orca});
    writeOrcaIcon();
    ASSERT_TRUE(run());

    const auto outcome = run({"--missing-from-font"});

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_THAT(outputFiles(), ElementsAre("1facd.png"));
}

TEST_F(ImagesCommandTests, keepsTheOldImageOfWhatCannotBeDrawnAnew)
{
    writeManifest({orca});
    writeOrcaIcon();
    ASSERT_TRUE(run());
    writeIcons("{}", R"({"icons": {}})");

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: 1facd");
    EXPECT_THAT(outputFiles(), ElementsAre("1facd.png"));
}

TEST_F(ImagesCommandTests, removesNothingWithoutAReadableManifest)
{
    writeManifest({keycap});
    ASSERT_TRUE(run());
    ASSERT_TRUE(replaceFile(manifest, "{}"));

    EXPECT_FALSE(run());

    EXPECT_THAT(outputFiles(), ElementsAre("31-20e3.png"));
}

TEST_F(ImagesCommandTests, writesOnTheSwitchOnlyUntonedEmojiThatTheFontLacks)
{
    writeManifest({thumbsUp, orca, trombone});
    writeIcons(R"({"1facd": "p", "1fa8a": "p"})", R"({"icons": {"p": {"body": "<path d='M0 0h9v9z'/>"}}})");

    const auto outcome = run({"--missing-from-font"});

    ASSERT_TRUE(outcome) << outcome.error().description;
    EXPECT_THAT(outputFiles(), ElementsAre("1fa8a.png", "1facd.png"));
}

TEST_F(ImagesCommandTests, needsNoPackagesForWhatTheFontHas)
{
    writeManifest({keycap});
    std::filesystem::remove_all(packages);

    EXPECT_TRUE(run());
}

TEST_F(ImagesCommandTests, namesTheMissingPackage)
{
    writeManifest({orca});
    std::filesystem::remove_all(packages);

    EXPECT_FALSE(run());

    EXPECT_THAT(complaints, HasSubstr("1facd: cannot read " + (iconFolder / "chars.json").string()));
}

TEST_F(ImagesCommandTests, failsWhenTheOutputIsNoFolder)
{
    writeManifest({keycap});
    ASSERT_TRUE(replaceFile(output.parent_path(), "a file"));

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_THAT(outcome.error().description, HasSubstr("cannot create folder " + output.string()));
}

TEST_F(ImagesCommandTests, namesAFileThatCannotBeWrittenAndGoesOn)
{
    writeManifest({keycap, orca});
    writeOrcaIcon();
    std::filesystem::create_directories(output / "31-20e3.png" / "in the way");

    const auto outcome = run();

    ASSERT_FALSE(outcome);
    EXPECT_EQ(outcome.error().description, "images are missing: 31-20e3");
    EXPECT_EQ(printed, "0 images from the installed font, 1 from the icons, 0 from the web font\n");
    EXPECT_EQ(sizeOfPng(image("1facd")), canvasSize);
}

TEST_F(ImagesCommandTests, failsWithoutAReadableManifest)
{
    EXPECT_THAT(run().error().description, HasSubstr("cannot read " + manifest.string()));

    ASSERT_TRUE(replaceFile(manifest, "{}"));
    EXPECT_THAT(run().error().description, HasSubstr(manifest.string() + ": version"));
}

TEST_F(ImagesCommandTests, failsWithoutAnOption)
{
    EXPECT_EQ(runImages({}).error().description, "--packages is missing");
}

} // namespace
} // namespace glimmerwick
