#include "Platform/Linux/Files.h"

#include "Platform/Linux/FileDescriptor.h"
#include "Platform/Linux/WholeFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace glimmerwick {

namespace {

using std::filesystem::path;

std::string describe(std::error_code error)
{
    return error.message();
}

std::string describeErrno()
{
    return describe(std::error_code(errno, std::generic_category()));
}

Failure<FileError> failure(const char* action, const path& subject, const std::string& reason)
{
    return Failure{FileError{std::string("cannot ") + action + " " + subject.string() + ": " + reason}};
}

// Without O_NONBLOCK opening a FIFO waits for its other end, and writing to a pipe or terminal for its
// reader.
constexpr int neverWait = O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

constexpr mode_t readableByAll = 0666;

/// Reads to the end of the file, which may change meanwhile. An empty reason is success.
std::string readAll(int descriptor, std::size_t limit, std::string& bytes)
{
    std::size_t filled = 0;
    while (true) {
        // One byte more than the limit, so that a file that outgrew it is noticed.
        constexpr std::size_t chunk = 64 * 1024;
        if (bytes.size() == filled) {
            bytes.resize(std::min(filled + chunk, limit + 1));
        }
        const ssize_t count = ::read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return describeErrno();
        }
        if (count == 0) {
            bytes.resize(filled);
            return {};
        }
        filled += static_cast<std::size_t>(count);
        if (filled > limit) {
            return describe(std::make_error_code(std::errc::file_too_large));
        }
    }
}

/// What is no regular file keeps its place and is written into. False: see errno.
bool writeInto(const path& path, std::string_view bytes)
{
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | neverWait, readableByAll));
    return file && writeAll(file, bytes) && file.close();
}

std::chrono::system_clock::time_point toTimePoint(const timespec& time)
{
    return std::chrono::system_clock::time_point(std::chrono::seconds(time.tv_sec)
                                                 + std::chrono::nanoseconds(time.tv_nsec));
}

timespec toTimespec(std::chrono::system_clock::time_point time)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    timespec result{};
    result.tv_sec = static_cast<time_t>(seconds.time_since_epoch().count());
    result.tv_nsec = static_cast<long>(std::chrono::nanoseconds(time - seconds).count());
    return result;
}

} // namespace

bool LocalFileSystem::exists(const path& path)
{
    std::error_code error;
    return std::filesystem::exists(path, error);
}

bool LocalFileSystem::leadsThroughLink(const path& folder, const path& path)
{
    std::filesystem::path reached = folder;
    for (const std::filesystem::path& name : path.lexically_relative(folder)) {
        reached /= name;
        std::error_code error;
        if (std::filesystem::is_symlink(reached, error)) {
            return true;
        }
    }
    return false;
}

Result<std::string, FileError> LocalFileSystem::read(const path& path)
{
    constexpr const char* action = "read";
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | neverWait));
    struct stat status { };
    if (!file || ::fstat(file.get(), &status) != 0) {
        return failure(action, path, describeErrno());
    }
    if (S_ISDIR(status.st_mode)) {
        return failure(action, path, describe(std::make_error_code(std::errc::is_a_directory)));
    }
    if (!S_ISREG(status.st_mode)) {
        return failure(action, path, "Not a regular file");
    }
    const auto size = static_cast<std::uintmax_t>(status.st_size);
    if (size > maximumReadSize) {
        return failure(action, path, describe(std::make_error_code(std::errc::file_too_large)));
    }

    std::string bytes(static_cast<std::size_t>(size) + 1, '\0');
    const std::string reason = readAll(file.get(), maximumReadSize, bytes);
    if (!reason.empty()) {
        return failure(action, path, reason);
    }
    return bytes;
}

Result<Success, FileError> LocalFileSystem::write(const path& path, std::string_view bytes)
{
    struct stat status { };
    const bool isSpecial = ::lstat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    if (!(isSpecial ? writeInto(path, bytes) : writeWholeFile(path, bytes, readableByAll))) {
        return failure("write", path, describeErrno());
    }
    return Success{};
}

Result<Success, FileError> LocalFileSystem::remove(const path& path)
{
    if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
        return failure("remove", path, describeErrno());
    }
    return Success{};
}

Result<Success, FileError> LocalFileSystem::createDirectories(const path& path)
{
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) {
        return failure("create folder", path, describe(error));
    }
    return Success{};
}

Result<std::vector<std::string>, FileError> LocalFileSystem::regularFiles(const path& folder)
{
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        // A file that is gone by now has no status, and is no file.
        std::error_code gone;
        if (std::filesystem::is_regular_file(entry->symlink_status(gone))) {
            names.push_back(entry->path().filename().string());
        }
        entry.increment(error);
    }
    if (error) {
        return failure("list folder", folder, describe(error));
    }
    std::ranges::sort(names);
    return names;
}

Result<std::optional<std::chrono::system_clock::time_point>, FileError>
LocalFileSystem::modificationDate(const path& path)
{
    struct stat status { };
    if (::stat(path.c_str(), &status) != 0) {
        return failure("read the date of", path, describeErrno());
    }
    return std::optional(toTimePoint(status.st_mtim));
}

Result<Success, FileError> LocalFileSystem::rename(const path& from, const path& to)
{
    if (std::rename(from.c_str(), to.c_str()) != 0) {
        return failure("rename", from, describeErrno());
    }
    return Success{};
}

Result<Success, FileError> LocalFileSystem::setModificationDate(const path& path,
                                                                std::chrono::system_clock::time_point date)
{
    timespec unchanged{};
    unchanged.tv_nsec = UTIME_OMIT;
    const timespec times[] = {unchanged, toTimespec(date)};
    if (::utimensat(AT_FDCWD, path.c_str(), times, 0) != 0) {
        return failure("set the date of", path, describeErrno());
    }
    return Success{};
}

} // namespace glimmerwick
