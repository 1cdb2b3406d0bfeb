#include "Platform/Linux/PictureFolder.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace glimmerwick {

namespace {

struct Entry {
    std::string name;
    std::uint64_t size;
    timespec lastUse;
};

FileDescriptor openFolder(const std::filesystem::path& path)
{
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// None: see errno.
FileDescriptor openOrMakeFolder(const std::filesystem::path& path)
{
    constexpr mode_t onlyForTheUser = 0700;
    FileDescriptor folder = openFolder(path);
    if (folder || errno != ENOENT) {
        return folder;
    }
    std::error_code error;
    std::filesystem::create_directories(path.parent_path(), error);
    // Another process may have made it by now.
    if (::mkdir(path.c_str(), onlyForTheUser) != 0 && errno != EEXIST) {
        return folder;
    }
    return openFolder(path);
}

bool isOfPictures(std::string_view name)
{
    return name.ends_with(".pictures") || name.ends_with(".pictures.new");
}

std::vector<Entry> pictureFiles(const FileDescriptor& folder)
{
    std::vector<Entry> entries;
    // A stream takes its descriptor over, and what is duplicated shares its position with the first.
    FileDescriptor descriptor(::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::fdopendir(descriptor.get()), ::closedir);
    if (!stream) {
        return entries;
    }
    descriptor.release();
    while (const dirent* const entry = ::readdir(stream.get())) {
        struct stat status { };
        if (isOfPictures(entry->d_name)
            && ::fstatat(folder.get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0
            && S_ISREG(status.st_mode)) {
            entries.push_back({entry->d_name, static_cast<std::uint64_t>(status.st_size), status.st_mtim});
        }
    }
    return entries;
}

FileDescriptor openEntry(const FileDescriptor& folder, const Entry& entry)
{
    constexpr int flags = O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    return FileDescriptor(::openat(folder.get(), entry.name.c_str(), flags));
}

bool isReadable(const FileDescriptor& folder, const Entry& entry, const PictureFileHeader& reader)
{
    const FileDescriptor file = openEntry(folder, entry);
    PictureFileHeader header;
    return file && ::pread(file.get(), &header, sizeof(header), 0) == static_cast<ssize_t>(sizeof(header))
        && header.isRelatedTo(reader);
}

/// False when somebody writes to it, or it cannot be removed.
bool removeUnused(const FileDescriptor& folder, const Entry& entry)
{
    const FileDescriptor file = openEntry(folder, entry);
    return file && ::flock(file.get(), LOCK_EX | LOCK_NB) == 0
        && ::unlinkat(folder.get(), entry.name.c_str(), 0) == 0;
}

std::uint64_t sizeOf(const std::vector<Entry>& entries)
{
    return std::accumulate(entries.begin(), entries.end(), std::uint64_t{0},
                           [](std::uint64_t size, const Entry& entry) { return size + entry.size; });
}

} // namespace

PictureFolder::PictureFolder(std::filesystem::path path, Limits limits)
    : m_path(std::move(path)), m_limits(limits)
{
}

std::optional<PictureFile> PictureFolder::openForReading(const PictureFileHeader& header) const
{
    const FileDescriptor folder = openFolder(m_path);
    return folder ? PictureFile::openForReading(folder, header) : std::nullopt;
}

Result<PictureFile, PictureFolder::Problem>
PictureFolder::openForWriting(const PictureFileHeader& header) const
{
    const FileDescriptor folder = openOrMakeFolder(m_path);
    if (!folder) {
        return Failure{Problem{m_path, {errno, std::generic_category()}}};
    }
    auto file = PictureFile::openForWriting(folder, header);
    if (!file) {
        return Failure{Problem{pathOf(header), file.error()}};
    }
    return std::move(file).value();
}

std::uint64_t PictureFolder::tidy(const PictureFileHeader& kept, std::uint64_t growth) const
{
    const FileDescriptor folder = openFolder(m_path);
    if (!folder) {
        return 0;
    }
    std::vector<Entry> entries = pictureFiles(folder);
    std::erase_if(entries, [&](const Entry& entry) {
        return entry.name != kept.fileName() && !isReadable(folder, entry, kept)
            && removeUnused(folder, entry);
    });

    std::ranges::sort(entries, {}, [](const Entry& entry) {
        return std::tuple(entry.lastUse.tv_sec, entry.lastUse.tv_nsec);
    });
    for (auto oldest = entries.begin(); oldest != entries.end();) {
        if (entries.size() <= m_limits.files && sizeOf(entries) + growth <= m_limits.bytes) {
            break;
        }
        const bool isGone = oldest->name != kept.fileName() && removeUnused(folder, *oldest);
        oldest = isGone ? entries.erase(oldest) : std::next(oldest);
    }
    const std::uint64_t size = sizeOf(entries);
    return size < m_limits.bytes ? m_limits.bytes - size : 0;
}

} // namespace glimmerwick
