#pragma once

#include <string>
#include <string_view>

namespace glimmerwick {

/// Whether the text reads as a URL, absolute or relative: not empty, only characters that a URL may hold,
/// whole percent escapes, and a scheme before the first colon of the first path segment.
bool isURL(std::string_view text);

/// The URL with one more component at the end of its path, before any query or fragment. The component is
/// taken as plain text: what has a meaning in URLs is escaped.
std::string appendingPathComponent(std::string_view url, std::string_view component);

} // namespace glimmerwick
