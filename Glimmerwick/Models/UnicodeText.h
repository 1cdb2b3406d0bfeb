#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// Text rules by Unicode (ICU behind them), for UTF-8 strings. Ill-formed bytes are read as U+FFFD.
namespace glimmerwick::unicode {

/// Whether the bytes are UTF-8 as it should be.
bool isWellFormed(std::string_view text);

/// Full, locale-independent lower-casing.
std::string lowercased(std::string_view text);

/// Without white space and newlines at both ends.
std::string trimmed(std::string_view text);

/// Whether each byte is a user-perceived character of its own, the case of nearly all words: ASCII without
/// carriage returns.
bool isPlainAscii(std::string_view text);

/// The text split into user-perceived characters (extended grapheme clusters), in order.
std::vector<std::string> graphemeClusters(std::string_view text);
std::size_t graphemeClusterCount(std::string_view text);

/// Canonical composition (NFC): canonically equivalent texts have one such form.
std::string canonical(std::string_view text);

/// Whether the first scalar is a letter, mark or digit, punctuation, a symbol, or U+0020. False for empty
/// text.
bool startsWithPrintable(std::string_view text);

/// Whether the first scalar is a letter, mark or digit: what stands inside a word. False for empty text.
bool startsWithLetterOrDigit(std::string_view text);

/// Line breaks and other controls written as escapes, so that a logged value stays on one line.
std::string escapedForLog(std::string_view text);

} // namespace glimmerwick::unicode
