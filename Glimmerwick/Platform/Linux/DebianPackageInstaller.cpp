#include "Platform/Linux/DebianPackageInstaller.h"

#include "Platform/Linux/DefaultApplication.h"
#include "Platform/Linux/FileDescriptor.h"

#include <cerrno>
#include <memory>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace glimmerwick {

namespace {

constexpr const char* programFolder = "Glimmerwick";
constexpr const char* packagesFolder = "updates";
constexpr const char* packageType = "application/vnd.debian.binary-package";

constexpr mode_t onlyForTheUser = 0700;
constexpr mode_t writableByOthers = S_IWGRP | S_IWOTH;
constexpr mode_t accessOfOthers = S_IRWXG | S_IRWXO;
constexpr mode_t readOnlyForTheUser = 0400;

bool isPlainName(const std::string& name)
{
    return !name.empty() && !name.starts_with('.') && name.find('/') == std::string::npos
        && name.find('\0') == std::string::npos;
}

/// None: see errno.
FileDescriptor refused(int reason)
{
    errno = reason;
    return FileDescriptor(-1);
}

/// A folder in which others may not exchange what belongs to this user. None: see errno.
FileDescriptor openCaches(const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    FileDescriptor caches(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status { };
    if (!caches || ::fstat(caches.get(), &status) != 0) {
        return FileDescriptor(-1);
    }
    // The installer gets a path, and whoever may rename folders in here decides what lies there.
    const bool isOwnersTrusted = status.st_uid == ::geteuid() || status.st_uid == 0;
    const bool isGroupTrusted = (status.st_mode & S_IWGRP) == 0 || status.st_gid == ::getegid();
    const bool isKept =
        (status.st_mode & S_ISVTX) != 0 || (isGroupTrusted && (status.st_mode & S_IWOTH) == 0);
    return isOwnersTrusted && isKept ? std::move(caches) : refused(EPERM);
}

/// Makes it when it is missing, and takes the access away from others. None: see errno.
FileDescriptor openOwnFolder(const FileDescriptor& parent, const char* name, mode_t withheld)
{
    if (::mkdirat(parent.get(), name, onlyForTheUser) != 0 && errno != EEXIST) {
        return FileDescriptor(-1);
    }
    FileDescriptor folder(::openat(parent.get(), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status { };
    if (!folder || ::fstat(folder.get(), &status) != 0) {
        return FileDescriptor(-1);
    }
    if (status.st_uid != ::geteuid()) {
        return refused(EPERM);
    }
    const mode_t mode = status.st_mode & ~static_cast<mode_t>(S_IFMT);
    if ((mode & withheld) != 0 && ::fchmod(folder.get(), mode & ~withheld) != 0) {
        return FileDescriptor(-1);
    }
    return folder;
}

/// None: see errno.
FileDescriptor openPackagesFolder(const std::filesystem::path& cachesDirectory)
{
    const FileDescriptor caches = openCaches(cachesDirectory);
    if (!caches) {
        return FileDescriptor(-1);
    }
    const FileDescriptor program = openOwnFolder(caches, programFolder, writableByOthers);
    if (!program) {
        return FileDescriptor(-1);
    }
    return openOwnFolder(program, packagesFolder, accessOfOthers);
}

/// What cannot be removed stays: it does no harm.
void removeFiles(const FileDescriptor& folder)
{
    FileDescriptor listed(::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::fdopendir(listed.get()), ::closedir);
    if (!entries) {
        return;
    }
    listed.release();
    while (const dirent* entry = ::readdir(entries.get())) {
        ::unlinkat(folder.get(), entry->d_name, 0);
    }
}

/// A new file, on the disk when this returns. False: see errno; then there is none.
bool writePackage(const FileDescriptor& folder, const std::string& name, std::string_view package)
{
    FileDescriptor file(::openat(folder.get(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, readOnlyForTheUser));
    if (!file) {
        return false;
    }
    if (writeAll(file, package) && ::fsync(file.get()) == 0 && file.close() && ::fsync(folder.get()) == 0) {
        return true;
    }
    const int reason = errno;
    ::unlinkat(folder.get(), name.c_str(), 0);
    errno = reason;
    return false;
}

} // namespace

DebianPackageInstaller::DebianPackageInstaller(std::filesystem::path cachesDirectory)
    : m_cachesDirectory(std::move(cachesDirectory))
{
}

Result<Success, std::string> DebianPackageInstaller::handOver(const std::string& fileName,
                                                              std::string_view package)
{
    const auto folder = m_cachesDirectory / programFolder / packagesFolder;
    const auto cannotKeep = [&folder](int reason) {
        return Failure{"The package cannot be kept in " + folder.string() + ": "
                       + std::generic_category().message(reason) + "."};
    };
    if (!isPlainName(fileName)) {
        return cannotKeep(EINVAL);
    }
    const FileDescriptor opened = openPackagesFolder(m_cachesDirectory);
    if (!opened) {
        return cannotKeep(errno);
    }
    removeFiles(opened);
    if (!writePackage(opened, fileName, package)) {
        return cannotKeep(errno);
    }
    const auto file = folder / fileName;
    const auto handedOver = openInDefaultApplication(file, packageType);
    if (!handedOver) {
        return Failure{"The package is kept as " + file.string()
                       + ", but could not be opened: " + handedOver.error() + "."};
    }
    return Success{};
}

} // namespace glimmerwick
