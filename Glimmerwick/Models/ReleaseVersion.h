#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// The version of a release: numbers with points between them, and perhaps a pre-release, like "1.10.2" or
/// "2.0.0-rc.1". Ordered as releases follow each other: numbers by their value, a missing number as 0, a
/// pre-release before its release. Any thread.
class ReleaseVersion {
public:
    /// Nothing for any other text: at most 64 bytes, and 64 bits for a number. What passes holds letters,
    /// digits, points and one hyphen, so that it may become a part of a file's name.
    static std::optional<ReleaseVersion> parse(std::string_view text);

    /// As it was written.
    const std::string& text() const { return m_text; }

    bool isPreRelease() const { return !m_preRelease.empty(); }

    std::strong_ordering operator<=>(const ReleaseVersion& other) const;
    bool operator==(const ReleaseVersion& other) const { return (*this <=> other) == 0; }

private:
    ReleaseVersion() = default;

    std::string m_text;
    std::vector<std::uint64_t> m_numbers;
    /// Empty for a release.
    std::vector<std::string> m_preRelease;
};

} // namespace glimmerwick
