#include "Search/MatchType.h"

#include "Search/CheckedArithmetic.h"

namespace glimmerwick {

int MatchType::priority() const
{
    switch (kind) {
    case Kind::exactName:
        return 0;
    case Kind::exactKeyword:
        return 1;
    case Kind::prefixName:
        return 2;
    case Kind::prefixKeyword:
        return 3;
    case Kind::fuzzyName:
        return checkedSum(4, distance);
    case Kind::fuzzyKeyword:
        return checkedSum(5, distance);
    }
    std::abort();
}

} // namespace glimmerwick
