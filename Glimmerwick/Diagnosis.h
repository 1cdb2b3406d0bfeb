#pragma once

#include "Platform/SessionRoutes.h"

#include <string>
#include <vector>

namespace glimmerwick {

enum class RunningPicker {
    none,
    one,
    /// There is no session bus to ask.
    unknown,
};

/// What is known about the user's session, for the user to read.
struct Diagnosis {
    std::string version;
    SessionFacts facts;
    SessionRoutes routes;
    /// The words of GLIMMERWICK_WITHOUT.
    std::string takenAway;
    /// Those of them that name nothing.
    std::vector<std::string> unknownWords;
    RunningPicker picker = RunningPicker::unknown;
};

/// What the session offers, which ways the program takes there, what is missing and what the user can do
/// about it. Plain text for a terminal of 80 columns, with a line end at its end. Any thread.
std::string diagnosisText(const Diagnosis& diagnosis);

} // namespace glimmerwick
