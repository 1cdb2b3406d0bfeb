#pragma once

#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// One category of the catalogue: a tab and a section of the grid. A plain value.
struct EmojiCategory {
    std::string id;
    /// The name people see.
    std::string name;
    /// Codepoint string of the tab's emoji, shown where no symbol is available.
    std::string icon;
    /// Name of the tab's symbol, and the one to use when the first is unavailable.
    std::optional<std::string> sfSymbol = std::nullopt;
    std::optional<std::string> sfSymbolFallback = std::nullopt;
    /// Codepoint strings in the order in which they are shown.
    std::vector<std::string> emojis;

    friend bool operator==(const EmojiCategory&, const EmojiCategory&) = default;
};

} // namespace glimmerwick
