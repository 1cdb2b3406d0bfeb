#include "Managers/BundledCatalogue.h"

#include "Managers/CacheFolder.h"
#include "Models/Manifest.h"
#include "Platform/FileSystem.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

namespace {

constexpr std::string_view imagesFolderName = "emojis";
constexpr std::chrono::system_clock::time_point seedDate =
    std::chrono::sys_days(std::chrono::year(2001) / std::chrono::January / 1);

using Report = std::function<void(std::string_view)>;

class Seeder {
public:
    Seeder(FileSystem& fileSystem, const std::filesystem::path& bundle,
           const std::filesystem::path& cacheDirectory, const Report& report)
        : m_fileSystem(fileSystem), m_report(report), m_cacheFolder(fileSystem, cacheDirectory),
          m_bundled(bundle / "manifest.json"), m_cached(cacheDirectory / "manifest.json"),
          m_bundledImages(bundle / imagesFolderName), m_cachedImages(cacheDirectory / imagesFolderName)
    {
    }

    void run()
    {
        seedManifest();
        seedImages();
    }

private:
    void seedManifest()
    {
        if (!m_fileSystem.exists(m_cached)) {
            if (const auto bundled = read(m_bundled)) {
                write(*bundled);
            }
        } else if (isCacheASeed()) {
            replaceSeed();
        }
    }

    void seedImages()
    {
        // An installation without images is whole: they are made where npm and a network are at hand.
        if (!m_fileSystem.exists(m_bundledImages)) {
            return;
        }
        const auto names = m_fileSystem.regularFiles(m_bundledImages);
        if (!names) {
            report(names.error().description);
            return;
        }
        for (const std::string& name : names.value()) {
            if (name.ends_with(".png") && !hasImage(m_cachedImages / name)) {
                seedImage(name);
            }
        }
    }

    void seedImage(const std::string& name)
    {
        const auto bytes = read(m_bundledImages / name);
        if (!bytes || !hasFolder(m_cachedImages)) {
            return;
        }
        succeeded(m_cacheFolder.write(m_cachedImages / name, *bytes));
    }

    /// An empty file, which a power cut leaves of one just written, is none.
    bool hasImage(const std::filesystem::path& image)
    {
        if (!m_fileSystem.exists(image)) {
            return false;
        }
        const auto bytes = m_fileSystem.read(image);
        return !bytes || !bytes.value().empty();
    }

    bool isCacheASeed()
    {
        const auto date = m_fileSystem.modificationDate(m_cached);
        if (!date) {
            report(date.error().description);
        }
        return date && date.value() == seedDate;
    }

    void replaceSeed()
    {
        const auto bundled = read(m_bundled);
        const auto cached = read(m_cached);
        // Equal bytes, the case of almost every start, need no decoding.
        if (!bundled || bundled == cached) {
            return;
        }
        const auto offered = Manifest::decode(*bundled);
        if (!offered) {
            report(m_bundled.string() + ": " + offered.error().description);
            return;
        }
        const auto present = Manifest::decode(cached.value_or(""));
        if (!present || present.value().version() != offered.value().version()) {
            write(*bundled);
        }
    }

    std::optional<std::string> read(const std::filesystem::path& path)
    {
        auto bytes = m_fileSystem.read(path);
        if (!bytes) {
            report(bytes.error().description);
            return std::nullopt;
        }
        return std::move(bytes).value();
    }

    void write(std::string_view bytes)
    {
        if (!hasFolder(m_cacheFolder.path())) {
            return;
        }
        // Dated before it gets its name: what an interrupted start left there would count as a fetched cache,
        // and never be replaced.
        const std::filesystem::path undated = m_cacheFolder.path() / "manifest.json.seed";
        if (succeeded(m_cacheFolder.write(undated, bytes))
            && !(succeeded(m_fileSystem.setModificationDate(undated, seedDate))
                 && succeeded(m_fileSystem.rename(undated, m_cached)))) {
            // Nobody would come back for it once a cache is fetched.
            static_cast<void>(m_fileSystem.remove(undated));
        }
    }

    /// Makes the folder when it is not there.
    bool hasFolder(const std::filesystem::path& folder)
    {
        return m_cacheFolder.exists(folder) || succeeded(m_cacheFolder.createDirectories(folder));
    }

    bool succeeded(const Result<Success, FileError>& result)
    {
        if (!result) {
            report(result.error().description);
        }
        return result.isSuccess();
    }

    void report(std::string_view problem) { m_report("bundled catalogue: " + std::string(problem)); }

    FileSystem& m_fileSystem;
    const Report& m_report;
    const CacheFolder m_cacheFolder;
    const std::filesystem::path m_bundled;
    const std::filesystem::path m_cached;
    const std::filesystem::path m_bundledImages;
    const std::filesystem::path m_cachedImages;
};

} // namespace

void BundledCatalogue::seed(FileSystem& fileSystem, const std::filesystem::path& bundle,
                            const std::filesystem::path& cacheDirectory,
                            const std::function<void(std::string_view)>& report)
{
    Seeder(fileSystem, bundle, cacheDirectory, report).run();
}

} // namespace glimmerwick
