#pragma once

#include <compare>

namespace glimmerwick {

/// How an emoji matches a query. Ordered by `priority` alone, lower first: a name one edit away and a keyword
/// that is no edit away rank alike, though they are not equal. The kinds rank from 0 to 3 in their order, a
/// fuzzy name 4 and its distance, a fuzzy keyword 5 and its distance.
struct MatchType {
    enum class Kind { exactName, exactKeyword, prefixName, prefixKeyword, fuzzyName, fuzzyKeyword };

    Kind kind = Kind::exactName;
    /// Of the fuzzy kinds.
    int distance = 0;

    int priority() const;

    friend bool operator==(const MatchType&, const MatchType&) = default;
    friend std::weak_ordering operator<=>(const MatchType& left, const MatchType& right)
    {
        return left.priority() <=> right.priority();
    }
};

} // namespace glimmerwick
