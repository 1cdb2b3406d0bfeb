#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <string>
#include <vector>

namespace glimmerwick {

/// Runs a program, found along PATH, to its end. It shares standard error; its standard output is dropped,
/// and it reads nothing. Fails when the program cannot be started or does not end with status 0.
Result<Success, GeneratorError> runProgram(const std::vector<std::string>& words);

} // namespace glimmerwick
