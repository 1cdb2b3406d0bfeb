#include "Models/ReleaseVersion.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace glimmerwick {
namespace {

ReleaseVersion version(const std::string& text)
{
    const auto parsed = ReleaseVersion::parse(text);
    if (!parsed) {
        ADD_FAILURE() << text << " is no version";
        return *ReleaseVersion::parse("0");
    }
    return *parsed;
}

TEST(ReleaseVersionTests, KeepsTheTextAsItWasWritten)
{
    for (const std::string text : {"1", "0.1.0", "1.10.2", "01.002", "2.0.0-rc.1", "1.0-beta", "2.36"}) {
        EXPECT_EQ(version(text).text(), text);
    }
}

TEST(ReleaseVersionTests, RefusesEverythingElse)
{
    const std::vector<std::string> texts{
        "",       ".",       "1.",     ".1",     "1..2",      "-",      "1-",       "-rc.1",       "1-rc.",
        "1-.rc",  "1-rc..1", "1-rc-1", "v1.0",   "1.0a",      "1,0",    "1.0+5",    "+1.0",        "1.-2",
        " 1.0",   "1.0 ",    "1.0\n",  "1. 0",   "0x10",      "1e3",    "1/0",      "../1.0",      "1.0/../2",
        "1.0\\2", "1.0~rc1", "1:1.0",  "1.0;ls", "1.0-$(ls)", "1.0%2f", "\xd9\xa1", "1.0-\xc3\xa4"};
    for (const std::string& text : texts) {
        EXPECT_FALSE(ReleaseVersion::parse(text)) << text;
    }
    EXPECT_FALSE(ReleaseVersion::parse(std::string("1.0\0", 4)));
}

TEST(ReleaseVersionTests, RefusesNumbersThatDoNotFitAndTextsThatAreTooLong)
{
    EXPECT_TRUE(ReleaseVersion::parse("1.18446744073709551615"));
    EXPECT_FALSE(ReleaseVersion::parse("1.18446744073709551616"));
    EXPECT_FALSE(ReleaseVersion::parse("99999999999999999999999999.0"));

    EXPECT_TRUE(ReleaseVersion::parse("1-" + std::string(62, 'a')));
    EXPECT_FALSE(ReleaseVersion::parse("1-" + std::string(63, 'a')));
}

TEST(ReleaseVersionTests, EachIsNewerThanTheOneBefore)
{
    const std::vector<std::string> ascending{"0.0.1",
                                             "0.1",
                                             "0.1.1",
                                             "0.9",
                                             "0.10",
                                             "1.0-1",
                                             "1.0-2",
                                             "1.0-10",
                                             "1.0-99999999999999999999998",
                                             "1.0-99999999999999999999999",
                                             "1.0-Beta",
                                             "1.0-alpha",
                                             "1.0-alpha.1",
                                             "1.0-alpha.beta",
                                             "1.0-beta",
                                             "1.0-beta.2",
                                             "1.0-beta.11",
                                             "1.0-rc.1",
                                             "1.0",
                                             "1.0.0.1",
                                             "1.2",
                                             "2",
                                             "18446744073709551615"};
    for (std::size_t older = 0; older < ascending.size(); ++older) {
        EXPECT_EQ(version(ascending[older]), version(ascending[older]));
        for (std::size_t newer = older + 1; newer < ascending.size(); ++newer) {
            EXPECT_LT(version(ascending[older]), version(ascending[newer]))
                << ascending[older] << ", " << ascending[newer];
            EXPECT_GT(version(ascending[newer]), version(ascending[older]))
                << ascending[newer] << ", " << ascending[older];
        }
    }
}

TEST(ReleaseVersionTests, MissingNumbersAndLeadingZerosMakeNoDifference)
{
    EXPECT_EQ(version("1.0"), version("1.0.0"));
    EXPECT_EQ(version("1"), version("1.0.0"));
    EXPECT_EQ(version("1.02"), version("1.2"));
    EXPECT_EQ(version("1.0-rc.1"), version("1.0.0-rc.01"));
    EXPECT_EQ(version("1.0-rc.0"), version("1.0-rc.00"));
    EXPECT_NE(version("1.20"), version("1.2"));
}

TEST(ReleaseVersionTests, KnowsPreReleases)
{
    EXPECT_TRUE(version("1.0-rc.1").isPreRelease());
    EXPECT_TRUE(version("1.0-0").isPreRelease());
    EXPECT_FALSE(version("1.0").isPreRelease());
}

} // namespace
} // namespace glimmerwick
