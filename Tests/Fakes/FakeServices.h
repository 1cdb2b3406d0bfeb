#pragma once

#include "Platform/AccessibilityTrust.h"
#include "Platform/FileSystem.h"
#include "Platform/HttpClient.h"
#include "Platform/ImageCodec.h"
#include "Platform/Log.h"
#include "Platform/MainQueue.h"
#include "Platform/MenuHost.h"
#include "Platform/Shell.h"
#include "Platform/TextLayout.h"
#include "Platform/UserDefaults.h"

#include <algorithm>
#include <any>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace glimmerwick::fakes {

/// Keeps every line, escaped as it would be printed.
class FakeLog : public Log {
public:
    std::vector<std::string> lines;

    bool contains(std::string_view line) const
    {
        return std::find(lines.begin(), lines.end(), line) != lines.end();
    }

protected:
    void write(std::string_view line) override { lines.emplace_back(line); }
};

class FakeUserDefaults : public UserDefaults {
public:
    std::optional<std::string> string(const std::string& key) override { return read<std::string>(key); }
    std::optional<std::vector<std::string>> stringArray(const std::string& key) override
    {
        return read<std::vector<std::string>>(key);
    }
    std::optional<bool> boolean(const std::string& key) override { return read<bool>(key); }
    void setString(const std::string& key, const std::string& value) override { write(key, value); }
    void setStringArray(const std::string& key, const std::vector<std::string>& value) override
    {
        write(key, value);
    }
    void setBoolean(const std::string& key, bool value) override { write(key, value); }
    void synchronize() override { ++synchronizeCount; }

    std::map<std::string, std::any> values;
    int writeCount = 0;
    int synchronizeCount = 0;

private:
    template <typename T> std::optional<T> read(const std::string& key)
    {
        const auto found = values.find(key);
        if (found == values.end()) {
            return std::nullopt;
        }
        const T* value = std::any_cast<T>(&found->second);
        return value ? std::optional<T>(*value) : std::nullopt;
    }
    template <typename T> void write(const std::string& key, const T& value)
    {
        ++writeCount;
        values[key] = value;
    }
};

/// Keeps requests until the test answers them; an answer arrives through the main queue, like a real one.
class FakeHttpClient : public HttpClient {
public:
    struct Exchange {
        HttpRequest request;
        Completion completion;
        /// The handle was destroyed before the completion ran.
        bool cancelled = false;
        bool answered = false;
        bool completed = false;
    };

    explicit FakeHttpClient(MainQueue& mainQueue) : m_mainQueue(mainQueue) { }

    Registration get(HttpRequest request, Completion completion) override
    {
        auto exchange = std::make_shared<Exchange>();
        exchange->request = std::move(request);
        exchange->completion = std::move(completion);
        exchanges.push_back(exchange);
        if (respond) {
            answer(exchanges.size() - 1, respond(exchange->request));
        }
        return Registration([exchange] { exchange->cancelled = !exchange->completed; });
    }

    void answer(std::size_t index, Result<HttpResponse, TransportError> result)
    {
        auto exchange = exchanges.at(index);
        exchange->answered = true;
        m_mainQueue.async([exchange, result = std::move(result)] {
            if (!exchange->cancelled) {
                exchange->completed = true;
                exchange->completion(result);
            }
        });
    }
    void answer(std::size_t index, int statusCode, std::string body)
    {
        answer(index, HttpResponse{statusCode, std::move(body)});
    }

    std::vector<std::shared_ptr<Exchange>> exchanges;
    /// When set, every request is answered with its result at once.
    std::function<Result<HttpResponse, TransportError>(const HttpRequest&)> respond;

private:
    MainQueue& m_mainQueue;
};

/// Files in a map. Paths named in the failure sets fail.
class FakeFileSystem : public FileSystem {
public:
    struct File {
        std::string bytes;
        std::optional<std::chrono::system_clock::time_point> modificationDate;
    };

    bool exists(const std::filesystem::path& path) override
    {
        ++accessCount;
        return files.count(path) != 0 || directories.count(path) != 0;
    }
    bool leadsThroughLink(const std::filesystem::path& folder, const std::filesystem::path& path) override
    {
        ++accessCount;
        std::filesystem::path reached = folder;
        for (const std::filesystem::path& name : path.lexically_relative(folder)) {
            reached /= name;
            if (links.count(reached) != 0) {
                return true;
            }
        }
        return false;
    }
    Result<std::string, FileError> read(const std::filesystem::path& path) override
    {
        ++accessCount;
        if (unreadable.count(path) != 0 || files.count(path) == 0) {
            return failure("read", path);
        }
        return files.at(path).bytes;
    }
    Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) override
    {
        ++accessCount;
        if (unwritable.count(path) != 0) {
            return failure("write", path);
        }
        files[path] = File{std::string(bytes), now};
        ++writeCount;
        return Success{};
    }
    Result<Success, FileError> remove(const std::filesystem::path& path) override
    {
        ++accessCount;
        if (unwritable.count(path) != 0) {
            return failure("remove", path);
        }
        files.erase(path);
        return Success{};
    }
    Result<Success, FileError> createDirectories(const std::filesystem::path& path) override
    {
        ++accessCount;
        if (unwritable.count(path) != 0) {
            return failure("create", path);
        }
        directories.insert(path);
        return Success{};
    }
    Result<std::vector<std::string>, FileError> regularFiles(const std::filesystem::path& folder) override
    {
        ++accessCount;
        std::vector<std::string> names;
        for (const auto& [path, file] : files) {
            if (path.parent_path() == folder) {
                names.push_back(path.filename().string());
            }
        }
        if (unreadable.count(folder) != 0 || (names.empty() && directories.count(folder) == 0)) {
            return failure("list folder", folder);
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    Result<std::optional<std::chrono::system_clock::time_point>, FileError>
    modificationDate(const std::filesystem::path& path) override
    {
        ++accessCount;
        if (undatable.count(path) != 0 || files.count(path) == 0) {
            return failure("stat", path);
        }
        return files.at(path).modificationDate;
    }
    Result<Success, FileError> rename(const std::filesystem::path& from,
                                      const std::filesystem::path& to) override
    {
        ++accessCount;
        if (unwritable.count(to) != 0 || files.count(from) == 0) {
            return failure("rename", from);
        }
        files[to] = std::move(files.at(from));
        files.erase(from);
        return Success{};
    }
    Result<Success, FileError> setModificationDate(const std::filesystem::path& path,
                                                   std::chrono::system_clock::time_point date) override
    {
        ++accessCount;
        if (unwritable.count(path) != 0 || files.count(path) == 0) {
            return failure("date", path);
        }
        files.at(path).modificationDate = date;
        return Success{};
    }

    std::map<std::filesystem::path, File> files;
    std::set<std::filesystem::path> directories;
    /// Those among the files and directories that are reached through a symbolic link of this name.
    std::set<std::filesystem::path> links;
    std::set<std::filesystem::path> unreadable;
    std::set<std::filesystem::path> unwritable;
    std::set<std::filesystem::path> undatable;
    std::chrono::system_clock::time_point now{std::chrono::sys_days{std::chrono::year{2026} / 11 / 21}};
    int writeCount = 0;
    /// Operations of any kind, failed ones too.
    int accessCount = 0;

private:
    static Failure<FileError> failure(const char* what, const std::filesystem::path& path)
    {
        return Failure{FileError{std::string("cannot ") + what + " " + path.string()}};
    }
};

/// Answers from a table; a text that is not in it is one run of one glyph, and the empty text has no runs.
class FakeTextLayout : public TextLayout {
public:
    std::optional<std::vector<GlyphRun>> layOut(std::string_view text, double) override
    {
        ++layOutCount;
        if (!hasFont) {
            return std::nullopt;
        }
        if (const auto found = runs.find(std::string(text)); found != runs.end()) {
            return found->second;
        }
        return text.empty() ? std::vector<GlyphRun>() : std::vector<GlyphRun>{GlyphRun{{1}}};
    }

    bool hasFont = true;
    std::map<std::string, std::vector<GlyphRun>> runs;
    int layOutCount = 0;
};

/// Bytes that begin with "PNG" are pictures; a text is as wide as its size times its bytes.
class FakeImageCodec : public ImageCodec {
public:
    bool isDecodableImage(std::string_view bytes) override { return bytes.substr(0, 3) == "PNG"; }
    TextExtent measureText(std::string_view text, double pointSize) override
    {
        return {pointSize * static_cast<double>(text.size()), pointSize};
    }
    Image drawText(std::string_view, double, int width, int height) override
    {
        ++drawCount;
        return Image{width, height,
                     std::vector<std::uint32_t>(static_cast<std::size_t>(width * height), 0xff000000)};
    }

    int drawCount = 0;
};

class FakeAccessibilityTrust : public AccessibilityTrust {
public:
    bool isTrusted() override { return trusted; }
    bool isTrustedWithPrompt() override
    {
        ++promptCount;
        return trusted;
    }
    bool canBeGranted() override { return grantable; }

    bool trusted = true;
    bool grantable = true;
    int promptCount = 0;
};

class FakeMenuHost : public MenuHost {
public:
    void setMainMenu(std::vector<MenuItem> menuItems) override
    {
        items = std::move(menuItems);
        if (calls) {
            calls->emplace_back("setMainMenu");
        }
    }
    void showAboutPanel() override { ++aboutCount; }
    void terminate() override { ++terminateCount; }

    std::vector<MenuItem> items;
    int aboutCount = 0;
    std::vector<std::string>* calls = nullptr;
    int terminateCount = 0;
};

class FakeAlert : public Alert {
public:
    void show(AlertContent content, std::function<void(std::size_t)> completion) override
    {
        shown.push_back(std::move(content));
        answer = std::move(completion);
        if (calls) {
            calls->emplace_back("show alert");
        }
    }

    std::vector<std::string>* calls = nullptr;
    std::vector<AlertContent> shown;
    /// Presses the button of the alert shown last.
    std::function<void(std::size_t)> answer;
};

class FakeFileViewer : public FileViewer {
public:
    void openApplicationsFolder() override { ++applicationsFolderCount; }

    int applicationsFolderCount = 0;
};

class FakeVolumeInfo : public VolumeInfo {
public:
    std::optional<bool> isInstallationReadOnly() override { return readOnly; }

    std::optional<bool> readOnly = false;
};

class FakeUserNotice : public UserNotice {
public:
    void post(const NoticeContent& content) override { posted.push_back(content); }

    std::vector<NoticeContent> posted;
};

class FakeUpdater : public Updater {
public:
    void start() override
    {
        ++startCount;
        if (calls) {
            calls->emplace_back("start updater");
        }
    }
    void checkForUpdates() override { ++checkCount; }

    int startCount = 0;
    std::vector<std::string>* calls = nullptr;
    int checkCount = 0;
};

} // namespace glimmerwick::fakes
