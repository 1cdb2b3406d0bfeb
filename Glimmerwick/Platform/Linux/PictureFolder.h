#pragma once

#include "Models/Result.h"
#include "Platform/Linux/PictureFile.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <system_error>

namespace glimmerwick {

/// The folder of the files of pictures. Nothing else belongs into it, and no link is followed to it or in it.
/// Any thread.
class PictureFolder {
public:
    struct Limits {
        std::uint32_t picturesPerFile = 8192;
        std::size_t files = 8;
        /// Of all files, as long as they are; of some parts nothing is on the disk.
        std::uint64_t bytes = 256 * 1024 * 1024;
    };

    struct Problem {
        std::filesystem::path path;
        std::error_code reason;
    };

    /// The folder need not exist.
    PictureFolder(std::filesystem::path path, Limits limits);

    const Limits& limits() const { return m_limits; }

    std::optional<PictureFile> openForReading(const PictureFileHeader& header) const;
    /// Makes the folder, too, for nobody but the user.
    Result<PictureFile, Problem> openForWriting(const PictureFileHeader& header) const;
    /// Removes every file that no program like this one would read for pictures of this maker, and those that
    /// would be over the limits if one of them grew by so many bytes: that whose use is longest ago first.
    /// The given one stays, and so does what somebody writes to at the time. By how many bytes files may grow
    /// then.
    std::uint64_t tidy(const PictureFileHeader& kept, std::uint64_t growth) const;

    std::filesystem::path pathOf(const PictureFileHeader& header) const { return m_path / header.fileName(); }

private:
    const std::filesystem::path m_path;
    const Limits m_limits;
};

} // namespace glimmerwick
