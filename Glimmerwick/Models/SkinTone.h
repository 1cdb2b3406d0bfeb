#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The emoji's own yellow form or one of the five Fitzpatrick modifiers. A value type over its raw value.
class SkinTone {
public:
    enum Case { default_, light, mediumLight, medium, mediumDark, dark };

    constexpr SkinTone(Case case_ = default_) : m_case(case_) { }

    /// Every tone in declaration order, which is also the order of the selector's buttons.
    static const std::array<SkinTone, 6>& allCases();

    /// The tone with exactly this raw value (case-sensitive), or nothing.
    static std::optional<SkinTone> fromRawValue(std::string_view rawValue);

    /// "" for the default tone, else the modifier's codepoint ("1f3fb" to "1f3ff").
    std::string_view rawValue() const;

    /// Appends "-" and the modifier to a codepoint string; the default tone changes nothing. The modifier
    /// always goes to the very end, whatever the string holds; callers pass the untoned codepoint.
    std::string apply(std::string_view codepoint) const;

    /// The UTF-8 text of a codepoint string, or nothing when it is not a valid one. Empty pieces are ignored.
    static std::optional<std::string> codepointToChar(std::string_view codepoint);

    constexpr operator Case() const { return m_case; }

private:
    Case m_case;
};

} // namespace glimmerwick

template <> struct std::hash<glimmerwick::SkinTone> {
    std::size_t operator()(const glimmerwick::SkinTone& tone) const noexcept
    {
        return static_cast<std::size_t>(static_cast<glimmerwick::SkinTone::Case>(tone));
    }
};
