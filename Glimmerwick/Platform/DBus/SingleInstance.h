#pragma once

#include "Models/Result.h"

#include <chrono>
#include <string>
#include <vector>

namespace glimmerwick {

class SessionBus;

/// Which of the session's starts of this program this one is.
enum class Instance {
    /// It owns the program's name on the bus until the connection closes.
    first,
    /// Another one runs and has done what the arguments ask for.
    further,
};

/// Takes the program's name, or hands the arguments (without the program's name) to the instance that has it.
/// Blocks, but not much longer than the time-out. The bus must be connected. The error is a sentence for the
/// user: the other instance does not answer, or refuses.
Result<Instance, std::string> claimInstance(const SessionBus& bus, const std::vector<std::string>& arguments,
                                            std::chrono::milliseconds timeout);

} // namespace glimmerwick
