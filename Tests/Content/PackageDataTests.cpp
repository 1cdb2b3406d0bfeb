#include "PackageData.h"

#include "Contract/TemporaryFolder.h"
#include "TinyPackages.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class PackageDataTests : public testing::Test {
protected:
    PackageDataTests() { writeTinyPackages(folder.path()); }

    std::string problem(const std::string& locale = "en") const
    {
        const auto data = loadPackageData(folder.path(), locale);
        return data ? "" : data.error().description;
    }

    const contract::TemporaryFolder folder;
};

TEST_F(PackageDataTests, JoinsWhatThePackagesSayOfAnEmoji)
{
    const auto data = loadPackageData(folder.path(), "en");

    ASSERT_TRUE(data) << data.error().description;
    ASSERT_EQ(data.value().size(), 9u);
    EXPECT_EQ(data.value()[0].slug, "smileys_emotion");
    EXPECT_EQ(data.value()[0].name, "smileys & emotion");
    const EmojiRecord& emoji = data.value()[0].emojis.at(0);
    EXPECT_EQ(emoji.text, "😀");
    EXPECT_EQ(emoji.name, "grinning face");
    EXPECT_THAT(emoji.tags, ElementsAre("grin"));
    EXPECT_THAT(emoji.shortcodes, ElementsAre("grinning", "gleeful"));
    EXPECT_THAT(emoji.emoticons, ElementsAre(":D", "=D"));
    EXPECT_THAT(emoji.libraryWords, ElementsAre("grinning_face", "smile"));
}

TEST_F(PackageDataTests, MatchesEmojiWhereverTheSelectorStands)
{
    const auto data = loadPackageData(folder.path(), "en");

    const EmojiRecord& heart = data.value()[7].emojis.at(0);
    EXPECT_EQ(heart.text, "❤️");
    EXPECT_THAT(heart.tags, ElementsAre("heart"));
    EXPECT_THAT(heart.emoticons, ElementsAre("<3"));
    EXPECT_THAT(heart.shortcodes, ElementsAre("heart"));
    EXPECT_THAT(heart.libraryWords, ElementsAre("love"));
}

TEST_F(PackageDataTests, GivesALocaleItsWordsAndTheEnglishNameWhereItHasNone)
{
    const auto data = loadPackageData(folder.path(), "de");

    ASSERT_TRUE(data) << data.error().description;
    EXPECT_EQ(data.value()[0].name, "smileys & emotionen");
    const EmojiRecord& face = data.value()[0].emojis.at(0);
    EXPECT_EQ(face.name, "grinsendes Gesicht");
    EXPECT_THAT(face.shortcodes, ElementsAre("grinsendes_gesicht"));
    EXPECT_THAT(face.libraryWords, IsEmpty());
    EXPECT_EQ(data.value()[7].emojis.at(0).name, "red heart");
}

TEST_F(PackageDataTests, NamesTheFileThatIsMissingOrMalformed)
{
    EXPECT_THAT(problem("xx"), HasSubstr("emojibase-data/xx/messages.json"));

    writeText(folder.path() / "emojilib/dist/emoji-en-US.json", "{");
    EXPECT_THAT(problem(), HasSubstr("emoji-en-US.json: "));

    writeText(folder.path() / "emojibase-data/en/data.json", R"([{"label": 7, "hexcode": "1F600"}])");
    EXPECT_THAT(problem(), HasSubstr("the data of locale en: "));
}

} // namespace
} // namespace glimmerwick
