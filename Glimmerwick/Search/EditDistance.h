#pragma once

#include "Search/Graphemes.h"

#include <span>
#include <string_view>

namespace glimmerwick {

/// How many insertions, deletions and substitutions of one user-perceived character turn one text into the
/// other.
///
/// Gives up early: a result of at most the threshold is exact; a greater one says only that the distance is
/// greater, and may be anything above the threshold. An overflow stops the program.
int levenshteinDistance(std::span<const GraphemeId> s1, std::span<const GraphemeId> s2, int threshold);
int levenshteinDistance(std::string_view s1, std::string_view s2, int threshold);

} // namespace glimmerwick
