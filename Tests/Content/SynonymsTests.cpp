#include "Synonyms.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace glimmerwick {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Result<Synonyms, GeneratorError> parse(std::string_view text)
{
    return Synonyms::parse(text, "synonyms");
}

TEST(Synonyms, AreListsOfWordsForAnEmoji)
{
    const auto synonyms =
        parse("# Comment\n#\n\n😂 lol, crying laughing,  haha \n❤️ <3\n#️⃣ hash\n");

    ASSERT_TRUE(synonyms);
    EXPECT_THAT(synonyms.value().words("😂"), ElementsAre("lol", "crying laughing", "haha"));
    EXPECT_THAT(synonyms.value().words("❤️"), ElementsAre("<3"));
    EXPECT_THAT(synonyms.value().words("#️⃣"), ElementsAre("hash"));
    EXPECT_THAT(synonyms.value().words("🔥"), IsEmpty());
    EXPECT_THAT(synonyms.value().emojis(), UnorderedElementsAre("😂", "❤️", "#️⃣"));
}

TEST(Synonyms, ACommaWithoutABlankBelongsToTheWord)
{
    const auto synonyms = parse("😢 :,(, tear\n");

    ASSERT_TRUE(synonyms);
    EXPECT_THAT(synonyms.value().words("😢"), ElementsAre(":,(", "tear"));
}

TEST(Synonyms, TakeWordsOfTheSourcesAway)
{
    const auto synonyms = parse("🔞 18, not:minor, adult, not:two words\n👎 -1\n");

    ASSERT_TRUE(synonyms);
    EXPECT_THAT(synonyms.value().words("🔞"), ElementsAre("18", "adult"));
    EXPECT_THAT(synonyms.value().unwanted("🔞"), ElementsAre("minor", "two words"));
    EXPECT_THAT(synonyms.value().words("👎"), ElementsAre("-1"));
    EXPECT_THAT(synonyms.value().unwanted("👎"), IsEmpty());
}

TEST(Synonyms, RefuseALineOfAnotherForm)
{
    constexpr auto problem = "synonyms:2: not an emoji, a blank and words separated by \", \"";

    EXPECT_EQ(parse("\n😂\n").error().description, problem);
    EXPECT_EQ(parse("\n😂 \n").error().description, problem);
    EXPECT_EQ(parse("\n😂 lol, , haha\n").error().description, problem);
    EXPECT_EQ(parse("\n😂 lol, \n").error().description, problem);
}

TEST(Synonyms, RefuseASecondLineForAnEmoji)
{
    EXPECT_EQ(parse("😂 lol\n😂 haha\n").error().description, "synonyms:2: a second line for 😂");
}

} // namespace
} // namespace glimmerwick
