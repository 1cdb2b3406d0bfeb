#include "ScratchFolder.h"

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include <stdlib.h>

namespace glimmerwick {

ScratchFolder::ScratchFolder(std::filesystem::path path) : m_path(std::move(path)) { }

ScratchFolder::ScratchFolder(ScratchFolder&& other) noexcept
    : m_path(std::exchange(other.m_path, std::filesystem::path()))
{
}

ScratchFolder::~ScratchFolder()
{
    if (!m_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
}

Result<ScratchFolder, GeneratorError> ScratchFolder::create()
{
    std::error_code error;
    std::string name = (std::filesystem::temp_directory_path(error) / "glimmerwick-content-XXXXXX").string();
    if (!error && !::mkdtemp(name.data())) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) {
        return Failure(GeneratorError{"cannot create a temporary folder: " + error.message()});
    }
    return ScratchFolder(name);
}

} // namespace glimmerwick
