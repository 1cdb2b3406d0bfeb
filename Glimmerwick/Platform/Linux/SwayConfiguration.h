#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// What sway does at Ctrl+Super+Space in its default mode by its configuration, as far as the text of the
/// main file says: files that it includes are not looked into. Absent when it does nothing.
std::optional<std::string> swayCommandAtShortcut(std::string_view configuration);

} // namespace glimmerwick
