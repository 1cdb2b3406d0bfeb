#pragma once

#include "Models/Result.h"
#include "Platform/FileSystem.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace glimmerwick {

/// The program's own folder of files that can be fetched again. Catalogues name what goes into it, and other
/// programs may write there, so no symbolic link below the folder is followed, wherever it leads: what stands
/// behind one is taken for absent and is never written to. Main thread.
class CacheFolder {
public:
    /// The folder need not exist. The file system must outlive this.
    CacheFolder(FileSystem& fileSystem, std::filesystem::path folder);

    /// All paths given below lie in this one.
    const std::filesystem::path& path() const { return m_path; }

    bool exists(const std::filesystem::path& path) const;
    Result<std::string, FileError> read(const std::filesystem::path& path) const;
    /// Replaces the file's contents in place.
    Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) const;
    /// Also when it exists already.
    Result<Success, FileError> createDirectories(const std::filesystem::path& path) const;

private:
    Result<Success, FileError> checkReachable(const std::filesystem::path& path) const;

    FileSystem& m_fileSystem;
    const std::filesystem::path m_path;
};

} // namespace glimmerwick
