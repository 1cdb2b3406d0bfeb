// Takes the place of the C library's calls that change files, for this program and the libraries that it
// uses, and asks the injector about each. What writes inside of the C library itself is not seen: streams of
// its own.

#include "Faults/FaultInjector.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

// The names and parameters are the C library's, as is what it declares of them.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name, cert-dcl50-cpp)

namespace {

using glimmerwick::faults::FaultInjector;
using Verdict = FaultInjector::Verdict;

FaultInjector& injector()
{
    return FaultInjector::current();
}

template <typename Function> Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

bool changesFiles(int flags)
{
    return (flags & O_ACCMODE) != O_RDONLY || (flags & O_CREAT) != 0;
}

bool isUnnamed(int flags)
{
    return (flags & O_TMPFILE) == O_TMPFILE;
}

bool takesMode(int flags)
{
    return (flags & O_CREAT) != 0 || isUnnamed(flags);
}

using OpenAt = int(int, const char*, int, ...);

int openFile(const char* name, int folder, const char* path, int flags, mode_t mode)
{
    static OpenAt* const real = next<OpenAt>("openat64");
    if (changesFiles(flags)) {
        if (isUnnamed(flags) && !injector().hasUnnamedFiles(path)) {
            errno = EOPNOTSUPP;
            return -1;
        }
        if (injector().judgeAt(name, folder, path) != Verdict::goesOn) {
            return -1;
        }
    }
    return real(folder, path, flags, mode);
}

/// The part of the bytes that gets written, or the whole for none.
template <typename Write> ssize_t writeFile(const char* name, int descriptor, std::size_t size, Write write)
{
    switch (injector().judgeDescriptor(name, descriptor, true)) {
    case Verdict::fails:
        return -1;
    case Verdict::writesHalf:
        return write(size / 2);
    case Verdict::goesOn:
        break;
    }
    return write(size);
}

template <typename Call> int changeFile(Verdict verdict, Call call)
{
    return verdict == Verdict::goesOn ? call() : -1;
}

} // namespace

extern "C" {

#define GLIMMERWICK_OPEN_MODE(flags, last)                                                                   \
    mode_t mode = 0;                                                                                         \
    if (takesMode(flags)) {                                                                                  \
        va_list arguments;                                                                                   \
        va_start(arguments, last);                                                                           \
        mode = static_cast<mode_t>(va_arg(arguments, int));                                                  \
        va_end(arguments);                                                                                   \
    }

int open(const char* path, int flags, ...)
{
    GLIMMERWICK_OPEN_MODE(flags, flags)
    return openFile("open", AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    GLIMMERWICK_OPEN_MODE(flags, flags)
    return openFile("open", AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...)
{
    GLIMMERWICK_OPEN_MODE(flags, flags)
    return openFile("openat", folder, path, flags, mode);
}

int openat64(int folder, const char* path, int flags, ...)
{
    GLIMMERWICK_OPEN_MODE(flags, flags)
    return openFile("openat", folder, path, flags, mode);
}

ssize_t write(int descriptor, const void* bytes, std::size_t size)
{
    static auto* const real = next<ssize_t(int, const void*, std::size_t)>("write");
    return writeFile("write", descriptor, size,
                     [&](std::size_t count) { return real(descriptor, bytes, count); });
}

ssize_t pwrite(int descriptor, const void* bytes, std::size_t size, off_t offset)
{
    static auto* const real = next<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
    return writeFile("pwrite", descriptor, size,
                     [&](std::size_t count) { return real(descriptor, bytes, count, offset); });
}

ssize_t pwrite64(int descriptor, const void* bytes, std::size_t size, off64_t offset)
{
    return pwrite(descriptor, bytes, size, offset);
}

ssize_t writev(int descriptor, const iovec* parts, int count)
{
    static auto* const real = next<ssize_t(int, const iovec*, int)>("writev");
    return writeFile("writev", descriptor, 0, [&](std::size_t) { return real(descriptor, parts, count); });
}

int fsync(int descriptor)
{
    static auto* const real = next<int(int)>("fsync");
    return changeFile(injector().judgeDescriptor("fsync", descriptor), [&] { return real(descriptor); });
}

int fdatasync(int descriptor)
{
    static auto* const real = next<int(int)>("fdatasync");
    return changeFile(injector().judgeDescriptor("fdatasync", descriptor), [&] { return real(descriptor); });
}

int ftruncate(int descriptor, off_t length) noexcept
{
    static auto* const real = next<int(int, off_t)>("ftruncate");
    return changeFile(injector().judgeDescriptor("ftruncate", descriptor),
                      [&] { return real(descriptor, length); });
}

int ftruncate64(int descriptor, off64_t length) noexcept
{
    return ftruncate(descriptor, length);
}

int fallocate(int descriptor, int mode, off_t offset, off_t length)
{
    static auto* const real = next<int(int, int, off_t, off_t)>("fallocate");
    return changeFile(injector().judgeDescriptor("fallocate", descriptor),
                      [&] { return real(descriptor, mode, offset, length); });
}

int fallocate64(int descriptor, int mode, off64_t offset, off64_t length)
{
    return fallocate(descriptor, mode, offset, length);
}

int rename(const char* from, const char* to) noexcept
{
    static auto* const real = next<int(const char*, const char*)>("rename");
    return changeFile(injector().judge("rename", to), [&] { return real(from, to); });
}

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept
{
    static auto* const real = next<int(int, const char*, int, const char*)>("renameat");
    return changeFile(injector().judgeAt("renameat", toFolder, to),
                      [&] { return real(fromFolder, from, toFolder, to); });
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept
{
    static auto* const real = next<int(int, const char*, int, const char*, unsigned)>("renameat2");
    return changeFile(injector().judgeAt("renameat2", toFolder, to),
                      [&] { return real(fromFolder, from, toFolder, to, flags); });
}

int link(const char* from, const char* to) noexcept
{
    static auto* const real = next<int(const char*, const char*)>("link");
    return changeFile(injector().judge("link", to), [&] { return real(from, to); });
}

int linkat(int fromFolder, const char* from, int toFolder, const char* to, int flags) noexcept
{
    static auto* const real = next<int(int, const char*, int, const char*, int)>("linkat");
    return changeFile(injector().judgeAt("linkat", toFolder, to),
                      [&] { return real(fromFolder, from, toFolder, to, flags); });
}

int mkdir(const char* path, mode_t mode) noexcept
{
    // Looked for each time: the runtimes of the sanitizers come here before they can guard what is made once.
    auto* const real = next<int(const char*, mode_t)>("mkdir");
    return changeFile(injector().judge("mkdir", path), [&] { return real(path, mode); });
}

int mkdirat(int folder, const char* path, mode_t mode) noexcept
{
    static auto* const real = next<int(int, const char*, mode_t)>("mkdirat");
    return changeFile(injector().judgeAt("mkdirat", folder, path), [&] { return real(folder, path, mode); });
}

int unlink(const char* path) noexcept
{
    static auto* const real = next<int(const char*)>("unlink");
    return changeFile(injector().judge("unlink", path), [&] { return real(path); });
}

int unlinkat(int folder, const char* path, int flags) noexcept
{
    static auto* const real = next<int(int, const char*, int)>("unlinkat");
    return changeFile(injector().judgeAt("unlinkat", folder, path),
                      [&] { return real(folder, path, flags); });
}

int remove(const char* path) noexcept
{
    static auto* const real = next<int(const char*)>("remove");
    return changeFile(injector().judge("remove", path), [&] { return real(path); });
}

int chmod(const char* path, mode_t mode) noexcept
{
    static auto* const real = next<int(const char*, mode_t)>("chmod");
    return changeFile(injector().judge("chmod", path), [&] { return real(path, mode); });
}

int fchmod(int descriptor, mode_t mode) noexcept
{
    static auto* const real = next<int(int, mode_t)>("fchmod");
    return changeFile(injector().judgeDescriptor("fchmod", descriptor),
                      [&] { return real(descriptor, mode); });
}

int utimensat(int folder, const char* path, const timespec* times, int flags) noexcept
{
    static auto* const real = next<int(int, const char*, const timespec*, int)>("utimensat");
    return changeFile(injector().judgeAt("utimensat", folder, path),
                      [&] { return real(folder, path, times, flags); });
}

int close(int descriptor)
{
    static auto* const real = next<int(int)>("close");
    const int before = errno;
    const int flags = ::fcntl(descriptor, F_GETFL);
    errno = before;
    const bool isWritten = flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
    const Verdict verdict = isWritten ? injector().judgeDescriptor("close", descriptor) : Verdict::goesOn;
    const int reason = errno;
    const int result = real(descriptor);
    if (verdict == Verdict::goesOn) {
        return result;
    }
    errno = reason;
    return -1;
}

} // extern "C"

// NOLINTEND(readability-inconsistent-declaration-parameter-name, cert-dcl50-cpp)
