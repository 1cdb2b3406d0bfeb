#pragma once

#include "Platform/FileSystem.h"

#include <cstddef>

namespace glimmerwick {

/// The files of this machine. Only regular files are read: a folder, FIFO, socket or device is refused
/// instead of waited for. Nor does writing wait for a reader.
class LocalFileSystem : public FileSystem {
public:
    /// A larger file is not read.
    static constexpr std::size_t maximumReadSize = 64 * 1024 * 1024;

    bool exists(const std::filesystem::path& path) override;
    bool leadsThroughLink(const std::filesystem::path& folder, const std::filesystem::path& path) override;
    Result<std::string, FileError> read(const std::filesystem::path& path) override;
    Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) override;
    Result<Success, FileError> remove(const std::filesystem::path& path) override;
    Result<Success, FileError> rename(const std::filesystem::path& from,
                                      const std::filesystem::path& to) override;
    Result<Success, FileError> createDirectories(const std::filesystem::path& path) override;
    Result<std::vector<std::string>, FileError> regularFiles(const std::filesystem::path& folder) override;
    Result<std::optional<std::chrono::system_clock::time_point>, FileError>
    modificationDate(const std::filesystem::path& path) override;
    Result<Success, FileError> setModificationDate(const std::filesystem::path& path,
                                                   std::chrono::system_clock::time_point date) override;
};

} // namespace glimmerwick
