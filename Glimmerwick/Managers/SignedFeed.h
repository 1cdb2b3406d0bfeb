#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

/// An update feed as it is served: its last line is a comment with the signature of all that stands before.
/// One file, so that a feed and its signature are replaced in one step.
struct SignedFeed {
    std::string_view content;
    /// In base64, not yet verified.
    std::string_view signature;

    /// Views into `bytes`; nothing when the last line is no signature.
    static std::optional<SignedFeed> split(std::string_view bytes);
};

/// What is signed. Each kind begins with a line of its own, so that a signature of the one can never pass as
/// one of the other.
std::string signedFeedMessage(std::string_view content);
std::string signedPackageMessage(std::string_view package);

} // namespace glimmerwick
