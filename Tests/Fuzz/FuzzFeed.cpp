// Takes arbitrary bytes for an update feed: as an answer whose signature is false, as one whose signature is
// true, and as what stands in front of a signature.

#include "Fuzz/Invariant.h"
#include "Managers/SignedFeed.h"
#include "Managers/UpdateAcceptance.h"
#include "Managers/UpdateChoice.h"
#include "Models/UnicodeText.h"
#include "Platform/Qt/QtUpdateFeedReader.h"
#include "Platform/SignatureVerifier.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace glimmerwick {
namespace {

const std::string feedAddress = "https://updates.example.invalid/glimmerwick/appcast.xml";
constexpr std::size_t longestNotes = 64 * 1024;

/// Believes everything or nothing.
class Verifier : public SignatureVerifier {
public:
    explicit Verifier(bool isTrue) : m_isTrue(isTrue) { }

    bool hasKey() const override { return true; }
    bool isSigned(std::string_view, std::string_view) const override { return m_isTrue; }

private:
    const bool m_isTrue;
};

/// Notes whether it was asked.
class WatchedReader : public QtUpdateFeedReader {
public:
    Result<UpdateFeed, std::string> read(std::string_view xml, const std::string& address) override
    {
        isAsked = true;
        return QtUpdateFeedReader::read(xml, address);
    }

    bool isAsked = false;
};

bool isReadableLine(const std::string& text)
{
    return !text.empty() && unicode::isWellFormed(text) && unicode::escapedForLog(text) == text;
}

void checkSplitting(std::string_view bytes)
{
    const auto parts = SignedFeed::split(bytes);
    if (!parts) {
        return;
    }
    std::string whole(parts->content);
    whole.append("<!-- glimmerwick-signature: ").append(parts->signature).append(" -->\n");
    requireInvariant(whole == bytes, "a signed feed is its content and the line of its signature");
    requireInvariant(parts->signature.size() == 88, "a signature is 64 bytes in base64");
    requireInvariant(parts->content.ends_with('\n'), "a signature has a line of its own");
}

void checkEnclosure(const UpdateEnclosure& enclosure)
{
    requireInvariant(enclosure.url.starts_with("https://") || enclosure.url.starts_with("http://"),
                     "an address is one of the web");
    requireInvariant(
        std::ranges::all_of(enclosure.url, [](char byte) { return byte > ' ' && byte < '\x7f'; }),
        "an address is printable ASCII");
    requireInvariant(enclosure.length > 0, "a package is not empty");
    requireInvariant(!enclosure.architecture.empty()
                         && enclosure.architecture.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789-")
                             == std::string::npos,
                     "an architecture may stand in a file's name");
    requireInvariant(enclosure.signature.size() == 88, "a package has a signature");
}

void checkItem(const UpdateItem& item)
{
    const auto again = ReleaseVersion::parse(item.version.text());
    requireInvariant(again && *again == item.version, "a version is its text");
    requireInvariant(item.version.text().find_first_of("/\\%~ \n") == std::string::npos,
                     "a version may stand in a file's name");
    requireInvariant(item.notes.size() <= longestNotes && unicode::isWellFormed(item.notes),
                     "notes are text of a bearable length");
    requireInvariant(!item.enclosures.empty(), "an item has a package");
    std::set<std::string> architectures;
    for (const UpdateEnclosure& enclosure : item.enclosures) {
        checkEnclosure(enclosure);
        requireInvariant(architectures.insert(enclosure.architecture).second,
                         "there is one package for an architecture");
    }
}

bool suits(const UpdateItem& item, const UpdateTarget& target)
{
    return item.version > target.installedVersion
        && (target.installedVersion.isPreRelease() || !item.version.isPreRelease())
        && std::ranges::count(item.enclosures, target.architecture, &UpdateEnclosure::architecture) == 1;
}

bool runs(const UpdateItem& item, const UpdateTarget& target)
{
    return !item.minimumSystemVersion || *item.minimumSystemVersion <= *target.systemVersion;
}

void checkChoice(const UpdateFeed& feed, const UpdateTarget& target)
{
    std::optional<ReleaseVersion> newest;
    bool isNewerOut = false;
    for (const UpdateItem& item : feed.items) {
        isNewerOut = isNewerOut || suits(item, target);
        if (suits(item, target) && runs(item, target) && (!newest || item.version > *newest)) {
            newest = item.version;
        }
    }
    const UpdateChoice choice = chooseUpdate(feed, target);
    const auto* chosen = std::get_if<NewerRelease>(&choice);
    requireInvariant((chosen != nullptr) == newest.has_value(), "there is an update exactly when one suits");
    requireInvariant(!chosen || chosen->version == *newest, "it is the newest");
    requireInvariant(!chosen || chosen->enclosure.architecture == target.architecture,
                     "for this architecture");
    requireInvariant(std::holds_alternative<NeedsNewerSystem>(choice) == (isNewerOut && !newest),
                     "a newer system is asked for when nothing else stands in the way");
}

void checkFeed(const UpdateFeed& feed, std::string_view xml)
{
    requireInvariant(xml.find("<!DOCTYPE") == std::string_view::npos
                         && xml.find("<!ENTITY") == std::string_view::npos,
                     "a feed declares nothing");
    requireInvariant(unicode::isWellFormed(xml) && xml.find('\0') == std::string_view::npos,
                     "a feed is text");
    requireInvariant(feed.items.size() <= 1000, "a feed has a bearable number of items");
    std::set<ReleaseVersion> versions;
    for (const UpdateItem& item : feed.items) {
        checkItem(item);
        requireInvariant(versions.insert(item.version).second, "each version stands there once");
    }
    for (const char* installed : {"0", "0.1.0", "0.2.0-rc.1", "18446744073709551615"}) {
        checkChoice(feed, {*ReleaseVersion::parse(installed), "amd64", ReleaseVersion::parse("2.36")});
    }
}

void checkReading(std::string_view xml)
{
    const auto feed = QtUpdateFeedReader().read(xml, feedAddress);
    if (feed) {
        checkFeed(feed.value(), xml);
    } else {
        requireInvariant(isReadableLine(feed.error()), "an error is one readable line");
    }
}

void checkAccepting(const std::string& body)
{
    const HttpResponse response{200, body};
    WatchedReader reader;
    const auto refused = acceptFeed(response, Verifier(false), reader, feedAddress, 0);
    requireInvariant(!refused && isReadableLine(refused.error().line) && !reader.isAsked,
                     "without a true signature nothing is parsed");

    const auto parts = SignedFeed::split(body);
    const auto accepted = acceptFeed(response, Verifier(true), reader, feedAddress, 1);
    requireInvariant(reader.isAsked == parts.has_value(), "with one the content is");
    if (accepted) {
        requireInvariant(accepted.value().serial >= 1, "an older feed is refused");
        checkFeed(accepted.value(), parts->content);
    } else {
        requireInvariant(isReadableLine(accepted.error().line), "a refusal is one readable line");
    }
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    const std::string bytes(reinterpret_cast<const char*>(data), size);
    checkSplitting(bytes);
    checkReading(bytes);
    checkAccepting(bytes);
    checkAccepting(bytes + "\n<!-- glimmerwick-signature: " + std::string(86, 'A') + "== -->\n");
    return 0;
}
