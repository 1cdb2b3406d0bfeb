#include "Managers/EmojiDataManager.h"

#include "Managers/Awaitables.h"
#include "Managers/ContentAddress.h"
#include "Managers/KeyFile.h"
#include "Models/UnicodeText.h"
#include "Platform/Clock.h"
#include "Platform/ImageCodec.h"
#include "Platform/Log.h"
#include "Platform/Platform.h"
#include "Platform/TextLayout.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

namespace glimmerwick {

namespace {

constexpr std::string_view manifestName = "manifest.json";
constexpr std::string_view imagesFolderName = "emojis";
constexpr std::string_view imageSuffix = ".png";
constexpr std::string_view willChange = "willChange";

constexpr std::chrono::hours cacheLifetime(24);
constexpr std::chrono::seconds manifestTimeout(60);
constexpr int okStatus = 200;

constexpr std::size_t mebibyte = 1024 * 1024;
constexpr std::size_t maximumManifestSize = 32 * mebibyte;
constexpr std::size_t maximumImageSize = 16 * mebibyte;

/// What browsers open to one server.
constexpr std::size_t imageRequestsAtOnce = 6;

constexpr double probePointSize = 16;
constexpr std::string_view missingFont =
    "No colour emoji font was found, so every emoji needs a picture. One is in the package "
    "fonts-noto-color-emoji.";

/// Whether a codepoint string can name a file: it comes from a manifest that nobody has checked.
bool canNameImage(std::string_view codepoint)
{
    constexpr std::size_t longestFileName = 255;
    return !codepoint.empty() && codepoint.size() + imageSuffix.size() <= longestFileName
        && codepoint.find_first_not_of("0123456789abcdefABCDEF-") == std::string_view::npos;
}

template <typename Error> Failure<Error> failure(typename Error::Kind kind, std::string underlying = {})
{
    return Failure{Error{kind, 0, std::move(underlying)}};
}

/// The body of a response that is a plain success with content; what each request does with it differs.
template <typename Error> Result<std::string, Error> bodyOf(Result<HttpResponse, TransportError> outcome)
{
    if (!outcome) {
        return failure<Error>(Error::Kind::networkError, outcome.error().description);
    }
    HttpResponse& response = outcome.value();
    if (!response.statusCode) {
        return failure<Error>(Error::Kind::noData);
    }
    if (*response.statusCode != okStatus) {
        return Failure{Error{Error::Kind::httpError, *response.statusCode, {}}};
    }
    if (response.body.empty()) {
        return failure<Error>(Error::Kind::noData);
    }
    return std::move(response.body);
}

} // namespace

std::string EmojiDataManager::ManifestError::errorDescription() const
{
    switch (kind) {
    case Kind::networkError:
        return "Network error: " + underlying;
    case Kind::httpError:
        return "HTTP error: status code " + std::to_string(statusCode);
    case Kind::parsingError:
        return "JSON parsing error: " + underlying;
    case Kind::noData:
        break;
    }
    return "No data received from server";
}

std::string EmojiDataManager::ImageDownloadError::errorDescription() const
{
    switch (kind) {
    case Kind::networkError:
        return "Network error: " + underlying;
    case Kind::httpError:
        return "HTTP error: status code " + std::to_string(statusCode);
    case Kind::saveFailed:
        return "Failed to save image: " + underlying;
    case Kind::noData:
        return "No data received from server";
    case Kind::invalidImage:
        break;
    }
    return "Downloaded data is not a valid image";
}

EmojiDataManager& EmojiDataManager::shared()
{
    return InstalledPlatform::sharedInstance<EmojiDataManager>([](const Platform& platform) {
        return std::make_unique<EmojiDataManager>(platform.process, platform.log, platform.fileSystem,
                                                  platform.fileClock, platform.mainQueue, platform.httpClient,
                                                  platform.textLayout, platform.imageCodec);
    });
}

EmojiDataManager::EmojiDataManager(const Process& process, Log& log, FileSystem& fileSystem,
                                   FileClock& fileClock, MainQueue& mainQueue, HttpClient& httpClient,
                                   TextLayout& textLayout, ImageCodec& imageCodec)
    : m_process(process), m_log(log), m_fileSystem(fileSystem), m_fileClock(fileClock),
      m_mainQueue(mainQueue), m_httpClient(httpClient), m_textLayout(textLayout), m_imageCodec(imageCodec),
      m_cacheFolder(fileSystem, process.cachesDirectory / "Glimmerwick"),
      m_productionBaseURL(readBaseURL("PRODUCTION_BASE_URL")),
      m_currentOSVersion(process.operatingSystemVersion), m_imageRequests(mainQueue, imageRequestsAtOnce)
{
    m_log.print("[OS VERSION] Detected macOS " + std::to_string(m_currentOSVersion.major) + "."
                + std::to_string(m_currentOSVersion.minor) + "." + std::to_string(m_currentOSVersion.patch));
    createCacheDirectories();
}

EmojiDataManager::~EmojiDataManager() = default;

Registration EmojiDataManager::observeWillChange(std::function<void()> observer)
{
    return m_willChange.addObserver(std::string(willChange),
                                    [observer = std::move(observer)](const Notification&) { observer(); });
}

void EmojiDataManager::setLoadingState(LoadingState state)
{
    m_willChange.post({std::string(willChange), this, std::nullopt});
    m_loadingState = std::move(state);
}

void EmojiDataManager::publish(Manifest manifest)
{
    m_willChange.post({std::string(willChange), this, std::nullopt});
    m_manifest = std::move(manifest);
    setLoadingState({LoadingState::Kind::loaded, {}});
}

std::string EmojiDataManager::readBaseURL(std::string_view key) const
{
    for (const std::filesystem::path& keyFile : m_process.keyFiles) {
        const auto text = m_fileSystem.read(keyFile);
        if (!text || !unicode::isWellFormed(text.value())) {
            continue;
        }
        if (auto value = valueInKeyFile(text.value(), key)) {
            return isURL(*value) ? *value : m_process.defaultContentAddress;
        }
    }
    return m_process.defaultContentAddress;
}

void EmojiDataManager::createCacheDirectories()
{
    const auto create = [this](const std::filesystem::path& folder, const std::string& complaint) {
        if (m_cacheFolder.exists(folder)) {
            return;
        }
        const auto created = m_cacheFolder.createDirectories(folder);
        if (!created) {
            m_log.print(complaint + created.error().description);
        }
    };
    create(cacheDirectory(), "Failed to create cache directory: ");
    create(cacheDirectory() / imagesFolderName, "Failed to create emoji images directory: ");
}

std::filesystem::path EmojiDataManager::manifestPath() const
{
    return cacheDirectory() / manifestName;
}

bool EmojiDataManager::isCacheExpired() const
{
    if (!m_cacheFolder.exists(manifestPath())) {
        return true;
    }
    const auto date = m_fileSystem.modificationDate(manifestPath());
    if (!date) {
        m_log.print("Failed to check cache age: " + date.error().description);
        return true;
    }
    return !date.value() || *date.value() < m_fileClock.now() - cacheLifetime;
}

std::optional<Manifest> EmojiDataManager::loadManifestFromCache() const
{
    if (!m_cacheFolder.exists(manifestPath())) {
        return std::nullopt;
    }
    const std::string complaint = "Failed to load cached manifest: ";
    const auto bytes = m_cacheFolder.read(manifestPath());
    if (!bytes) {
        m_log.print(complaint + bytes.error().description);
        return std::nullopt;
    }
    auto manifest = Manifest::decode(bytes.value());
    if (!manifest) {
        m_log.print(complaint + manifest.error().description);
        return std::nullopt;
    }
    return std::move(manifest).value();
}

void EmojiDataManager::storeManifestInCache(const Manifest& manifest) const
{
    const auto written = m_cacheFolder.write(manifestPath(), manifest.encode());
    if (!written) {
        m_log.print("Warning: Failed to cache manifest: " + written.error().description);
    }
}

Task<Result<Success, EmojiDataManager::ManifestError>> EmojiDataManager::fetchManifest(bool forceRefresh)
{
    co_await MainQueueHop(m_mainQueue);
    setLoadingState({LoadingState::Kind::loading, {}});
    if (!forceRefresh && !isCacheExpired()) {
        if (auto cached = loadManifestFromCache()) {
            publish(std::move(*cached));
            co_return Success{};
        }
    }

    auto fetched = co_await performManifestFetch();
    if (fetched) {
        storeManifestInCache(fetched.value());
        publish(std::move(fetched).value());
        co_return Success{};
    }

    const ManifestError error = fetched.error();
    if (auto cached = loadManifestFromCache()) {
        m_log.print("Network error, using cached manifest: " + error.errorDescription());
        publish(std::move(*cached));
        co_return Success{};
    }
    setLoadingState({LoadingState::Kind::error, error.errorDescription()});
    co_return Failure{error};
}

Task<Result<Manifest, EmojiDataManager::ManifestError>> EmojiDataManager::performManifestFetch()
{
    HttpRequest request;
    request.url = appendingPathComponent(m_productionBaseURL, manifestName);
    request.headers = {{"Accept-Encoding", "gzip, deflate, br"}};
    request.timeout = manifestTimeout;
    request.maximumBodySize = maximumManifestSize;
    auto outcome = co_await HttpGet(m_httpClient, std::move(request));

    const auto body = bodyOf<ManifestError>(std::move(outcome));
    if (!body) {
        co_return Failure{body.error()};
    }
    auto manifest = Manifest::decode(body.value());
    if (!manifest) {
        co_return failure<ManifestError>(ManifestError::Kind::parsingError, manifest.error().description);
    }
    co_return std::move(manifest).value();
}

bool EmojiDataManager::isEmojiNativelySupported(const Emoji& emoji)
{
    {
        const std::lock_guard lock(m_cacheLock);
        if (const auto found = m_nativeSupportCache.find(emoji.codepoint);
            found != m_nativeSupportCache.end()) {
            return found->second;
        }
    }
    // Without the lock: layout is slow, and when two threads compute one answer it is the same twice.
    const bool isSupported = canRenderEmoji(emoji.char_);
    const std::lock_guard lock(m_cacheLock);
    m_nativeSupportCache[emoji.codepoint] = isSupported;
    return isSupported;
}

bool EmojiDataManager::canRenderEmoji(std::string_view text)
{
    const auto runs = m_textLayout.layOut(text, probePointSize);
    if (!runs) {
        std::call_once(m_missingFontReport, [this] { m_log.print(missingFont); });
        return false;
    }
    if (runs->empty()) {
        return false;
    }
    std::size_t glyphCount = 0;
    for (const GlyphRun& run : *runs) {
        if (std::find(run.glyphs.begin(), run.glyphs.end(), 0U) != run.glyphs.end()) {
            return false;
        }
        glyphCount += run.glyphs.size();
    }
    return glyphCount == unicode::graphemeClusterCount(text);
}

std::string EmojiDataManager::imageURL(std::string_view codepoint) const
{
    return appendingPathComponent(appendingPathComponent(m_productionBaseURL, imagesFolderName),
                                  std::string(codepoint).append(imageSuffix));
}

std::filesystem::path EmojiDataManager::imagePath(std::string_view codepoint) const
{
    return cacheDirectory() / imagesFolderName / std::string(codepoint).append(imageSuffix);
}

std::optional<std::filesystem::path>
EmojiDataManager::cachedImagePathIfExists(std::string_view codepoint) const
{
    if (!canNameImage(codepoint)) {
        return std::nullopt;
    }
    auto path = imagePath(codepoint);
    return m_cacheFolder.exists(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::filesystem::path> EmojiDataManager::cachedImagePathIfExists(const Emoji& emoji) const
{
    return cachedImagePathIfExists(emoji.codepoint);
}

Task<Result<std::filesystem::path, EmojiDataManager::ImageDownloadError>>
EmojiDataManager::downloadImageIfNeeded(std::string codepoint)
{
    if (auto path = cachedImagePathIfExists(codepoint)) {
        co_return *std::move(path);
    }
    auto downloaded = co_await downloadImage(std::move(codepoint), Existing::kept);
    co_return downloaded;
}

Task<Result<std::filesystem::path, EmojiDataManager::ImageDownloadError>>
EmojiDataManager::downloadImage(std::string codepoint)
{
    auto downloaded = co_await downloadImage(std::move(codepoint), Existing::replaced);
    co_return downloaded;
}

Task<Result<std::filesystem::path, EmojiDataManager::ImageDownloadError>>
EmojiDataManager::downloadImage(std::string codepoint, Existing existing)
{
    using Kind = ImageDownloadError::Kind;
    if (!canNameImage(codepoint)) {
        co_return failure<ImageDownloadError>(Kind::invalidImage);
    }
    const auto permit = co_await m_imageRequests.acquire();
    // Another request for the same picture may have ended while this one waited.
    if (auto path = cachedImagePathIfExists(codepoint); path && existing == Existing::kept) {
        co_return *std::move(path);
    }
    HttpRequest request;
    request.url = imageURL(codepoint);
    request.maximumBodySize = maximumImageSize;
    auto outcome = co_await HttpGet(m_httpClient, std::move(request));

    const auto body = bodyOf<ImageDownloadError>(std::move(outcome));
    if (!body) {
        co_return Failure{body.error()};
    }
    if (!m_imageCodec.isDecodableImage(body.value())) {
        co_return failure<ImageDownloadError>(Kind::invalidImage);
    }
    const auto path = imagePath(codepoint);
    const auto written = m_cacheFolder.write(path, body.value());
    if (!written) {
        co_return failure<ImageDownloadError>(Kind::saveFailed, written.error().description);
    }
    co_return path;
}

} // namespace glimmerwick
