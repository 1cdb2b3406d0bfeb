// Takes arbitrary bytes for the file of the user's settings: what is read from it, what the managers make of
// that, and what the file holds afterwards.

#include "Contract/TemporaryFolder.h"
#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"
#include "Fakes/SampleManifest.h"
#include "Fuzz/CapturedErrors.h"
#include "Fuzz/Invariant.h"
#include "Managers/EmojiDataManager.h"
#include "Managers/RecentEmojisManager.h"
#include "Managers/SkinTonePreferences.h"
#include "Managers/UpdateSchedule.h"
#include "Models/UnicodeText.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Process.h"
#include "Platform/Qt/QtUserDefaults.h"
#include "Platform/Qt/Text.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick {
namespace {

using namespace std::chrono_literals;
using std::filesystem::path;
using Strings = std::vector<std::string>;

const std::string recentsKey = "recentEmojis";
const std::string skinToneKey = "Glimmerwick.preferredSkinTone";
const std::string lastCheckKey = "lastUpdateCheck";

/// Everything that a key may be read as; at most one of them.
struct Value {
    std::optional<std::string> string;
    std::optional<Strings> strings;
    std::optional<bool> boolean;

    friend bool operator==(const Value&, const Value&) = default;
};

Value valueOf(QtUserDefaults& defaults, const std::string& key)
{
    return {defaults.string(key), defaults.stringArray(key), defaults.boolean(key)};
}

using Values = std::map<std::string, Value>;

Value valueIn(const QJsonValue& json)
{
    Value value;
    if (json.isString()) {
        value.string = toUtf8(json.toString());
    } else if (json.isBool()) {
        value.boolean = json.toBool();
    } else if (json.isArray()) {
        const QJsonArray array = json.toArray();
        if (std::all_of(array.begin(), array.end(), [](const QJsonValue& each) { return each.isString(); })) {
            value.strings.emplace();
            for (const QJsonValue& each : array) {
                value.strings->push_back(toUtf8(each.toString()));
            }
        }
    }
    return value;
}

/// What a file says that nobody has mended, read without the adapter. Keys that are no text are left out.
Values valuesIn(const path& file)
{
    const QSettings settings(QFile::decodeName(file.c_str()), QSettings::IniFormat);
    Values values;
    for (const QString& key : settings.allKeys()) {
        const QVariant stored = settings.value(key);
        const QJsonArray list = QJsonDocument::fromJson('[' + stored.toString().toUtf8() + ']').array();
        const bool isText = stored.typeId() == QMetaType::QString && toQString(toUtf8(key)) == key;
        // Qt takes an empty part of a path for none, so these stand for other keys.
        const bool isPlain = !key.startsWith('/') && !key.endsWith('/') && !key.contains("//");
        if (isText && isPlain && list.size() == 1) {
            values[toUtf8(key)] = valueIn(list.first());
        }
    }
    return values;
}

std::string contentsOf(const path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const path& file, std::string_view bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

/// In memory where there is a place for that: settings are written through to the disk.
const path& workFolder()
{
    static const bool isSet =
        std::filesystem::is_directory("/dev/shm") && ::setenv("TMPDIR", "/dev/shm", 0) == 0;
    static const contract::TemporaryFolder folder;
    static_cast<void>(isSet);
    return folder.path();
}

/// The settings in a file of their own. Qt remembers files by their names, so no name is used twice.
class Subject {
public:
    explicit Subject(std::string_view bytes)
        : m_bytes(bytes), m_folder(workFolder() / std::to_string(++m_count))
    {
        std::filesystem::create_directories(m_folder);
        write(m_file, bytes);
        write(m_copy, bytes);
        m_written = valuesIn(m_copy);
    }
    ~Subject()
    {
        m_defaults.reset();
        std::filesystem::remove_all(m_folder);
    }
    Subject(const Subject&) = delete;
    Subject& operator=(const Subject&) = delete;

    /// As the next run of the program finds them; what it says on standard error.
    std::string restart()
    {
        CapturedErrors errors;
        m_defaults.reset();
        m_defaults = std::make_unique<QtUserDefaults>(m_file);
        return errors.text();
    }

    void checkLoading()
    {
        const std::string report = restart();
        const path aside = m_file.string() + ".corrupt";
        const bool isKept = std::filesystem::exists(aside);
        requireInvariant(std::ranges::count(report, '\n') == (isKept ? 1 : 0),
                         "damage is told of in one line");
        requireInvariant(contentsOf(isKept ? aside : m_file) == m_bytes, "no byte of the file is lost");
        checkValues(m_written, "what could be read stays in use");
    }

    void checkSetting(const std::string& text)
    {
        Values set = m_written;
        defaults().setString("Fuzz.string", text);
        defaults().setStringArray("Fuzz.strings", {text, "", text});
        defaults().setBoolean("Fuzz.boolean", !text.empty());
        const std::string kept = toUtf8(toQString(text));
        set["Fuzz.string"] = {kept, {}, {}};
        set["Fuzz.strings"] = {{}, Strings{kept, "", kept}, {}};
        set["Fuzz.boolean"] = {{}, {}, !text.empty()};
        checkValues(set, "what is set reads back");
        requireInvariant(restart().empty(), "what was written is not damaged");
        checkValues(set, "what was set reads back after a restart");
        requireInvariant(!std::filesystem::exists(m_file.string() + ".corrupt-2"), "damage is mended once");
    }

    QtUserDefaults& defaults() { return *m_defaults; }

private:
    void checkValues(const Values& expected, const char* invariant)
    {
        for (const auto& [key, value] : expected) {
            requireInvariant(valueOf(*m_defaults, key) == value, invariant);
        }
    }

    static inline int m_count = 0;
    const std::string m_bytes;
    const path m_folder;
    const path m_file = m_folder / "Glimmerwick.ini";
    const path m_copy = m_folder / "copy.ini";
    Values m_written;
    std::unique_ptr<QtUserDefaults> m_defaults;
};

Process makeProcess()
{
    Process process;
    process.cachesDirectory = "/home/user/.cache";
    process.defaultContentAddress = "https://content.example.invalid";
    return process;
}

/// What recent emoji need besides the settings.
struct Surroundings {
    const Process process = makeProcess();
    fakes::FakeLog log;
    fakes::FakeTime time;
    fakes::FakeFileClock fileClock;
    fakes::FakeFileSystem fileSystem;
    fakes::FakeHttpClient httpClient{time};
    fakes::FakeTextLayout textLayout;
    fakes::FakeImageCodec imageCodec;
    EmojiDataManager emojiDataManager{process, log,        fileSystem, fileClock,
                                      time,    httpClient, textLayout, imageCodec};
    NotificationCenter notificationCenter;
};

void checkRecents(QtUserDefaults& defaults)
{
    static const Manifest manifest = fakes::sampleManifest();
    constexpr std::size_t mostRecents = 30;
    Surroundings surroundings;
    const auto load = [&] {
        return RecentEmojisManager(defaults, surroundings.notificationCenter, surroundings.log,
                                   surroundings.emojiDataManager);
    };

    RecentEmojisManager recents = load();
    const Strings stored = defaults.stringArray(recentsKey).value_or(Strings());
    requireInvariant(recents.recentCodepoints() == stored, "recent emoji are those stored");
    Strings known;
    std::ranges::copy_if(stored, std::back_inserter(known),
                         [](const std::string& codepoint) { return manifest.emoji(codepoint).has_value(); });
    const std::vector<Emoji> resolved = recents.recentEmojis(manifest);
    requireInvariant(std::ranges::equal(resolved, known, {}, &Emoji::codepoint),
                     "those of the catalogue are shown");
    requireInvariant(recents.recentCodepoints() == known, "and only they are kept");

    const std::string added = known.empty() ? "1f601" : known.back();
    recents.addRecent(added);
    const Strings& now = recents.recentCodepoints();
    requireInvariant(now.front() == added && std::ranges::count(now, added) == 1,
                     "a pick comes first, and once");
    requireInvariant(now.size() <= mostRecents, "the list stays short");
    requireInvariant(load().recentCodepoints() == now, "the list is stored");
}

void checkSkinTone(QtUserDefaults& defaults)
{
    NotificationCenter notificationCenter;
    SkinTonePreferences preferences(defaults, notificationCenter);
    const SkinTone tone = preferences.preferredSkinTone();
    requireInvariant(tone == SkinTone::default_ || defaults.string(skinToneKey) == tone.rawValue(),
                     "a tone is one that is stored");
    Emoji emoji;
    emoji.codepoint = "1f44b";
    emoji.char_ = "\U0001f44b";
    emoji.skinTones = true;
    const std::string toned = preferences.applyPreferredSkinTone(emoji);
    requireInvariant(toned.starts_with(emoji.char_) && unicode::isWellFormed(toned),
                     "a toned emoji is an emoji");
    preferences.setPreferredSkinTone(SkinTone::dark);
    requireInvariant(preferences.preferredSkinTone() == SkinTone::dark, "a tone that is chosen is preferred");
}

void checkSchedule(QtUserDefaults& defaults)
{
    fakes::FakeFileClock clock;
    clock.time = std::chrono::system_clock::time_point(1'800'000'000s);
    UpdateSchedule schedule(clock, defaults, [](std::uint32_t bound) { return bound - 1; });
    requireInvariant(schedule.firstWait() >= 10min && schedule.firstWait() < 70min,
                     "the first wait is bounded");
    requireInvariant(schedule.nextWait() >= 30min && schedule.nextWait() <= 60min, "so is every other");
    schedule.recordFinished(UpdateSchedule::Outcome::succeeded);
    requireInvariant(!schedule.isDue(), "nothing is due after a check");
    clock.time += 25h;
    requireInvariant(schedule.isDue(), "a day later it is");
    requireInvariant(defaults.string(lastCheckKey) == "1800000000", "the check is remembered");
}

} // namespace
} // namespace glimmerwick

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // What Qt says of odd keys would be most of a run's time.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace glimmerwick;

    const std::string bytes(reinterpret_cast<const char*>(data), size);
    Subject subject(bytes);
    subject.checkLoading();
    subject.checkSetting(bytes);
    checkRecents(subject.defaults());
    checkSkinTone(subject.defaults());
    checkSchedule(subject.defaults());
    requireInvariant(subject.restart().empty(), "what the managers stored is not damaged");
    return 0;
}
