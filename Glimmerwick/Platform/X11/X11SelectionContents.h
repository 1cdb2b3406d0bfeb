#pragma once

#include <map>
#include <memory>
#include <string>

namespace glimmerwick {

/// What a selection holds, under the logic's names of types. Never changed once shared: transfers under way
/// keep what they began with.
struct X11SelectionContents {
    using Bytes = std::shared_ptr<const std::string>;

    std::map<std::string, Bytes> byType;
    /// Clipboard histories are asked not to record it, whatever the logic says.
    bool isPassing = false;

    Bytes find(const std::string& type) const
    {
        const auto found = byType.find(type);
        return found == byType.end() ? nullptr : found->second;
    }
};

using SharedSelectionContents = std::shared_ptr<const X11SelectionContents>;

} // namespace glimmerwick
