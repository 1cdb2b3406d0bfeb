#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace glimmerwick {

/// The drawings of an Iconify package, found by codepoint string.
class IconSet {
public:
    /// Reads a package's folder.
    static Result<IconSet, GeneratorError> load(const std::filesystem::path& folder);

    /// The drawing of an emoji as an SVG document of the canvas's size. Variation selectors in the string
    /// make no difference.
    std::optional<std::string> drawing(std::string_view codepoint) const;

private:
    /// SVG documents by codepoint string, as the package writes it.
    std::unordered_map<std::string, std::string> m_drawings;
};

} // namespace glimmerwick
