#pragma once

#include "Models/ReleaseVersion.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

/// A file that installs one release on one kind of machine.
struct UpdateEnclosure {
    /// Absolute, http or https.
    std::string url;
    /// In bytes; never 0.
    std::uint64_t length = 0;
    /// Debian's name of the architecture, like "amd64": letters, digits and hyphens.
    std::string architecture;
    /// Of the whole file, in base64 as `SignatureVerifier` takes it.
    std::string signature;
};

struct UpdateItem {
    ReleaseVersion version;
    /// Of the GNU C library, which decides first whether a program starts; absent when any will do.
    std::optional<ReleaseVersion> minimumSystemVersion;
    /// Plain text.
    std::string notes;
    /// At least one, and one for an architecture.
    std::vector<UpdateEnclosure> enclosures;
};

/// The releases that the program's makers offer, in no order; each version once.
struct UpdateFeed {
    /// Grows with every feed that is published, so that an old one served again can be told.
    std::uint64_t serial = 0;
    std::vector<UpdateItem> items;
};

} // namespace glimmerwick
