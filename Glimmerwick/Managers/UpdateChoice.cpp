#include "Managers/UpdateChoice.h"

#include <algorithm>

namespace glimmerwick {

namespace {

const UpdateEnclosure* enclosureFor(const std::string& architecture, const UpdateItem& item)
{
    const auto found = std::ranges::find(item.enclosures, architecture, &UpdateEnclosure::architecture);
    return found != item.enclosures.end() ? &*found : nullptr;
}

bool isNewer(const UpdateItem& item, const UpdateTarget& target)
{
    return item.version > target.installedVersion
        && (!item.version.isPreRelease() || target.installedVersion.isPreRelease())
        && enclosureFor(target.architecture, item);
}

bool runsOn(const UpdateTarget& target, const UpdateItem& item)
{
    return !item.minimumSystemVersion
        || (target.systemVersion && *item.minimumSystemVersion <= *target.systemVersion);
}

const UpdateItem* newerOf(const UpdateItem* left, const UpdateItem& right)
{
    return left && left->version >= right.version ? left : &right;
}

} // namespace

UpdateChoice chooseUpdate(const UpdateFeed& feed, const UpdateTarget& target)
{
    const UpdateItem* newest = nullptr;
    const UpdateItem* newestThatRuns = nullptr;
    for (const UpdateItem& item : feed.items) {
        if (isNewer(item, target)) {
            newest = newerOf(newest, item);
            newestThatRuns = runsOn(target, item) ? newerOf(newestThatRuns, item) : newestThatRuns;
        }
    }
    if (newestThatRuns) {
        return NewerRelease{newestThatRuns->version, newestThatRuns->notes,
                            *enclosureFor(target.architecture, *newestThatRuns)};
    }
    return newest ? UpdateChoice(NeedsNewerSystem{newest->version}) : UpdateChoice(NothingNewer{});
}

} // namespace glimmerwick
