// Takes arbitrary bytes for a key file: for what each key in it is given, and for the content server's
// address that stands there.

#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Fuzz/Invariant.h"
#include "Managers/ContentAddress.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/KeyFile.h"
#include "Models/UnicodeText.h"
#include "Platform/Process.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

const std::string addressKey = "PRODUCTION_BASE_URL";
const std::string defaultAddress = "https://content.example.invalid";
const std::filesystem::path keyFile = "/opt/glimmerwick/keys.env";

/// Every newline, in UTF-8, that is not the plain one.
constexpr std::string_view otherNewlines[] = {"\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

std::string replaced(std::string text, std::string_view what, std::string_view replacement)
{
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + replacement.size())) {
        text.replace(at, what.size(), replacement);
    }
    return text;
}

struct Setting {
    std::string key;
    std::string value;
};

/// What stands in the file, read the plain way: newline for newline, then line for line.
std::vector<Setting> settingsIn(std::string text)
{
    for (const std::string_view newline : otherNewlines) {
        text = replaced(std::move(text), newline, "\n");
    }
    std::vector<Setting> settings;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        std::string line = text.substr(begin, end - begin);
        begin = end + 1;
        while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) {
            line.pop_back();
        }
        line.erase(0, std::min(line.find_first_not_of(" \t"), line.size()));
        const std::size_t sign = line.find('=');
        if (!line.starts_with('#') && sign != std::string::npos && sign == line.rfind('=')) {
            settings.push_back({line.substr(0, sign), line.substr(sign + 1)});
        }
    }
    return settings;
}

std::optional<std::string> first(const std::vector<Setting>& settings, const std::string& key)
{
    const auto found = std::ranges::find(settings, key, &Setting::key);
    return found == settings.end() ? std::nullopt : std::optional(found->value);
}

void checkKey(const std::string& text, const std::vector<Setting>& settings, const std::string& key)
{
    const auto value = valueInKeyFile(text, key);
    requireInvariant(value == first(settings, key), "a key has the value of its first line");
    requireInvariant(valueInKeyFile(replaced(text, "\n", "\u2028"), key) == value,
                     "a newline is as good as another");
    requireInvariant(valueInKeyFile("# " + key + "=comment\n\n" + text, key) == value,
                     "comments and empty lines give nothing");
    requireInvariant(value || valueInKeyFile(text + "\n" + key + "=behind", key) == "behind",
                     "a key that is missing may be added at the end");
    requireInvariant(valueInKeyFile(" " + key + "=before\t\n" + text, key) == "before",
                     "a line in front goes before others");
}

/// The address of a picture tells which server's it is.
std::string addressOfPicture(const std::string& bytes)
{
    Process process;
    process.cachesDirectory = "/home/user/.cache";
    process.defaultContentAddress = defaultAddress;
    process.keyFiles = {keyFile};
    fakes::FakeLog log;
    fakes::FakeTime time;
    fakes::FakeFileClock fileClock;
    fakes::FakeFileSystem fileSystem;
    fileSystem.files[keyFile].bytes = bytes;
    fakes::FakeHttpClient httpClient(time);
    fakes::FakeTextLayout textLayout;
    fakes::FakeImageCodec imageCodec;
    const EmojiDataManager manager(process, log, fileSystem, fileClock, time, httpClient, textLayout,
                                   imageCodec);
    return manager.imageURL("1f600");
}

void checkAddress(const std::string& text, const std::vector<Setting>& settings)
{
    const auto address = first(settings, addressKey);
    const bool isUsable = unicode::isWellFormed(text) && address && isURL(*address);
    std::string expected = isUsable ? *address : defaultAddress;
    for (const char* component : {"emojis", "1f600.png"}) {
        expected = appendingPathComponent(expected, component);
    }
    const std::string picture = addressOfPicture(text);
    requireInvariant(picture == expected, "pictures come from the server that the file names");
    requireInvariant(isURL(picture), "their addresses are addresses");
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    constexpr std::size_t mostKeys = 16;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::vector<Setting> settings = settingsIn(text);
    checkKey(text, settings, addressKey);
    for (std::size_t index = 0; index < std::min(settings.size(), mostKeys); ++index) {
        const std::string& key = settings[index].key;
        // As the first thing of a line these are no keys.
        if (!key.empty() && key.find_first_of("# \t") != 0) {
            checkKey(text, settings, key);
        }
    }
    checkAddress(text, settings);
    return 0;
}
