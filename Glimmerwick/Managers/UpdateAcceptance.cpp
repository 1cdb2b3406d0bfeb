#include "Managers/UpdateAcceptance.h"

#include "Managers/SignedFeed.h"
#include "Models/UnicodeText.h"
#include "Platform/SignatureVerifier.h"
#include "Platform/UpdateFeedReader.h"

#include <optional>
#include <string_view>
#include <utility>

namespace glimmerwick {

namespace {

using Answer = Result<HttpResponse, TransportError>;

constexpr int statusOk = 200;

Failure<UpdateProblem> refusal(std::string line, std::string sentence)
{
    return Failure{UpdateProblem{std::move(line), std::move(sentence)}};
}

/// Why the answer carries no body that could be looked at.
std::optional<UpdateProblem> transportProblem(const Answer& answer)
{
    if (!answer) {
        const UpdateProblem problem = problemInWords(answer.error().description);
        return UpdateProblem{problem.line, "The update server gave no usable answer: " + problem.line + "."};
    }
    const auto status = answer.value().statusCode;
    if (!status) {
        return UpdateProblem{"the address is not an HTTP address", "The update server's address is wrong."};
    }
    if (status != statusOk) {
        const std::string text = std::to_string(*status);
        return UpdateProblem{"the server answered with status " + text,
                             "The update server answered with an error (" + text + ")."};
    }
    return std::nullopt;
}

bool isWebAddress(std::string_view address)
{
    return address.starts_with("https://") || address.starts_with("http://");
}

} // namespace

UpdateProblem problemInWords(const std::string& sentence)
{
    std::string line = unicode::escapedForLog(sentence);
    if (line.ends_with('.')) {
        line.pop_back();
    }
    return {line, sentence};
}

Result<UpdateFeed, UpdateProblem> acceptFeed(const Answer& answer, const SignatureVerifier& verifier,
                                             UpdateFeedReader& reader, const std::string& feedAddress,
                                             std::uint64_t greatestSerial)
{
    if (auto problem = transportProblem(answer)) {
        return Failure{std::move(*problem)};
    }
    const std::string& body = answer.value().body;
    if (body.size() > maximumFeedSize) {
        return refusal("the feed is larger than " + std::to_string(maximumFeedSize) + " bytes",
                       "The update server's answer is too large.");
    }
    const auto parts = SignedFeed::split(body);
    if (!parts) {
        return refusal("the answer is not an update feed",
                       "The update server did not answer with an update feed.");
    }
    if (!verifier.isSigned(signedFeedMessage(parts->content), parts->signature)) {
        return refusal("the feed is not signed by the key of this program",
                       "The update feed does not come from the makers of Glimmerwick.");
    }
    auto feed = reader.read(parts->content, feedAddress);
    if (!feed) {
        return refusal("the feed cannot be read: " + unicode::escapedForLog(feed.error()),
                       "The update feed cannot be read.");
    }
    if (feed.value().serial < greatestSerial) {
        return refusal("the feed is an old one served again, with serial "
                           + std::to_string(feed.value().serial) + " after " + std::to_string(greatestSerial),
                       "The update feed is older than one that was seen before.");
    }
    return std::move(feed).value();
}

Result<Success, UpdateProblem> acceptEnclosure(const UpdateEnclosure& enclosure)
{
    if (enclosure.length == 0 || enclosure.length > maximumPackageSize) {
        return refusal("the package is said to have " + std::to_string(enclosure.length) + " bytes, not 1 to "
                           + std::to_string(maximumPackageSize),
                       "The new version's package has a size that cannot be right.");
    }
    if (!isWebAddress(enclosure.url)) {
        return refusal("the package's address is not an HTTP address: "
                           + unicode::escapedForLog(enclosure.url),
                       "The new version's package has an address that cannot be used.");
    }
    return Success{};
}

Result<std::string, UpdateProblem> acceptPackage(Answer answer, const SignatureVerifier& verifier,
                                                 const UpdateEnclosure& enclosure)
{
    if (auto problem = transportProblem(answer)) {
        return Failure{std::move(*problem)};
    }
    std::string package = std::move(answer).value().body;
    if (package.size() != enclosure.length) {
        return refusal("the package has " + std::to_string(package.size()) + " bytes instead of "
                           + std::to_string(enclosure.length),
                       "The new version's package is damaged.");
    }
    if (!verifier.isSigned(signedPackageMessage(package), enclosure.signature)) {
        return refusal("the package is not signed by the key of this program",
                       "The new version's package does not come from the makers of Glimmerwick.");
    }
    return package;
}

} // namespace glimmerwick
