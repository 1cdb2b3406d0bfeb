#pragma once

#include "Models/UpdateFeed.h"

#include <optional>
#include <string>
#include <variant>

namespace glimmerwick {

/// What a release must suit.
struct UpdateTarget {
    ReleaseVersion installedVersion;
    /// Debian's name of the architecture.
    std::string architecture;
    /// Of the GNU C library; absent when unknown, which no release with a minimum suits.
    std::optional<ReleaseVersion> systemVersion;
};

/// The newest release is installed, or none of the newer ones is for this architecture.
struct NothingNewer { };

/// There is a newer release, but none that this system could run.
struct NeedsNewerSystem {
    ReleaseVersion version;
};

struct NewerRelease {
    ReleaseVersion version;
    std::string notes;
    UpdateEnclosure enclosure;
};

using UpdateChoice = std::variant<NothingNewer, NeedsNewerSystem, NewerRelease>;

/// The newest release that suits. It is newer than the installed one; pre-releases are for those who run one.
UpdateChoice chooseUpdate(const UpdateFeed& feed, const UpdateTarget& target);

} // namespace glimmerwick
