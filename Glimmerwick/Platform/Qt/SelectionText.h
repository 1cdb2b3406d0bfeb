#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// A selection's text as UTF-8, from what its owner sent under the encoding that it named. Nothing when that
/// is no text, or in an encoding of many character sets.
std::optional<std::string> selectionText(std::string bytes, std::string_view encoding);

} // namespace glimmerwick
