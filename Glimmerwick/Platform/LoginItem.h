#pragma once

#include "Models/Result.h"

#include <string>

namespace glimmerwick {

/// Whether the desktop starts this program when the user logs in. Main thread.
class LoginItem {
public:
    virtual ~LoginItem() = default;

    virtual bool isEnabled() = 0;
    /// The error is one line.
    virtual Result<Success, std::string> setEnabled(bool isEnabled) = 0;
};

} // namespace glimmerwick
