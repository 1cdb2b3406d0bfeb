#include "BindingAdvice.h"

#include <algorithm>
#include <array>

namespace glimmerwick {

namespace {

struct Desktop {
    std::string_view name;
    std::string_view place;
    std::string_view line;
};

constexpr std::string_view command = "glimmerwick --toggle";

constexpr std::array desktops{
    Desktop{"sway", "add this line to ~/.config/sway/config",
            "bindsym Ctrl+Mod4+space exec glimmerwick --toggle"},
    Desktop{"hyprland", "add this line to ~/.config/hypr/hyprland.conf",
            "bind = CTRL SUPER, space, exec, glimmerwick --toggle"},
    Desktop{"labwc", "add this below <keyboard> in ~/.config/labwc/rc.xml",
            "<keybind key=\"C-W-space\">"
            "<action name=\"Execute\" command=\"glimmerwick --toggle\"/></keybind>"},
    Desktop{"river", "add this line to ~/.config/river/init",
            "riverctl map normal Super+Control Space spawn 'glimmerwick --toggle'"},
    Desktop{"wayfire", "add these lines below [command] in ~/.config/wayfire.ini",
            "binding_glimmerwick = <ctrl> <super> KEY_SPACE\ncommand_glimmerwick = glimmerwick --toggle"},
    Desktop{"niri", "add this line below binds in ~/.config/niri/config.kdl",
            "Ctrl+Super+Space { spawn \"glimmerwick\" \"--toggle\"; }"},
    Desktop{"gnome",
            "add a custom shortcut with this command in Settings > Keyboard > View and Customize Shortcuts",
            command},
    Desktop{"kde", "add this command in System Settings > Shortcuts and give it the keys", command},
    Desktop{"xfce", "add a shortcut with this command in Settings > Keyboard > Application Shortcuts",
            command},
};

constexpr std::string_view anywhere = "bind a key to this command in the keyboard settings of your desktop";

char lowered(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

const Desktop* findDesktop(std::string_view name)
{
    const auto* found = std::ranges::find_if(desktops, [name](const Desktop& desktop) {
        return std::ranges::equal(name, desktop.name, {}, lowered);
    });
    return found == desktops.end() ? nullptr : found;
}

} // namespace

BindingAdvice bindingAdvice(std::string_view desktopName)
{
    // Such as "ubuntu:GNOME": the more special first.
    while (!desktopName.empty()) {
        const auto end = std::min(desktopName.find(':'), desktopName.size());
        if (const Desktop* desktop = findDesktop(desktopName.substr(0, end))) {
            return {std::string(desktop->place), std::string(desktop->line)};
        }
        desktopName.remove_prefix(std::min(end + 1, desktopName.size()));
    }
    return {std::string(anywhere), std::string(command)};
}

} // namespace glimmerwick
