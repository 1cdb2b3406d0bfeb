#pragma once

#include "Models/Result.h"
#include "Models/UpdateFeed.h"
#include "Platform/HttpClient.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace glimmerwick {

class SignatureVerifier;
class UpdateFeedReader;

/// Why something that came from outside was refused.
struct UpdateProblem {
    /// One line without a full stop, for a log.
    std::string line;
    /// For the user.
    std::string sentence;
};

/// A sentence that came from elsewhere, as a line too.
UpdateProblem problemInWords(const std::string& sentence);

constexpr std::size_t maximumFeedSize = 1024 * 1024;
/// A package is held in memory until it is verified.
constexpr std::uint64_t maximumPackageSize = 256 * 1024 * 1024;

/// The feed in the answer, when it is signed by our key and no older than the newest one seen before. No byte
/// is parsed that is not signed.
Result<UpdateFeed, UpdateProblem> acceptFeed(const Result<HttpResponse, TransportError>& answer,
                                             const SignatureVerifier& verifier, UpdateFeedReader& reader,
                                             const std::string& feedAddress, std::uint64_t greatestSerial);

/// What a feed may not offer, signed or not.
Result<Success, UpdateProblem> acceptEnclosure(const UpdateEnclosure& enclosure);

/// The bytes of the package in the answer, when they are those that were signed for this enclosure.
Result<std::string, UpdateProblem> acceptPackage(Result<HttpResponse, TransportError> answer,
                                                 const SignatureVerifier& verifier,
                                                 const UpdateEnclosure& enclosure);

} // namespace glimmerwick
