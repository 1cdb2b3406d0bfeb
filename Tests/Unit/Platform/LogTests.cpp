#include "Fakes/FakeServices.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace glimmerwick {
namespace {

TEST(Log, PrintsALineAsItStands)
{
    fakes::FakeLog log;

    log.print("TypeManager: Typed '👍🏻' (100%)");

    EXPECT_EQ(log.lines, std::vector<std::string>{"TypeManager: Typed '👍🏻' (100%)"});
}

TEST(Log, KeepsAValueWithLineBreaksOnOneLine)
{
    fakes::FakeLog log;

    log.print("Saved: one\ntwo\r\n\tthree\u2028\x1b[0m");

    EXPECT_EQ(log.lines, std::vector<std::string>{"Saved: one\\ntwo\\r\\n\\tthree\\u{2028}\\u{1b}[0m"});
}

TEST(Log, PrintsIllFormedBytesAsReplacementCharacters)
{
    fakes::FakeLog log;

    log.print("name: \xff");

    EXPECT_EQ(log.lines, std::vector<std::string>{"name: \uFFFD"});
}

} // namespace
} // namespace glimmerwick
