#include "Managers/ContentAddress.h"

#include <gtest/gtest.h>

#include <string>

namespace glimmerwick {
namespace {

TEST(ContentAddress, IsAURLWithOrWithoutAScheme)
{
    for (const std::string text :
         {"https://content.example", "http://127.0.0.1:8080", "https://[::1]:443/a/b", "HTTPS://host/",
          "file:///tmp", "x-a.b+1:y", "/path/only", "relative/path:with-colon", "?q:1", "//host/path",
          "https://host/a%20b?q=1&r=#part", "https://user@host/(a)!$'*,;"}) {
        EXPECT_TRUE(isURL(text)) << text;
    }
}

TEST(ContentAddress, IsNoURLWithCharactersOrEscapesThatURLsLack)
{
    for (const std::string text :
         {"", " ", "https://a b", "https://host/\"quoted\"", "https://host/<a>", "https://host/a\\b",
          "https://host/^", "https://höst", "https://host/\n", "https://host/%", "https://host/%2",
          "https://host/%zz", "https://host/{a}", "https://host/a|b", "https://host/`",
          "https://host/#a#b"}) {
        EXPECT_FALSE(isURL(text)) << text;
    }
}

TEST(ContentAddress, NeedsAValidSchemeBeforeTheFirstColon)
{
    for (const std::string text : {":", "://host", ":8080/path", "1http://host", "ht*tp://host", "-a:b"}) {
        EXPECT_FALSE(isURL(text)) << text;
    }
}

TEST(ContentAddress, GetsExactlyOneSlashBeforeAComponent)
{
    EXPECT_EQ(appendingPathComponent("https://host", "manifest.json"), "https://host/manifest.json");
    EXPECT_EQ(appendingPathComponent("https://host/", "manifest.json"), "https://host/manifest.json");
    EXPECT_EQ(appendingPathComponent("https://host///", "manifest.json"), "https://host/manifest.json");
    EXPECT_EQ(appendingPathComponent("https://host/a/b", "manifest.json"), "https://host/a/b/manifest.json");
    EXPECT_EQ(appendingPathComponent("https://host/a//", "manifest.json"), "https://host/a/manifest.json");
    EXPECT_EQ(appendingPathComponent("file:///", "manifest.json"), "file:///manifest.json");
    EXPECT_EQ(appendingPathComponent("relative", "manifest.json"), "relative/manifest.json");
}

TEST(ContentAddress, GetsAComponentBeforeItsQueryAndFragment)
{
    EXPECT_EQ(appendingPathComponent("https://host/a?token=1/2", "manifest.json"),
              "https://host/a/manifest.json?token=1/2");
    EXPECT_EQ(appendingPathComponent("https://host?x", "manifest.json"), "https://host/manifest.json?x");
    EXPECT_EQ(appendingPathComponent("https://host/#part?", "manifest.json"),
              "https://host/manifest.json#part?");
}

TEST(ContentAddress, GetsAComponentAsPlainText)
{
    EXPECT_EQ(appendingPathComponent("https://host", "../a?b#c%d é"),
              "https://host/..%2Fa%3Fb%23c%25d%20%C3%A9");
}

} // namespace
} // namespace glimmerwick
