#pragma once

#include "Platform/Linux/HistoryHint.h"

#include <map>
#include <memory>
#include <string>

namespace glimmerwick {

/// What a selection holds, under the logic's names of types. Never changed once shared: transfers under way
/// keep what they began with.
struct X11SelectionContents {
    using Bytes = std::shared_ptr<const std::string>;

    std::map<std::string, Bytes> byType;
    /// On the clipboard for a paste alone. Clipboard histories are asked not to record it, whatever the logic
    /// says.
    bool isPassing = false;
    /// The program that it was read from asked clipboard histories not to record it.
    bool isSecret = false;

    Bytes find(const std::string& type) const
    {
        const auto found = byType.find(type);
        return found == byType.end() ? nullptr : found->second;
    }
};

using SharedSelectionContents = std::shared_ptr<const X11SelectionContents>;

} // namespace glimmerwick
