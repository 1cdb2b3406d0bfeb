#pragma once

namespace glimmerwick::unicode {

/// Divides a text, read scalar by scalar, into user-perceived characters, as long as it is one of letters
/// that stand side by side, marks, emoji and flags: the extended grapheme clusters of Unicode without the
/// rules for other scripts. ICU knows them all, but its iterator reads locales, resource bundles and tables
/// of rules, which stay in memory: half a megabyte that most users' texts do not need.
class ClusterRules {
public:
    /// Whether a text of such scalars can be divided here. No new version of Unicode changes how.
    static bool cover(char32_t scalar);

    /// Whether a cluster begins with the scalar, a covered one, that follows those given before. One does
    /// with the first.
    bool beginsWith(char32_t scalar);

private:
    /// Whether the scalars before are a pictograph and its marks, to which a joiner may join another.
    enum class Pictograph { none, open, joined };

    void follow(char32_t scalar, int kind);

    bool m_isFirst = true;
    Pictograph m_pictograph = Pictograph::none;
    /// Whether the last scalar is the first half of a flag.
    bool m_isFlagHalf = false;
};

} // namespace glimmerwick::unicode
