#include "BindingAdvice.h"

#include <gmock/gmock.h>

#include <string>

namespace glimmerwick {

namespace {

using testing::HasSubstr;

TEST(BindingAdviceTest, linesOfTheCompositorsThatHaveAConfigurationFile)
{
    const struct {
        std::string desktop;
        std::string place;
        std::string line;
    } known[] = {
        {"sway", ".config/sway/config", "bindsym Ctrl+Mod4+space exec glimmerwick --toggle"},
        {"Hyprland", "hyprland.conf", "bind = CTRL SUPER, space, exec, glimmerwick --toggle"},
        {"labwc", "rc.xml",
         "<keybind key=\"C-W-space\"><action name=\"Execute\" command=\"glimmerwick --toggle\"/></keybind>"},
        {"river", "river/init", "riverctl map normal Super+Control Space spawn 'glimmerwick --toggle'"},
        {"Wayfire", "wayfire.ini",
         "binding_glimmerwick = <ctrl> <super> KEY_SPACE\ncommand_glimmerwick = glimmerwick --toggle"},
        {"niri", "config.kdl", "Ctrl+Super+Space { spawn \"glimmerwick\" \"--toggle\"; }"},
    };
    for (const auto& [desktop, place, line] : known) {
        const BindingAdvice advice = bindingAdvice(desktop);

        EXPECT_THAT(advice.place, HasSubstr(place)) << desktop;
        EXPECT_EQ(advice.line, line) << desktop;
    }
}

TEST(BindingAdviceTest, placesInTheSettingsOfDesktops)
{
    EXPECT_THAT(bindingAdvice("GNOME").place, HasSubstr("Settings > Keyboard"));
    EXPECT_THAT(bindingAdvice("GNOME").place, HasSubstr("custom shortcut"));
    EXPECT_THAT(bindingAdvice("KDE").place, HasSubstr("System Settings > Shortcuts"));
    EXPECT_THAT(bindingAdvice("XFCE").place, HasSubstr("Settings > Keyboard > Application Shortcuts"));
    for (const std::string desktop : {"GNOME", "KDE", "XFCE", "", "unheard-of"}) {
        EXPECT_EQ(bindingAdvice(desktop).line, "glimmerwick --toggle") << desktop;
    }
}

TEST(BindingAdviceTest, theFirstKnownOneOfSeveralNamesCounts)
{
    EXPECT_EQ(bindingAdvice("ubuntu:GNOME").place, bindingAdvice("GNOME").place);
    EXPECT_EQ(bindingAdvice("sway:GNOME").line, bindingAdvice("sway").line);
    EXPECT_EQ(bindingAdvice(":::SWAY:").line, bindingAdvice("sway").line);
}

TEST(BindingAdviceTest, unknownNamesGetGeneralAdvice)
{
    const std::string general = bindingAdvice("").place;

    EXPECT_THAT(general, HasSubstr("keyboard settings of your desktop"));
    for (const std::string name : {":", "swayfx", "sway ", "GNOM", "gnome-classic"}) {
        EXPECT_EQ(bindingAdvice(name).place, general) << name;
    }
}

} // namespace

} // namespace glimmerwick
