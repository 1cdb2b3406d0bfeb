#pragma once

namespace glimmerwick {

/// Whether a change of what is shown happens at once or over time.
enum class Animation { none, animated };

} // namespace glimmerwick
