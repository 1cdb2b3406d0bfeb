#include "Managers/SignedFeed.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace glimmerwick {
namespace {

const std::string content = "<?xml version=\"1.0\"?>\n<rss/>\n";
const std::string signature = std::string(86, 'A') + "==";
const std::string line = "<!-- glimmerwick-signature: " + signature + " -->\n";

TEST(SignedFeedTests, SplitsOffTheLastLine)
{
    const std::string bytes = content + line;

    const auto parts = SignedFeed::split(bytes);

    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->content, content);
    EXPECT_EQ(parts->signature, signature);
}

TEST(SignedFeedTests, OnlyTheLastLineCounts)
{
    const std::string other = "<!-- glimmerwick-signature: " + std::string(88, 'B') + " -->\n";
    const std::string bytes = content + other + line;

    const auto parts = SignedFeed::split(bytes);

    ASSERT_TRUE(parts);
    EXPECT_EQ(parts->content, content + other);
    EXPECT_EQ(parts->signature, signature);
}

TEST(SignedFeedTests, NothingElseIsASignedFeed)
{
    const std::vector<std::string> texts{
        "",
        "\n",
        "<!DOCTYPE html><html></html>\n",
        content,
        line,
        content + "<!-- glimmerwick-signature:  -->\n",
        content + line + "\n",
        content + line + " ",
        content + line.substr(0, line.size() - 1),
        content.substr(0, content.size() - 1) + line,
        content + " " + line,
        content + "<!--  glimmerwick-signature:" + signature + " -->\n",
        content + "<!-- Glimmerwick-signature: " + signature + " -->\n",
        content + "<!-- glimmerwick-signature: " + signature + "--> \n",
        content + "<!-- glimmerwick-signature: " + signature + " -->\r\n",
        content + "<!-- glimmerwick-signature: A" + signature + " -->\n",
        content + "<!-- glimmerwick-signature: " + signature.substr(1) + " -->\n",
        content + "<!-- glimmerwick-signature: " + std::string(87, 'A') + "- -->\n",
        content + "<!-- glimmerwick-signature: " + std::string(87, 'A') + "\n -->\n",
    };
    for (const std::string& text : texts) {
        EXPECT_FALSE(SignedFeed::split(text)) << text;
    }
}

TEST(SignedFeedTests, WhatIsSignedTellsFeedsFromPackages)
{
    EXPECT_EQ(signedFeedMessage("bytes"), "glimmerwick feed 1\nbytes");
    EXPECT_EQ(signedPackageMessage("bytes"), "glimmerwick package 1\nbytes");
    EXPECT_EQ(signedPackageMessage(std::string_view("\0\xff", 2)),
              "glimmerwick package 1\n" + std::string("\0\xff", 2));
}

} // namespace
} // namespace glimmerwick
