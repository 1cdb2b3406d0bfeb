#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick {

/// What this program has on a selection, under the logic's names of types. Never changed once shared: what is
/// offered stays what it was.
struct WaylandClipboardContents {
    using Bytes = std::shared_ptr<const std::string>;

    std::map<std::string, Bytes> byType;
    /// There for a paste alone. Clipboard histories are asked not to record it, whatever the logic says.
    bool isPassing = false;
    /// The program that it was read from asked clipboard histories not to record it.
    bool isSecret = false;

    Bytes find(const std::string& type) const;

    /// Other programs' names for all of it.
    std::vector<std::string> offeredTypes() const;
    /// By one of those names; null for others.
    Bytes offered(const std::string& type) const;

    bool isHinted() const;
};

using SharedWaylandClipboardContents = std::shared_ptr<const WaylandClipboardContents>;

/// The names under which programs know a text, the best first.
const std::vector<std::string>& waylandTextTypes();

} // namespace glimmerwick
