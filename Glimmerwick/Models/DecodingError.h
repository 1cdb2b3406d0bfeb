#pragma once

#include <string>

namespace glimmerwick {

/// Why a JSON document could not be read: malformed text, a missing key or a value of the wrong type.
struct DecodingError {
    /// One readable line that names the place in the document.
    std::string description;
};

} // namespace glimmerwick
