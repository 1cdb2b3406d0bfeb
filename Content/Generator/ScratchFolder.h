#pragma once

#include "Arguments.h"

#include "Models/Result.h"

#include <filesystem>

namespace glimmerwick {

/// A temporary folder of this process alone, removed with everything in it.
class ScratchFolder {
public:
    static Result<ScratchFolder, GeneratorError> create();

    ScratchFolder(ScratchFolder&& other) noexcept;
    ScratchFolder& operator=(ScratchFolder&&) = delete;
    ~ScratchFolder();

    const std::filesystem::path& path() const { return m_path; }

private:
    explicit ScratchFolder(std::filesystem::path path);

    /// Empty when moved from.
    std::filesystem::path m_path;
};

} // namespace glimmerwick
