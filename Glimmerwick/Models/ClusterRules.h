#pragma once

namespace glimmerwick::unicode {

/// Divides a text, read scalar by scalar, into user-perceived characters: the extended grapheme clusters of
/// Unicode. ICU divides it alike, but its iterator reads locales, resource bundles and tables of rules, which
/// all stays in memory: 0.9 MiB that nothing else here needs.
class ClusterRules {
public:
    ClusterRules();

    /// Whether a cluster begins with the scalar that follows those given before. One does with the first.
    bool beginsWith(char32_t scalar);

private:
    /// Whether the scalars before are a pictograph and its marks, to which a joiner may join another.
    enum class Pictograph { none, open, joined };

    void follow(char32_t scalar, int kind);

    /// As ICU counts kinds of scalars. In front of the text stands what joins nothing.
    int m_last;
    Pictograph m_pictograph = Pictograph::none;
    /// Whether the last scalar is the first half of a flag.
    bool m_isFlagHalf = false;
};

} // namespace glimmerwick::unicode
