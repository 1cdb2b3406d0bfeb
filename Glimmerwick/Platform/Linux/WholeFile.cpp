#include "Platform/Linux/WholeFile.h"

#include "Platform/Linux/FileDescriptor.h"

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

using std::filesystem::path;

constexpr mode_t permissionBits = 07777;

struct Request {
    const path& file;
    std::string_view bytes;
    mode_t mode;
    /// Of the file that is replaced.
    std::optional<mode_t> oldMode;
    Durability durability;
};

/// For the moment between a whole file and its name. Always the same, so that what a killed program leaves is
/// gone with the next write of this file.
path temporaryName(const path& file)
{
    path name = file;
    name += ".new";
    return name;
}

/// Takes the room beforehand: a full disk is noticed before anything is written. False: see errno.
bool reserveRoom(const FileDescriptor& file, std::size_t size)
{
    if (size == 0 || ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(size)) == 0) {
        return true;
    }
    // Anything else is a file system that cannot do it.
    return errno != ENOSPC && errno != EDQUOT;
}

/// Some file systems, of networks and of other systems, know no modes to be changed.
bool giveMode(const FileDescriptor& file, mode_t mode)
{
    struct stat status { };
    const bool hasIt = ::fstat(file.get(), &status) == 0 && (status.st_mode & permissionBits) == mode;
    return hasIt || ::fchmod(file.get(), mode) == 0 || errno == EPERM || errno == EOPNOTSUPP;
}

bool fill(const FileDescriptor& file, const Request& request)
{
    return reserveRoom(file, request.bytes.size()) && writeAll(file, request.bytes)
        && (!request.oldMode || giveMode(file, *request.oldMode))
        && (request.durability == Durability::untilPowerFails || ::fdatasync(file.get()) == 0);
}

bool link(const std::string& source, const path& name)
{
    return ::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

/// Removes the temporary file, for a reason that errno goes on to tell. False, for the caller to return.
bool abandon(const path& temporary)
{
    const int reason = errno;
    ::unlink(temporary.c_str());
    errno = reason;
    return false;
}

bool giveName(const path& temporary, const Request& request)
{
    return ::rename(temporary.c_str(), request.file.c_str()) == 0 || abandon(temporary);
}

/// By a file without a name, of which nothing is left if the program is killed.
bool writeUnnamed(const Request& request)
{
    const path parent = request.file.has_parent_path() ? request.file.parent_path() : path(".");
    FileDescriptor file(::open(parent.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, request.mode));
    if (!file || !fill(file, request)) {
        return false;
    }
    const std::string source = "/proc/self/fd/" + std::to_string(file.get());
    if (!request.oldMode && link(source, request.file)) {
        return true;
    }
    // A link does not replace what is there.
    const path temporary = temporaryName(request.file);
    ::unlink(temporary.c_str());
    return link(source, temporary) && giveName(temporary, request);
}

/// For file systems, of networks most of all, that have no files without a name.
bool writeNamed(const Request& request)
{
    const path temporary = temporaryName(request.file);
    ::unlink(temporary.c_str());
    FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, request.mode));
    if (!file) {
        return false;
    }
    if (!fill(file, request) || !file.close()) {
        return abandon(temporary);
    }
    return giveName(temporary, request);
}

} // namespace

bool writeWholeFile(const path& path, std::string_view bytes, mode_t mode, Durability durability)
{
    struct stat status { };
    const bool exists = ::lstat(path.c_str(), &status) == 0;
    // A link lets everybody do everything; the file that takes its place must not.
    const mode_t oldMode = S_ISLNK(status.st_mode) ? mode : status.st_mode & permissionBits;
    const Request request{path, bytes, mode, exists ? std::optional(oldMode) : std::nullopt, durability};
    return writeUnnamed(request) || writeNamed(request);
}

} // namespace glimmerwick
