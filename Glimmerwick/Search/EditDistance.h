#pragma once

#include "Search/Graphemes.h"

#include <span>
#include <string_view>

namespace glimmerwick {

/// How many insertions, deletions and substitutions of one user-perceived character turn one text into the
/// other.
///
/// A result of at most the threshold is exact. Otherwise it is the threshold and one where the lengths differ
/// by more than the threshold or a whole row of distances lies above it, which ends the computation there;
/// else the distance as it is. Of an empty text it is the other's length, at most the threshold and one. An
/// overflow stops the program.
int levenshteinDistance(std::span<const GraphemeId> s1, std::span<const GraphemeId> s2, int threshold);
int levenshteinDistance(std::string_view s1, std::string_view s2, int threshold);

} // namespace glimmerwick
