// Says what the program would make of a feed, and of the packages it names.
//
// usage: glimmerwick-update-probe PUBLIC-KEY INSTALLED-VERSION ARCHITECTURE SYSTEM-VERSION GREATEST-SERIAL
//
// Standard input brings lines "feed FILE" and "package FILE"; a package is taken for the one that the feed
// before it offers. Each is answered with one line.

#include "Managers/UpdateAcceptance.h"
#include "Managers/UpdateChoice.h"
#include "Platform/Qt/QtUpdateFeedReader.h"
#include "Platform/Sodium/SodiumSignatureVerifier.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <variant>

namespace glimmerwick {
namespace {

const std::string feedAddress = "https://updates.example.invalid/glimmerwick/appcast.xml";

Result<HttpResponse, TransportError> answerFrom(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return Failure{TransportError{"no such file"}};
    }
    return HttpResponse{200, {std::istreambuf_iterator<char>(file), {}}};
}

class Probe {
public:
    Probe(const std::string& publicKey, UpdateTarget target, std::uint64_t greatestSerial)
        : m_verifier(publicKey), m_target(std::move(target)), m_greatestSerial(greatestSerial)
    {
    }

    std::string tryFeed(const std::string& path)
    {
        m_release.reset();
        const auto feed = acceptFeed(answerFrom(path), m_verifier, m_reader, feedAddress, m_greatestSerial);
        if (!feed) {
            return "refused: " + feed.error().line;
        }
        const UpdateChoice choice = chooseUpdate(feed.value(), m_target);
        if (const auto* needing = std::get_if<NeedsNewerSystem>(&choice)) {
            return "needs a newer system: " + needing->version.text();
        }
        if (const auto* newer = std::get_if<NewerRelease>(&choice)) {
            m_release = *newer;
            const auto accepted = acceptEnclosure(newer->enclosure);
            return accepted ? "offer " + newer->version.text() + " of "
                    + std::to_string(newer->enclosure.length) + " bytes from " + newer->enclosure.url + ": "
                    + newer->notes.substr(0, newer->notes.find('\n'))
                            : "refused: " + accepted.error().line;
        }
        return "up to date";
    }

    std::string tryPackage(const std::string& path) const
    {
        if (!m_release) {
            return "refused: nothing is offered";
        }
        const auto package = acceptPackage(answerFrom(path), m_verifier, m_release->enclosure);
        return package ? "accepted" : "refused: " + package.error().line;
    }

private:
    SodiumSignatureVerifier m_verifier;
    QtUpdateFeedReader m_reader;
    const UpdateTarget m_target;
    const std::uint64_t m_greatestSerial;
    std::optional<NewerRelease> m_release;
};

} // namespace
} // namespace glimmerwick

int main(int argc, char** argv)
{
    using namespace glimmerwick;

    const auto installed = argc == 6 ? ReleaseVersion::parse(argv[2]) : std::nullopt;
    if (!installed) {
        std::cerr
            << "usage: glimmerwick-update-probe PUBLIC-KEY INSTALLED ARCHITECTURE SYSTEM GREATEST-SERIAL\n";
        return EXIT_FAILURE;
    }
    Probe probe(argv[1], {*installed, argv[3], ReleaseVersion::parse(argv[4])}, std::stoull(argv[5]));
    std::string kind;
    std::string path;
    while (std::cin >> kind && std::getline(std::cin >> std::ws, path)) {
        std::cout << (kind == "feed" ? probe.tryFeed(path) : probe.tryPackage(path)) << std::endl;
    }
    return EXIT_SUCCESS;
}
