#include "CommandLine.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace glimmerwick {

namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;

using Words = std::vector<std::string>;
using Request = CommandLine::Request;

struct Accepted {
    Words words;
    CommandLine expected;
};

std::vector<Accepted> acceptedCommandLines()
{
    CommandLine plain;
    const auto with = [](auto change) {
        CommandLine commandLine;
        change(commandLine);
        return commandLine;
    };
    const auto help = with([](CommandLine& line) { line.request = Request::help; });
    const auto version = with([](CommandLine& line) { line.request = Request::version; });
    const auto shown = with([](CommandLine& line) { line.showPicker = true; });
    const auto toggled = with([](CommandLine& line) { line.toggle = true; });
    const auto target = [&](const std::string& identifier) {
        return with([&](CommandLine& line) { line.targetApp = identifier; });
    };
    const auto toolkit = [&](const Words& words) {
        return with([&](CommandLine& line) { line.toolkitArguments = words; });
    };
    std::vector<Accepted> accepted{
        {{}, plain},
        {{"--help"}, help},
        {{"--version"}, version},
        {{"--help", "--version"}, help},
        {{"--version", "--help"}, version},
        {{"--help", "--bogus"}, help},
        {{"--diagnose"}, with([](CommandLine& line) { line.request = Request::diagnose; })},
        {{"--platform", "xcb", "--diagnose", "--bogus"}, with([](CommandLine& line) {
             line.request = Request::diagnose;
             line.toolkitArguments = {"--platform", "xcb"};
         })},
        {{"--show-picker"}, shown},
        {{"--show-picker", "--show-picker"}, shown},
        {{"--toggle"}, toggled},
        {{"--disable-event-tap"}, plain},
        {{"--target-app", "org.example.Editor"}, target("org.example.Editor")},
        {{"--target-app", "first", "--target-app", "second"}, target("first")},
        {{"--target-app", ""}, target("")},
        {{"--target-app", "two words ü"}, target("two words ü")},
        {{"--target-app"}, plain},
        {{"--show-picker", "--target-app"}, shown},
        {{"--toggle", "--target-app", "a", "--show-picker"}, with([](CommandLine& line) {
             line.toggle = true;
             line.showPicker = true;
             line.targetApp = "a";
         })},
        {{"--background"}, with([](CommandLine& line) { line.background = true; })},
        {{"-style", "fusion", "--toggle", "--platform", "xcb"}, with([](CommandLine& line) {
             line.toggle = true;
             line.toolkitArguments = {"-style", "fusion", "--platform", "xcb"};
         })},
    };
    // What follows is an identifier, however much it looks like something else.
    for (const std::string identifier : {"--help", "--version", "--toggle", "--show-picker", "--target-app",
                                         "--bogus", "-style", "-", "--"}) {
        accepted.push_back({{"--target-app", identifier}, target(identifier)});
    }
    for (const std::string name :
         {"display", "geometry", "icon", "name", "platform", "platformpluginpath", "platformtheme", "plugin",
          "qmljsdebugger", "qwindowgeometry", "qwindowicon", "qwindowtitle", "session", "style", "stylesheet",
          "title", "visual"}) {
        for (const std::string dashes : {"-", "--"}) {
            const Words words{dashes + name, "--help"};
            accepted.push_back({words, toolkit(words)});
        }
    }
    for (const std::string word :
         {"-reverse", "--reverse", "-widgetcount", "-testability", "-nograb", "-dograb", "-style=fusion",
          "--style=fusion", "-stylesheet=a.qss", "-session=id_key", "-qmljsdebugger=port:1"}) {
        accepted.push_back({{word}, toolkit({word})});
    }
    return accepted;
}

TEST(CommandLineTest, acceptedCommandLinesMeanWhatTheySay)
{
    for (const auto& [words, expected] : acceptedCommandLines()) {
        SCOPED_TRACE(testing::PrintToString(words));
        const auto parsed = CommandLine::parse(words);

        ASSERT_TRUE(parsed) << parsed.error();
        EXPECT_EQ(parsed.value().request, expected.request);
        EXPECT_EQ(parsed.value().showPicker, expected.showPicker);
        EXPECT_EQ(parsed.value().toggle, expected.toggle);
        EXPECT_EQ(parsed.value().background, expected.background);
        EXPECT_EQ(parsed.value().targetApp, expected.targetApp);
        EXPECT_THAT(parsed.value().toolkitArguments, ElementsAreArray(expected.toolkitArguments));
    }
}

TEST(CommandLineTest, wrongCommandLinesAreRefusedByTheWordThatIsWrong)
{
    const struct {
        Words words;
        std::string error;
    } refused[] = {
        {{"--bogus"}, "unknown option '--bogus'"},
        {{"-x"}, "unknown option '-x'"},
        {{"-"}, "unknown option '-'"},
        {{"--"}, "unknown option '--'"},
        {{"-help"}, "unknown option '-help'"},
        {{"---style", "fusion"}, "unknown option '---style'"},
        {{"--Toggle"}, "unknown option '--Toggle'"},
        {{"--toggle=yes"}, "unknown option '--toggle=yes'"},
        {{"--target-app=org.example.Editor"}, "unknown option '--target-app=org.example.Editor'"},
        {{"-platform=xcb"}, "unknown option '-platform=xcb'"},
        {{"-reverse=1"}, "unknown option '-reverse=1'"},
        {{"="}, "unexpected argument '='"},
        {{""}, "unexpected argument ''"},
        {{"toggle"}, "unexpected argument 'toggle'"},
        {{"--toggle", "now"}, "unexpected argument 'now'"},
        {{"--target-app", "one", "two"}, "unexpected argument 'two'"},
        {{"-style", "fusion", "more"}, "unexpected argument 'more'"},
        {{"-reverse", "more"}, "unexpected argument 'more'"},
        {{"-style"}, "option '-style' needs a value"},
        {{"--toggle", "--platform"}, "option '--platform' needs a value"},
        {{"--bogus", "--help"}, "unknown option '--bogus'"},
        {{"--one", "--two"}, "unknown option '--one'"},
    };
    for (const auto& [words, error] : refused) {
        SCOPED_TRACE(testing::PrintToString(words));
        const auto parsed = CommandLine::parse(words);

        ASSERT_FALSE(parsed);
        EXPECT_EQ(parsed.error(), error);
    }
}

TEST(CommandLineTest, onlyAStartThatAsksForNothingIsPlain)
{
    for (const Words& words : {Words{}, {"--disable-event-tap"}, {"-style", "fusion"}, {"--target-app"}}) {
        EXPECT_TRUE(CommandLine::parse(words).value().isPlainStart()) << testing::PrintToString(words);
    }
    for (const Words& words :
         {Words{"--toggle"}, {"--background"}, {"--show-picker"}, {"--target-app", "a"}}) {
        EXPECT_FALSE(CommandLine::parse(words).value().isPlainStart()) << testing::PrintToString(words);
    }
}

TEST(CommandLineTest, usageNamesEveryOption)
{
    for (const char* option : {"--toggle", "--background", "--show-picker", "--target-app ID",
                               "--disable-event-tap", "--diagnose", "--help", "--version"}) {
        EXPECT_THAT(std::string(CommandLine::usage()), HasSubstr(option));
    }
}

} // namespace

} // namespace glimmerwick
