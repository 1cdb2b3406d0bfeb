// Asks for the pictures of arbitrary bytes as a codepoint string, on a file system and a network that note
// what is touched.

#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Fuzz/Invariant.h"
#include "Managers/EmojiDataManager.h"
#include "Models/Emoji.h"
#include "Platform/Process.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

namespace glimmerwick {
namespace {

using Error = EmojiDataManager::ImageDownloadError;
using Outcome = Result<std::filesystem::path, Error>;

const std::string imagesAddress = "https://content.example.invalid/emojis/";
const std::string imagesFolder = "/home/user/.cache/Glimmerwick/emojis/";
const std::string suffix = ".png";
const std::string picture = "PNG of any kind";

/// The most that a file's name holds.
constexpr std::size_t longestFileName = 255;

bool isPlain(std::string_view codepoint)
{
    return !codepoint.empty() && std::ranges::all_of(codepoint, [](char byte) {
        return byte == '-' || std::isxdigit(static_cast<unsigned char>(byte)) != 0;
    });
}

bool canNameFile(std::string_view codepoint)
{
    return codepoint.size() + suffix.size() <= longestFileName;
}

/// Undoes percent escapes; nothing when one is not whole.
std::optional<std::string> unescaped(std::string_view text)
{
    const auto valueOf = [](char digit) {
        return std::string_view("0123456789ABCDEF").find(static_cast<char>(std::toupper(digit)));
    };
    std::string plain;
    while (!text.empty()) {
        if (text.front() != '%') {
            plain += text.front();
            text.remove_prefix(1);
            continue;
        }
        if (text.size() < 3 || !std::isxdigit(static_cast<unsigned char>(text[1]))
            || !std::isxdigit(static_cast<unsigned char>(text[2]))) {
            return std::nullopt;
        }
        plain += static_cast<char>(valueOf(text[1]) * 16 + valueOf(text[2]));
        text.remove_prefix(3);
    }
    return plain;
}

/// What stands behind the folder's address must be one segment that means the codepoint string and nothing
/// else.
void checkAddress(std::string_view address, const std::string& codepoint)
{
    requireInvariant(address.starts_with(imagesAddress), "an address lies in the folder of the pictures");
    const std::string_view segment = address.substr(imagesAddress.size());
    requireInvariant(std::ranges::all_of(segment,
                                         [](char byte) {
                                             return std::isalnum(static_cast<unsigned char>(byte)) != 0
                                                 || std::string_view("-._~%").find(byte)
                                                 != std::string_view::npos;
                                         }),
                     "an address ends with one segment, without query and fragment");
    requireInvariant(segment != "." && segment != "..", "an address does not climb out of its folder");
    requireInvariant(unescaped(segment) == codepoint + suffix, "an address means the codepoint string");
}

/// A manager as new as the process has it, and everything it touches.
class Subject {
public:
    Subject()
    {
        m_httpClient.respond = [](const HttpRequest&) { return HttpResponse{200, picture}; };
        m_filesBefore = filePaths();
        m_accessesBefore = m_fileSystem.accessCount;
    }

    std::string imageURL(const std::string& codepoint) const { return m_manager.imageURL(codepoint); }

    Outcome downloadIfNeeded(const std::string& codepoint)
    {
        return run(m_manager.downloadImageIfNeeded(codepoint));
    }

    Outcome download(const std::string& codepoint) { return run(m_manager.downloadImage(codepoint)); }

    std::optional<std::filesystem::path> cached(const std::string& codepoint) const
    {
        Emoji emoji;
        emoji.codepoint = codepoint;
        return m_manager.cachedImagePathIfExists(emoji);
    }

    bool isUntouched() const { return m_fileSystem.accessCount == m_accessesBefore && requestCount() == 0; }
    std::size_t requestCount() const { return m_httpClient.exchanges.size(); }
    const std::string& lastAddress() const { return m_httpClient.exchanges.back()->request.url; }

    /// The files that are there now and were not before.
    std::set<std::string> newFiles() const
    {
        std::set<std::string> paths = filePaths();
        for (const std::string& path : m_filesBefore) {
            paths.erase(path);
        }
        return paths;
    }

    std::string contents(const std::string& path) const { return m_fileSystem.files.at(path).bytes; }
    int writeCount() const { return m_fileSystem.writeCount; }

private:
    static Process makeProcess()
    {
        Process process;
        process.cachesDirectory = "/home/user/.cache";
        process.defaultContentAddress = "https://content.example.invalid";
        return process;
    }

    Outcome run(Task<Outcome> task)
    {
        std::optional<Outcome> outcome;
        task.start([&](Outcome value) { outcome = std::move(value); });
        m_time.runUntilIdle();
        requireInvariant(outcome.has_value(), "every download ends");
        return *outcome;
    }

    std::set<std::string> filePaths() const
    {
        std::set<std::string> paths;
        for (const auto& [path, file] : m_fileSystem.files) {
            paths.insert(path.string());
        }
        return paths;
    }

    Process m_process = makeProcess();
    fakes::FakeLog m_log;
    fakes::FakeTime m_time;
    fakes::FakeFileClock m_fileClock;
    fakes::FakeFileSystem m_fileSystem;
    fakes::FakeHttpClient m_httpClient{m_time};
    fakes::FakeTextLayout m_textLayout;
    fakes::FakeImageCodec m_imageCodec;
    EmojiDataManager m_manager{m_process, m_log,        m_fileSystem, m_fileClock,
                               m_time,    m_httpClient, m_textLayout, m_imageCodec};
    std::set<std::string> m_filesBefore;
    int m_accessesBefore = 0;
};

void checkRefused(const Outcome& outcome, const Subject& subject)
{
    requireInvariant(!outcome && outcome.error().kind == Error::Kind::invalidImage,
                     "a codepoint string that names no file brings no picture");
    requireInvariant(subject.isUntouched(), "and touches neither the network nor the file system");
}

void checkUnusable(const std::string& codepoint)
{
    Subject subject;
    checkRefused(subject.downloadIfNeeded(codepoint), subject);
    checkRefused(subject.download(codepoint), subject);
    requireInvariant(!subject.cached(codepoint) && subject.isUntouched(), "nothing looks for its file");
}

void checkStored(const Outcome& outcome, const Subject& subject, const std::string& codepoint)
{
    const std::string path = imagesFolder + codepoint + suffix;
    requireInvariant(subject.lastAddress() == imagesAddress + codepoint + suffix,
                     "the request goes to the picture's own address");
    requireInvariant(outcome.isSuccess() && outcome.value().string() == path,
                     "the picture is where it belongs");
    requireInvariant(subject.newFiles() == std::set<std::string>{path} && subject.contents(path) == picture,
                     "and there is no other new file");
    requireInvariant(subject.cached(codepoint) == std::filesystem::path(path), "the picture is found there");
}

void checkUsable(const std::string& codepoint)
{
    Subject subject;
    requireInvariant(!subject.cached(codepoint) && subject.newFiles().empty(), "no picture is there before");

    checkStored(subject.downloadIfNeeded(codepoint), subject, codepoint);
    requireInvariant(subject.requestCount() == 1 && subject.writeCount() == 1, "one download, one file");

    requireInvariant(subject.downloadIfNeeded(codepoint).isSuccess() && subject.requestCount() == 1,
                     "a picture that is there is not downloaded again");
    checkStored(subject.download(codepoint), subject, codepoint);
    requireInvariant(subject.requestCount() == 2 && subject.writeCount() == 2, "unless it is replaced");
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    const std::string codepoint(reinterpret_cast<const char*>(data), size);
    checkAddress(Subject().imageURL(codepoint), codepoint);
    if (isPlain(codepoint) && canNameFile(codepoint)) {
        checkUsable(codepoint);
    } else {
        checkUnusable(codepoint);
    }
    return 0;
}
