#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

namespace glimmerwick {

class FileSystem;

/// Seeds the cache with the catalogue that the installation carries, so that the picker works offline from
/// the first minute. The seeded file gets one fixed old modification time: it counts as expired, so the
/// network is still asked first, and it can be told from a fetched cache, which is never touched.
class BundledCatalogue {
public:
    BundledCatalogue() = delete;

    /// Copies the bundled manifest into the cache when the cache has none, or holds an earlier
    /// seed with another version, and every bundled image that the cache lacks. Images are never replaced:
    /// one that was fetched is as good. Problems are given to `report` and absorbed.
    static void seed(FileSystem& fileSystem, const std::filesystem::path& bundle,
                     const std::filesystem::path& cacheDirectory,
                     const std::function<void(std::string_view)>& report);
};

} // namespace glimmerwick
