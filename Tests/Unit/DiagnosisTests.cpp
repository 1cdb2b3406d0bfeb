#include "Diagnosis.h"

#include <gmock/gmock.h>

#include <sstream>
#include <string>
#include <vector>

namespace glimmerwick {

namespace {

using testing::HasSubstr;
using testing::Not;

SessionFacts x11()
{
    SessionFacts facts;
    facts.x11Display = true;
    facts.x11Testing = true;
    facts.sessionBus = true;
    return facts;
}

SessionFacts gnome()
{
    SessionFacts facts = x11();
    facts.waylandDisplay = true;
    facts.seat = true;
    facts.remoteDesktopPortal = 2;
    facts.desktopName = "GNOME";
    return facts;
}

SessionFacts sway()
{
    SessionFacts facts = x11();
    facts.waylandDisplay = true;
    facts.seat = true;
    facts.layerShell = true;
    facts.dataControl = true;
    facts.virtualKeyboard = true;
    facts.foreignToplevels = true;
    facts.swaySocket = true;
    facts.desktopName = "sway";
    return facts;
}

SessionFacts distrustfulKWin()
{
    SessionFacts facts = gnome();
    facts.layerShell = true;
    facts.dataControl = true;
    facts.kglobalaccel = true;
    facts.desktopName = "KDE";
    return facts;
}

SessionFacts bareCompositor()
{
    SessionFacts facts;
    facts.waylandDisplay = true;
    return facts;
}

std::string textFor(const SessionFacts& facts, RunningPicker picker = RunningPicker::one,
                    const std::string& takenAway = "")
{
    return diagnosisText({"1.2.3", facts, chooseRoutes(facts), takenAway, {}, picker});
}

/// The text with every run of blanks and line ends as one blank, as it is read.
std::string flowing(const std::string& text)
{
    std::istringstream words(text);
    std::string result;
    for (std::string word; words >> word;) {
        result += result.empty() ? word : ' ' + word;
    }
    return result;
}

std::string flowingTextFor(const SessionFacts& facts)
{
    return flowing(textFor(facts));
}

std::vector<SessionFacts> manySessions()
{
    std::vector<SessionFacts> sessions{{}, x11(), gnome(), sway(), distrustfulKWin(), bareCompositor()};
    SessionFacts facts = sway();
    facts.wantedToolkitPlatform = "xcb";
    sessions.push_back(facts);
    facts = x11();
    facts.x11Testing = false;
    facts.wantedToolkitPlatform = "wayland";
    sessions.push_back(facts);
    for (const std::string desktop : {"Hyprland", "river", "labwc", "Wayfire", "niri", "XFCE"}) {
        facts = bareCompositor();
        facts.desktopName = desktop;
        sessions.push_back(facts);
    }
    return sessions;
}

TEST(DiagnosisTest, wholeTextForSway)
{
    const std::string expected = R"(Glimmerwick 1.2.3

Session      Wayland, with XWayland for X11 applications
Desktop      sway
Session bus  there
Picker       runs

For         The session offers      What is used         What is missing
----------  ----------------------  -------------------  ----------------------
Panel       layer shell, XWayland   layer shell          -
Clipboard   data control, X11       data control         -
            selection
Typing      virtual keyboard        virtual keyboard     -
Previous    foreign toplevels       foreign toplevels    -
window
Shortcut    sway's socket           sway's socket        -

What that means, and what you can do

Shortcut    Ctrl+Super+Space, bound while the picker runs. A line for the same
            keys in your own configuration comes first. To have one, add this
            line to ~/.config/sway/config:

  bindsym Ctrl+Mod4+space exec glimmerwick --toggle
)";
    EXPECT_EQ(textFor(sway()), expected);
}

TEST(DiagnosisTest, fitsIntoAnOrdinaryTerminal)
{
    // Lines to be copied are not broken.
    const std::string copied = "  <keybind key=";
    for (const SessionFacts& facts : manySessions()) {
        std::istringstream text(textFor(facts));
        for (std::string line; std::getline(text, line);) {
            if (!line.starts_with(copied)) {
                EXPECT_LT(line.size(), 80U) << line;
            }
            EXPECT_FALSE(line.ends_with(' ')) << line;
        }
    }
}

TEST(DiagnosisTest, withoutADisplayThereIsNothingToTell)
{
    const std::string text = textFor({}, RunningPicker::unknown);

    EXPECT_THAT(text, HasSubstr("\nSession      no display\n"));
    EXPECT_THAT(text, HasSubstr("WAYLAND_DISPLAY"));
    EXPECT_THAT(text, HasSubstr("nobody can say whether it runs"));
    EXPECT_THAT(text, Not(HasSubstr("Clipboard")));
    EXPECT_THAT(text, Not(HasSubstr("Shortcut")));
}

TEST(DiagnosisTest, pickerRunsOrNot)
{
    EXPECT_THAT(textFor(x11(), RunningPicker::one), HasSubstr("\nPicker       runs\n"));
    EXPECT_THAT(textFor(x11(), RunningPicker::none), HasSubstr("\nPicker       does not run"));
}

TEST(DiagnosisTest, x11Session)
{
    const std::string text = flowingTextFor(x11());

    EXPECT_THAT(text, HasSubstr("Session X11 Desktop does not say its name"));
    EXPECT_THAT(text, HasSubstr("Typing test keys (XTEST) test keys (XTEST) -"));
    EXPECT_THAT(text, HasSubstr("Shortcut key grabs key grab -"));
    EXPECT_THAT(text, HasSubstr("another program has these keys; then bind a key to this command"));
}

TEST(DiagnosisTest, x11SessionWithoutTestKeysCannotType)
{
    SessionFacts facts = x11();
    facts.x11Testing = false;

    const std::string text = flowingTextFor(facts);

    EXPECT_THAT(text, HasSubstr("Typing - nothing test keys (XTEST)"));
    EXPECT_THAT(text, HasSubstr("emoji cannot be typed"));
}

TEST(DiagnosisTest, gnomeNeedsConsentAndACustomShortcut)
{
    const std::string text = flowingTextFor(gnome());

    EXPECT_THAT(text, HasSubstr("Panel XWayland XWayland layer shell"));
    EXPECT_THAT(text, HasSubstr("Clipboard X11 selection X11 selection data control"));
    EXPECT_THAT(text, HasSubstr("Allow it"));
    EXPECT_THAT(text, HasSubstr("remember the answer"));
    EXPECT_THAT(text, HasSubstr("Previous - not known foreign toplevels window"));
    EXPECT_THAT(text, HasSubstr("Shortcut - a key you bind GlobalShortcuts portal"));
    EXPECT_THAT(text, HasSubstr("add a custom shortcut with this command in Settings > Keyboard"));
    EXPECT_THAT(text, Not(HasSubstr("KWin"))) << "another desktop's";
    EXPECT_THAT(text, Not(HasSubstr("sway")));
}

TEST(DiagnosisTest, oldPortalAsksEachTime)
{
    SessionFacts facts = gnome();
    facts.remoteDesktopPortal = 1;

    EXPECT_THAT(flowingTextFor(facts), HasSubstr("asks anew each time"));
}

TEST(DiagnosisTest, kwinThatDoesNotTrustTheProgramIsToldWhichFileItLacks)
{
    const std::string text = flowingTextFor(distrustfulKWin());

    // Two cells of the table, side by side.
    EXPECT_THAT(text, HasSubstr("RemoteDesktop KWin fake input portal"));
    EXPECT_THAT(text, HasSubstr("com.glimmerwick.Glimmerwick.kwin.desktop"));
    EXPECT_THAT(text, HasSubstr("Shortcut KGlobalAccel KGlobalAccel -"));

    SessionFacts trusting = distrustfulKWin();
    trusting.kwinFakeInput = true;
    trusting.plasmaWindows = true;
    EXPECT_THAT(flowingTextFor(trusting), Not(HasSubstr("desktop file")));
    EXPECT_THAT(flowingTextFor(trusting), HasSubstr("Plasma windows Plasma windows - window"));
    EXPECT_THAT(flowingTextFor(trusting), Not(HasSubstr("virtual keyboard"))) << "KWin never has one";
}

TEST(DiagnosisTest, bareCompositorCopiesOnly)
{
    const std::string text = flowingTextFor(bareCompositor());

    EXPECT_THAT(text, HasSubstr("Panel - plain window layer shell, XWayland"));
    EXPECT_THAT(text, HasSubstr("a seat, data control"));
    EXPECT_THAT(text, HasSubstr("The picker copies the emoji, and you paste it: with Ctrl+V"));
    EXPECT_THAT(text, HasSubstr("the text that was there is not put back"));
    EXPECT_THAT(text, HasSubstr("Without it glimmerwick --toggle does not find the running picker"));
}

TEST(DiagnosisTest, whatTheUserAskedForIsTold)
{
    SessionFacts facts = sway();
    facts.wantedToolkitPlatform = "xcb";

    const std::string text = flowing(textFor(facts, RunningPicker::one, "remote-desktop,sway"));

    EXPECT_THAT(text, HasSubstr("Toolkit told to use xcb"));
    EXPECT_THAT(text, HasSubstr("Left out remote-desktop,sway (GLIMMERWICK_WITHOUT)"));
    EXPECT_THAT(text, HasSubstr("without that the layer shell would be used"));
}

TEST(DiagnosisTest, wordsThatNameNothingAreTold)
{
    const std::string text = diagnosisText(
        {"1.2.3", x11(), chooseRoutes(x11()), "sway,bogus,\x1b", {"bogus", "\x1b"}, RunningPicker::none});

    EXPECT_THAT(
        text,
        HasSubstr("\nLeft out     sway,bogus,? (GLIMMERWICK_WITHOUT)\n             unknown: bogus, ?\n"));
}

TEST(DiagnosisTest, wishThatCannotBeMetIsTold)
{
    SessionFacts facts = x11();
    facts.wantedToolkitPlatform = "wayland";
    EXPECT_THAT(flowingTextFor(facts), HasSubstr("Without that it uses X11."));

    facts = bareCompositor();
    facts.wantedToolkitPlatform = "xcb";
    EXPECT_THAT(flowingTextFor(facts), HasSubstr("Without that it uses Wayland."));

    facts = sway();
    facts.wantedToolkitPlatform = "xcb;wayland-egl";
    EXPECT_THAT(flowingTextFor(facts), Not(HasSubstr("cannot use here")));
}

TEST(DiagnosisTest, whatComesFromOutsideDoesNotCommandTheTerminal)
{
    SessionFacts facts = x11();
    facts.desktopName = "evil\x1b[2J\nname";
    facts.wantedToolkitPlatform = "xcb\x07";

    const std::string text = textFor(facts, RunningPicker::one, "\x1b]0;x");

    EXPECT_THAT(text, HasSubstr("evil?[2J?name"));
    EXPECT_EQ(text.find('\x1b'), std::string::npos);
    EXPECT_EQ(text.find('\x07'), std::string::npos);
}

} // namespace

} // namespace glimmerwick
