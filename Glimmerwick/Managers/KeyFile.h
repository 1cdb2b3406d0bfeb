#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The value a key file gives a key, as it stands. The file's text has lines of the form KEY=value; spaces
/// and tabs around a line are dropped, empty lines and those that begin with "#" are skipped, and so is a
/// line with more than one "=". Spaces around "=" belong to the key and the value. The first line with the
/// key counts.
std::optional<std::string> valueInKeyFile(std::string_view text, std::string_view key);

} // namespace glimmerwick
