#pragma once

#include "Models/Result.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

struct FileError {
    /// One readable line: what failed, where, why.
    std::string description;
};

/// Files and folders. Any thread.
class FileSystem {
public:
    virtual ~FileSystem() = default;

    virtual bool exists(const std::filesystem::path& path) = 0;
    /// Whether a symbolic link stands on the way from the folder to the path, which lies below it; the path's
    /// own name counts, the folder's does not.
    virtual bool leadsThroughLink(const std::filesystem::path& folder, const std::filesystem::path& path) = 0;
    virtual Result<std::string, FileError> read(const std::filesystem::path& path) = 0;
    /// Puts a whole new file in place of the one that has the name, if any, in one step: the old one stays as
    /// it is when that fails, and no part of the new one is left behind.
    virtual Result<Success, FileError> write(const std::filesystem::path& path, std::string_view bytes) = 0;
    /// Removes the file; a success as well when there is none.
    virtual Result<Success, FileError> remove(const std::filesystem::path& path) = 0;
    /// Gives the file another name in one step, in place of a file that has it.
    virtual Result<Success, FileError> rename(const std::filesystem::path& from,
                                              const std::filesystem::path& to) = 0;
    virtual Result<Success, FileError> createDirectories(const std::filesystem::path& path) = 0;
    /// The names of the files right in the folder, in the order of their bytes: no folders, symbolic links,
    /// FIFOs, sockets or devices.
    virtual Result<std::vector<std::string>, FileError> regularFiles(const std::filesystem::path& folder) = 0;
    /// Nothing inside a success: the file has no such date.
    virtual Result<std::optional<std::chrono::system_clock::time_point>, FileError>
    modificationDate(const std::filesystem::path& path) = 0;
    virtual Result<Success, FileError> setModificationDate(const std::filesystem::path& path,
                                                           std::chrono::system_clock::time_point date) = 0;
};

} // namespace glimmerwick
