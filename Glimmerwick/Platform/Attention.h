#pragma once

namespace glimmerwick {

/// Whether the user asked for what is shown and waits for it, or works in another application, which must
/// then keep the focus.
enum class Attention { asked, unasked };

} // namespace glimmerwick
