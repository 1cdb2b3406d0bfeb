#include "Platform/Linux/PictureFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace glimmerwick {

namespace {

// Without O_NONBLOCK opening a FIFO waits for its other end.
constexpr int openFlags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

template <typename T> std::span<std::byte> bytesOf(T& value)
{
    return std::as_writable_bytes(std::span(&value, 1));
}

template <typename T> std::span<const std::byte> bytesOf(const T& value)
{
    return std::as_bytes(std::span(&value, 1));
}

} // namespace

PictureFile::PictureFile(FileDescriptor file, const PictureFileHeader& header)
    : m_file(std::move(file)), m_header(header), m_headerChecksum(pictureChecksum(bytesOf(header)))
{
}

std::optional<PictureFile> PictureFile::openForReading(const FileDescriptor& folder,
                                                       const PictureFileHeader& header)
{
    FileDescriptor descriptor(::openat(folder.get(), header.fileName().c_str(), O_RDONLY | openFlags));
    if (!descriptor) {
        return std::nullopt;
    }
    PictureFile file(std::move(descriptor), header);
    if (!file.hasItsHeader()) {
        return std::nullopt;
    }
    file.markAsUsed();
    return file;
}

Result<PictureFile, std::error_code> PictureFile::openForWriting(const FileDescriptor& folder,
                                                                 const PictureFileHeader& header)
{
    FileDescriptor descriptor(::openat(folder.get(), header.fileName().c_str(), O_RDWR | openFlags));
    if (!descriptor) {
        const bool isLinkOrMissing = errno == ENOENT || errno == ELOOP;
        return isLinkOrMissing ? makeEmpty(folder, header) : Failure{lastError()};
    }
    // Held until the file is replaced, if it has to be, so that nobody loses the file that is written to.
    PictureFile file(std::move(descriptor), header);
    if (!file.lock()) {
        return Failure{lastError()};
    }
    if (file.isRemoved()) {
        // Somebody has just replaced it, and is the writer then.
        return Failure{std::make_error_code(std::errc::operation_would_block)};
    }
    if (!file.hasItsHeader()) {
        return makeEmpty(folder, header);
    }
    file.countPictures();
    if (!file.isWorthKeeping()) {
        return makeEmpty(folder, header);
    }
    file.markAsUsed();
    return file;
}

Result<PictureFile, std::error_code> PictureFile::makeEmpty(const FileDescriptor& folder,
                                                            const PictureFileHeader& header)
{
    constexpr mode_t onlyForTheUser = 0600;
    const std::string name = header.fileName();
    const std::string temporary = name + ".new";
    // A killed program may have left one.
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    FileDescriptor descriptor(
        ::openat(folder.get(), temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | openFlags, onlyForTheUser));
    if (!descriptor) {
        return Failure{lastError()};
    }
    PictureFile file(std::move(descriptor), header);
    if (!file.lock() || !file.writeAt(0, bytesOf(header))
        || ::renameat(folder.get(), temporary.c_str(), folder.get(), name.c_str()) != 0) {
        const std::error_code reason = lastError();
        ::unlinkat(folder.get(), temporary.c_str(), 0);
        return Failure{reason};
    }
    return file;
}

bool PictureFile::contains(std::string_view text) const
{
    const auto wanted = PictureHead::of(text);
    return wanted && find(*wanted).head;
}

bool PictureFile::read(std::string_view text, std::span<std::byte> pixels) const
{
    const auto wanted = PictureHead::of(text);
    if (!wanted || pixels.size() != m_header.byteCount) {
        return false;
    }
    const auto head = find(*wanted).head;
    return head && readPixels(*head, pixels);
}

Result<PictureFile::Outcome, std::error_code> PictureFile::write(std::string_view text,
                                                                 std::span<const std::byte> pixels)
{
    auto head = PictureHead::of(text);
    if (!head || pixels.size() != m_header.byteCount) {
        return Failure{std::make_error_code(std::errc::invalid_argument)};
    }
    const Place place = find(*head);
    head->pixelChecksum = pictureChecksum(pixels);
    if (place.head && place.head->pixelChecksum == head->pixelChecksum) {
        std::vector<std::byte> present(pixels.size());
        if (readPixels(*place.head, present)) {
            return Outcome::kept;
        }
    }
    if (!place.index || m_nextNumber >= m_header.headCount) {
        return Outcome::full;
    }
    head->number = m_nextNumber;
    head->seal(m_headerChecksum);
    if (!writeAt(m_header.pictureOffset(head->number), pixels)
        || !writeAt(m_header.headOffset(*place.index), bytesOf(*head))) {
        return Failure{lastError()};
    }
    ++m_nextNumber;
    return Outcome::kept;
}

bool PictureFile::isRemoved() const
{
    struct stat status { };
    return ::fstat(m_file.get(), &status) != 0 || status.st_nlink == 0;
}

std::uint64_t PictureFile::growth() const
{
    const std::uint64_t size = m_nextNumber == 0 ? sizeof(m_header) : m_header.pictureOffset(m_nextNumber);
    return m_header.pictureOffset(m_nextNumber + std::uint64_t{1}) - size;
}

bool PictureFile::hasItsHeader() const
{
    PictureFileHeader present;
    return readAt(0, bytesOf(present)) == sizeof(present) && present == m_header;
}

bool PictureFile::lock() const
{
    return ::flock(m_file.get(), LOCK_EX | LOCK_NB) == 0;
}

/// The file's date tells which files are not used any more, and the kernel need not keep one of reading.
void PictureFile::markAsUsed() const
{
    ::futimens(m_file.get(), nullptr);
}

void PictureFile::countPictures()
{
    constexpr std::uint32_t headsAtOnce = 512;
    m_nextNumber = 0;
    m_intactHeads = 0;
    std::vector<PictureHead> heads;
    for (std::uint32_t first = 0; first < m_header.headCount; first += headsAtOnce) {
        heads.assign(std::min(headsAtOnce, m_header.headCount - first), PictureHead());
        readAt(m_header.headOffset(first), std::as_writable_bytes(std::span(heads)));
        for (const PictureHead& head : heads) {
            if (!head.isEmpty() && isIntact(head)) {
                ++m_intactHeads;
                m_nextNumber = std::max(m_nextNumber, head.number + 1);
            }
        }
    }
}

/// Pictures that were replaced keep their room, and somebody may have made the file longer than it can get:
/// one that has no room left, and not for its pictures, is worth less than an empty one.
bool PictureFile::isWorthKeeping() const
{
    struct stat status { };
    if (::fstat(m_file.get(), &status) != 0) {
        return false;
    }
    const bool isWornOut = m_nextNumber >= m_header.headCount && m_intactHeads <= m_header.headCount / 2;
    return !isWornOut
        && static_cast<std::uint64_t>(status.st_size) <= m_header.pictureOffset(m_header.headCount);
}

PictureFile::Place PictureFile::find(const PictureHead& wanted) const
{
    // Three heads in four may be taken before a text has to be refused; usually the first few decide.
    constexpr std::uint32_t farthest = 64;
    constexpr std::uint32_t headsAtOnce = 8;
    const std::uint32_t home = wanted.homePlace(m_header.headCount);
    const std::uint32_t limit = std::min(farthest, m_header.headCount);
    Place place;
    for (std::uint32_t distance = 0; distance < limit;) {
        const std::uint32_t first =
            static_cast<std::uint32_t>((std::uint64_t{home} + distance) % m_header.headCount);
        const std::uint32_t count = std::min({headsAtOnce, limit - distance, m_header.headCount - first});
        std::array<PictureHead, headsAtOnce> heads{};
        readAt(m_header.headOffset(first), std::as_writable_bytes(std::span(heads).first(count)));
        for (std::uint32_t index = 0; index < count; ++index) {
            const PictureHead& head = heads[index];
            // A damaged head may stand where others had to go past.
            const bool isTaken = !head.isEmpty() && isIntact(head);
            if (isTaken && head.hasTextOf(wanted)) {
                return {first + index, head};
            }
            if (!isTaken && !place.index) {
                place.index = first + index;
            }
            if (head.isEmpty()) {
                return place;
            }
        }
        distance += count;
    }
    return place;
}

bool PictureFile::isIntact(const PictureHead& head) const
{
    return head.isIntact(m_headerChecksum, m_header.headCount);
}

bool PictureFile::readPixels(const PictureHead& head, std::span<std::byte> pixels) const
{
    return readAt(m_header.pictureOffset(head.number), pixels) == pixels.size()
        && pictureChecksum(pixels) == head.pixelChecksum;
}

/// As many bytes as there are; what cannot be read is not there.
std::size_t PictureFile::readAt(std::uint64_t offset, std::span<std::byte> bytes) const
{
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::pread(m_file.get(), bytes.data() + filled, bytes.size() - filled,
                                      static_cast<off_t>(offset + filled));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    return filled;
}

/// False: see errno.
bool PictureFile::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) const
{
    while (!bytes.empty()) {
        const ssize_t count = ::pwrite(m_file.get(), bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        offset += static_cast<std::uint64_t>(count);
        bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace glimmerwick
