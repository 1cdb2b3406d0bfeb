#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

namespace glimmerwick::contract {

/// A folder of the test's own, removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "glimmerwick-test-XXXXXX").string();
        if (!mkdtemp(name.data())) {
            throw std::runtime_error("no temporary folder");
        }
        m_path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

} // namespace glimmerwick::contract
