#pragma once

#include <string>
#include <string_view>

namespace glimmerwick {

/// How users bind the picker's command to a key by themselves, where it cannot have its shortcut.
struct BindingAdvice {
    /// What to do with the line: an order without a capital, for a colon to follow.
    std::string place;
    /// A line of the desktop's configuration, or the bare command.
    std::string line;
};

/// The desktop's name is what XDG_CURRENT_DESKTOP says, which may be several; for an unknown one the advice
/// is general. Any thread.
BindingAdvice bindingAdvice(std::string_view desktopName);

} // namespace glimmerwick
