#include "Managers/BundledCatalogue.h"

#include "Models/Manifest.h"
#include "Platform/FileSystem.h"

#include <chrono>
#include <optional>
#include <string>

namespace glimmerwick {

namespace {

constexpr std::chrono::system_clock::time_point seedDate =
    std::chrono::sys_days(std::chrono::year(2001) / std::chrono::January / 1);

using Report = std::function<void(std::string_view)>;

class Seeder {
public:
    Seeder(FileSystem& fileSystem, const std::filesystem::path& bundle,
           const std::filesystem::path& cacheDirectory, const Report& report)
        : m_fileSystem(fileSystem), m_report(report), m_cacheDirectory(cacheDirectory),
          m_bundled(bundle / "manifest.json"), m_cached(cacheDirectory / "manifest.json")
    {
    }

    void run()
    {
        if (!m_fileSystem.exists(m_cached)) {
            if (const auto bundled = read(m_bundled)) {
                write(*bundled);
            }
        } else if (isCacheASeed()) {
            replaceSeed();
        }
    }

private:
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
        if (!m_fileSystem.exists(m_cacheDirectory)
            && !succeeded(m_fileSystem.createDirectories(m_cacheDirectory))) {
            return;
        }
        // Complete and dated before it gets its name: what an interrupted start left there would count as a
        // fetched cache, and never be replaced.
        const std::filesystem::path unfinished = m_cacheDirectory / "manifest.json.seed";
        if (succeeded(m_fileSystem.write(unfinished, bytes))
            && succeeded(m_fileSystem.setModificationDate(unfinished, seedDate))) {
            succeeded(m_fileSystem.rename(unfinished, m_cached));
        }
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
    const std::filesystem::path m_cacheDirectory;
    const std::filesystem::path m_bundled;
    const std::filesystem::path m_cached;
};

} // namespace

void BundledCatalogue::seed(FileSystem& fileSystem, const std::filesystem::path& bundle,
                            const std::filesystem::path& cacheDirectory,
                            const std::function<void(std::string_view)>& report)
{
    Seeder(fileSystem, bundle, cacheDirectory, report).run();
}

} // namespace glimmerwick
