#include "Managers/SignedFeed.h"

namespace glimmerwick {

namespace {

constexpr std::string_view lineBegin = "<!-- glimmerwick-signature: ";
constexpr std::string_view lineEnd = " -->\n";
constexpr std::string_view base64Characters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";
/// 64 bytes in base64.
constexpr std::size_t signatureSize = 88;

std::string withFirstLine(std::string_view line, std::string_view bytes)
{
    std::string message;
    message.reserve(line.size() + bytes.size());
    message.append(line).append(bytes);
    return message;
}

} // namespace

std::optional<SignedFeed> SignedFeed::split(std::string_view bytes)
{
    constexpr std::size_t lineSize = lineBegin.size() + signatureSize + lineEnd.size();
    if (bytes.size() <= lineSize) {
        return std::nullopt;
    }
    const std::string_view content = bytes.substr(0, bytes.size() - lineSize);
    const std::string_view line = bytes.substr(content.size());
    const std::string_view signature = line.substr(lineBegin.size(), signatureSize);
    if (!content.ends_with('\n') || !line.starts_with(lineBegin) || !line.ends_with(lineEnd)
        || signature.find_first_not_of(base64Characters) != std::string_view::npos) {
        return std::nullopt;
    }
    return SignedFeed{content, signature};
}

std::string signedFeedMessage(std::string_view content)
{
    return withFirstLine("glimmerwick feed 1\n", content);
}

std::string signedPackageMessage(std::string_view package)
{
    return withFirstLine("glimmerwick package 1\n", package);
}

} // namespace glimmerwick
