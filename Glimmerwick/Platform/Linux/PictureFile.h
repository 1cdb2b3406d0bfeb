#pragma once

#include "Models/Result.h"
#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/PictureFileFormat.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>

namespace glimmerwick {

/// An open file of pictures of one kind. Others may read it, write it, cut it short or replace it meanwhile:
/// whatever stands in it, no picture is handed out that is not whole, and nothing is read through a mapping,
/// which a file cut short would turn into a signal.
///
/// No picture is ever written over another, and its head is written behind it. So who reads at the same time
/// finds a whole picture or none, and after a kill or a power cut the checksums decide. Not thread-safe; any
/// number of these may have the same file open.
class PictureFile {
public:
    enum class Outcome {
        kept,
        /// The table is full where the text belongs, or there are as many pictures as heads.
        full,
    };

    /// Nothing when the folder has no file of this kind, or the file is no regular one.
    static std::optional<PictureFile> openForReading(const FileDescriptor& folder,
                                                     const PictureFileHeader& header);

    /// For the only writer at a time, other processes included: another one fails with
    /// `operation_would_block`. A missing file is made; one that is of another kind, damaged or worn out is
    /// replaced by an empty one in one step, and so are links and whatever else has the name, except a
    /// folder.
    static Result<PictureFile, std::error_code> openForWriting(const FileDescriptor& folder,
                                                               const PictureFileHeader& header);

    bool contains(std::string_view text) const;
    /// Into exactly the kind's byte count.
    bool read(std::string_view text, std::span<std::byte> pixels) const;
    /// Only of a file that is open for writing. Exactly the kind's byte count.
    Result<Outcome, std::error_code> write(std::string_view text, std::span<const std::byte> pixels);

    /// Whether the file has no name any more: what is written into it is lost.
    bool isRemoved() const;
    /// By how many bytes the next picture makes the file longer.
    std::uint64_t growth() const;
    const PictureFileHeader& header() const { return m_header; }

private:
    struct Place {
        /// Where the text's head stands, or where it may be put; nothing when there is no room.
        std::optional<std::uint32_t> index;
        std::optional<PictureHead> head;
    };

    PictureFile(FileDescriptor file, const PictureFileHeader& header);

    static Result<PictureFile, std::error_code> makeEmpty(const FileDescriptor& folder,
                                                          const PictureFileHeader& header);

    bool hasItsHeader() const;
    bool lock() const;
    void markAsUsed() const;
    void countPictures();
    bool isWorthKeeping() const;
    Place find(const PictureHead& wanted) const;
    bool isIntact(const PictureHead& head) const;
    bool readPixels(const PictureHead& head, std::span<std::byte> pixels) const;
    std::size_t readAt(std::uint64_t offset, std::span<std::byte> bytes) const;
    bool writeAt(std::uint64_t offset, std::span<const std::byte> bytes) const;

    FileDescriptor m_file;
    const PictureFileHeader m_header;
    const std::uint32_t m_headerChecksum;
    /// Of the next picture: one more than the highest in the table.
    std::uint32_t m_nextNumber = 0;
    std::uint32_t m_intactHeads = 0;
};

} // namespace glimmerwick
