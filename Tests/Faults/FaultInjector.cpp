#include "Faults/FaultInjector.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace glimmerwick::faults {

namespace {

/// Empty for none. By the system call itself, which no wrapper counts.
std::string linkTarget(const std::string& link)
{
    std::array<char, PATH_MAX> target{};
    const long length = ::syscall(SYS_readlink, link.c_str(), target.data(), target.size());
    return length > 0 ? std::string(target.data(), static_cast<std::size_t>(length)) : std::string();
}

std::string pathOf(int descriptor)
{
    return linkTarget("/proc/self/fd/" + std::to_string(descriptor));
}

/// Or a folder.
bool isFile(int descriptor)
{
    const int before = errno;
    struct stat status { };
    const bool isKnown = ::fstat(descriptor, &status) == 0;
    errno = before;
    return isKnown && (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode));
}

std::string currentFolder()
{
    return linkTarget("/proc/self/cwd");
}

/// There before any constructor has run, and as long as a thread runs: the runtimes of the sanitizers make
/// such calls themselves when they begin, and other threads go on when the process ends.
union Everlasting {
    constexpr Everlasting() : injector() { }
    ~Everlasting() { }

    FaultInjector injector;
};

constinit Everlasting everlasting;

} // namespace

FaultInjector& FaultInjector::current()
{
    return everlasting.injector;
}

void FaultInjector::arm(std::string folder, const Fault& fault)
{
    m_folder = std::move(folder);
    m_fault = fault;
    m_callCount = 0;
    m_hasStruck = false;
    m_isArmed = true;
}

void FaultInjector::reportTo(const std::string& file)
{
    m_reportDescriptor = static_cast<int>(
        ::syscall(SYS_openat, AT_FDCWD, file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666));
}

bool FaultInjector::concerns(const std::string& path) const
{
    const bool isBelow = path.compare(0, m_folder.size(), m_folder) == 0
        && (path.size() == m_folder.size() || path[m_folder.size()] == '/');
    return isBelow && (m_spared.empty() || !path.ends_with(m_spared));
}

void FaultInjector::report(int call, const char* function, const std::string& path) const
{
    if (m_reportDescriptor >= 0) {
        const std::string line = std::to_string(call) + " " + function + " " + path + "\n";
        static_cast<void>(::syscall(SYS_write, m_reportDescriptor, line.data(), line.size()));
    }
}

FaultInjector::Verdict FaultInjector::strike(const char* function, const std::string& path, bool isWrite)
{
    if (!concerns(path)) {
        return Verdict::goesOn;
    }
    const int call = ++m_callCount;
    report(call, function, path);
    if (m_fault.call == 0 || call < m_fault.call || (call > m_fault.call && !m_fault.lasts)) {
        return Verdict::goesOn;
    }
    const bool isFirst = !m_hasStruck.exchange(true);
    switch (m_fault.kind) {
    case Fault::Kind::killBefore:
        ::kill(::getpid(), SIGKILL);
        break;
    case Fault::Kind::shortWrite:
        if (isWrite && isFirst) {
            return Verdict::writesHalf;
        }
        errno = ENOSPC;
        return Verdict::fails;
    case Fault::Kind::error:
        errno = m_fault.error;
        return Verdict::fails;
    }
    return Verdict::goesOn;
}

FaultInjector::Verdict FaultInjector::judge(const char* function, const char* path, bool isWrite)
{
    if (!m_isArmed || !path) {
        return Verdict::goesOn;
    }
    const int before = errno;
    const std::string full = *path == '/' ? path : currentFolder() + "/" + path;
    errno = before;
    return strike(function, full, isWrite);
}

FaultInjector::Verdict FaultInjector::judgeAt(const char* function, int folder, const char* path)
{
    if (!m_isArmed || !path) {
        return Verdict::goesOn;
    }
    if (*path == '/' || folder == AT_FDCWD) {
        return judge(function, path);
    }
    const int before = errno;
    const std::string full = pathOf(folder) + "/" + path;
    errno = before;
    return strike(function, full, false);
}

FaultInjector::Verdict FaultInjector::judgeDescriptor(const char* function, int descriptor, bool isWrite)
{
    // Handlers of signals write, too, into pipes, and may not allocate.
    if (!m_isArmed || !isFile(descriptor)) {
        return Verdict::goesOn;
    }
    const int before = errno;
    const std::string path = pathOf(descriptor);
    errno = before;
    return strike(function, path, isWrite);
}

bool FaultInjector::hasUnnamedFiles(const char* folder) const
{
    return !m_isArmed || m_unnamedFilesExist || !folder || !concerns(folder);
}

} // namespace glimmerwick::faults
