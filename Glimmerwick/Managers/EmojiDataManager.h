#pragma once

#include "Managers/AsyncSemaphore.h"
#include "Managers/CacheFolder.h"
#include "Models/Emoji.h"
#include "Models/Manifest.h"
#include "Models/Result.h"
#include "Platform/FileSystem.h"
#include "Platform/HttpClient.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Process.h"
#include "Platform/Registration.h"
#include "Platform/Task.h"

#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace glimmerwick {

class FileClock;
class ImageCodec;
class Log;
class MainQueue;
class TextLayout;
struct Platform;

/// Owns the catalogue: finds the content server, fetches the manifest, keeps a copy on disk, falls back to
/// that copy, and publishes the result. Also tells which emoji the system draws and brings pictures of those
/// it cannot.
///
/// Main thread, except `isEmojiNativelySupported`, which any thread may call.
class EmojiDataManager {
public:
    struct LoadingState {
        enum class Kind { idle, loading, loaded, error };

        Kind kind = Kind::idle;
        /// Only of an error.
        std::string message;

        friend bool operator==(const LoadingState&, const LoadingState&) = default;
    };

    struct ManifestError {
        enum class Kind { networkError, httpError, parsingError, noData };

        Kind kind = Kind::noData;
        int statusCode = 0;
        /// The description of what failed underneath; networkError and parsingError only.
        std::string underlying;

        std::string errorDescription() const;
    };

    struct ImageDownloadError {
        enum class Kind { networkError, httpError, saveFailed, noData, invalidImage };

        Kind kind = Kind::noData;
        int statusCode = 0;
        std::string underlying;

        std::string errorDescription() const;
    };

    static EmojiDataManager& shared();

    /// Logs the system's version and creates the cache folders.
    EmojiDataManager(const Process& process, Log& log, FileSystem& fileSystem, FileClock& fileClock,
                     MainQueue& mainQueue, HttpClient& httpClient, TextLayout& textLayout,
                     ImageCodec& imageCodec);
    ~EmojiDataManager();

    /// The current catalogue; absent until the first successful load, replaced only on success.
    const std::optional<Manifest>& manifest() const { return m_manifest; }
    const LoadingState& loadingState() const { return m_loadingState; }

    /// Calls the observer before each change of `manifest` or `loadingState`.
    Registration observeWillChange(std::function<void()> observer);

    /// Loads the manifest: a cache younger than a day unless forced, else the network, else the cache of any
    /// age. Its first step runs from the main queue, so a load started during launch does not hold the launch
    /// up. Fails only when both the network and the cache failed. The manager must outlive the task.
    Task<Result<Success, ManifestError>> fetchManifest(bool forceRefresh);

    /// Whether the colour emoji font draws the emoji, found by laying it out; remembered per codepoint.
    bool isEmojiNativelySupported(const Emoji& emoji);

    /// The local picture's path if a file exists there; its contents are not looked at.
    std::optional<std::filesystem::path> cachedImagePathIfExists(const Emoji& emoji) const;

    /// The local picture's path, after downloading it if no file exists there.
    Task<Result<std::filesystem::path, ImageDownloadError>> downloadImageIfNeeded(std::string codepoint);

    /// Downloads and stores the picture unconditionally. Six downloads are under way at once, the others wait
    /// in the order of their calls; destroying the task gives its place up.
    Task<Result<std::filesystem::path, ImageDownloadError>> downloadImage(std::string codepoint);

    /// The content server's address, read from the key files once.
    const std::string& productionBaseURL() const { return m_productionBaseURL; }
    /// The address of the picture of a codepoint string, whatever the string holds.
    std::string imageURL(std::string_view codepoint) const;
    /// The program's own cache folder.
    const std::filesystem::path& cacheDirectory() const { return m_cacheFolder.path(); }

    /// A slot for a periodic refresh. Nothing schedules one: the manager never refreshes on its own.
    Registration refreshTimer;

private:
    std::string readBaseURL(std::string_view key) const;
    void createCacheDirectories();
    bool isCacheExpired() const;
    std::optional<Manifest> loadManifestFromCache() const;
    void storeManifestInCache(const Manifest& manifest) const;
    void publish(Manifest manifest);
    void setLoadingState(LoadingState state);
    Task<Result<Manifest, ManifestError>> performManifestFetch();
    bool canRenderEmoji(std::string_view text);
    /// What becomes of a file that is there when a download's turn comes.
    enum class Existing { kept, replaced };
    Task<Result<std::filesystem::path, ImageDownloadError>> downloadImage(std::string codepoint,
                                                                          Existing existing);
    std::optional<std::filesystem::path> cachedImagePathIfExists(std::string_view codepoint) const;
    std::filesystem::path manifestPath() const;
    std::filesystem::path imagePath(std::string_view codepoint) const;

    const Process& m_process;
    Log& m_log;
    FileSystem& m_fileSystem;
    FileClock& m_fileClock;
    MainQueue& m_mainQueue;
    HttpClient& m_httpClient;
    TextLayout& m_textLayout;
    ImageCodec& m_imageCodec;

    const CacheFolder m_cacheFolder;
    const std::string m_productionBaseURL;
    const OperatingSystemVersion m_currentOSVersion;
    AsyncSemaphore m_imageRequests;

    std::optional<Manifest> m_manifest;
    LoadingState m_loadingState;
    NotificationCenter m_willChange;

    std::once_flag m_missingFontReport;
    mutable std::mutex m_cacheLock;
    std::unordered_map<std::string, bool> m_nativeSupportCache;
};

} // namespace glimmerwick
