#pragma once

#include "Models/Emoji.h"

#include <vector>

namespace glimmerwick {

/// The emoji so many times over, each copy with codepoints of its own. Of the words that few emoji have, each
/// copy keeps some and changes the letters of others, vowels for vowels; the words that many have stay. Thus
/// common words find more, and there are more rare ones, as in a larger catalogue. The same on every run.
std::vector<Emoji> scaledCatalogue(const std::vector<Emoji>& emojis, int factor);

} // namespace glimmerwick
