#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <span>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The commands of the generator. Each takes the words behind its name, prints what it did on standard output
/// and fails with one readable line.

inline constexpr std::string_view manifestSynopsis =
    "--packages FOLDER --content FOLDER --locale NAME --output FILE";
/// Writes the manifest of one locale from the packages and this project's own words.
Result<Success, GeneratorError> runManifest(std::span<const std::string> words);

inline constexpr std::string_view checkSynopsis = "--manifest FILE --sequences FILE";
/// Checks a manifest against the rules of the catalogue and the recommended sequences. Every breach is
/// printed on standard error.
Result<Success, GeneratorError> runCheck(std::span<const std::string> words);

inline constexpr std::string_view imagesSynopsis =
    "--packages FOLDER --manifest FILE --output FOLDER [--missing-from-font]";
/// Writes a PNG file for every codepoint string that the picker may ask for, or for those alone that the
/// installed colour emoji font lacks.
Result<Success, GeneratorError> runImages(std::span<const std::string> words);

} // namespace glimmerwick
