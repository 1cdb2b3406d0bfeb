#include "Managers/CacheFolder.h"

#include <utility>

namespace glimmerwick {

CacheFolder::CacheFolder(FileSystem& fileSystem, std::filesystem::path folder)
    : m_fileSystem(fileSystem), m_path(std::move(folder))
{
}

bool CacheFolder::exists(const std::filesystem::path& path) const
{
    return m_fileSystem.exists(path) && checkReachable(path);
}

Result<std::string, FileError> CacheFolder::read(const std::filesystem::path& path) const
{
    if (const auto reachable = checkReachable(path); !reachable) {
        return Failure{reachable.error()};
    }
    return m_fileSystem.read(path);
}

Result<Success, FileError> CacheFolder::write(const std::filesystem::path& path, std::string_view bytes) const
{
    if (auto reachable = checkReachable(path); !reachable) {
        return reachable;
    }
    return m_fileSystem.write(path, bytes);
}

Result<Success, FileError> CacheFolder::createDirectories(const std::filesystem::path& path) const
{
    if (auto reachable = checkReachable(path); !reachable) {
        return reachable;
    }
    return m_fileSystem.createDirectories(path);
}

Result<Success, FileError> CacheFolder::checkReachable(const std::filesystem::path& path) const
{
    if (m_fileSystem.leadsThroughLink(m_path, path)) {
        return Failure{FileError{"cannot use " + path.string() + ": a symbolic link stands in the way"}};
    }
    return Success{};
}

} // namespace glimmerwick
