#pragma once

#include <string>

namespace glimmerwick {

/// What password managers offer with a secret, and clipboard histories look for before they record an entry.
namespace historyHint {
inline const std::string target = "x-kde-passwordManagerHint";
inline const std::string secret = "secret";
} // namespace historyHint

} // namespace glimmerwick
