#pragma once

#include "Contract/Eventually.h"
#include "Contract/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace glimmerwick::contract {

inline std::string contentsOf(const std::filesystem::path& file)
{
    std::ostringstream contents;
    contents << std::ifstream(file, std::ios::binary).rdbuf();
    return contents.str();
}

inline void writeFile(const std::filesystem::path& file, const std::string& contents)
{
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << contents;
}

/// The application that this user opens one kind of files with, as long as it lives. It notes what it is
/// given.
class RecordingApplication {
public:
    explicit RecordingApplication(const std::string& contentType)
    {
        const auto program = m_folder.path() / "record";
        writeFile(program, "#!/bin/sh\nprintf '%s\\n' \"$@\" >>'" + m_record.string() + "'\n");
        std::filesystem::permissions(program, std::filesystem::perms::owner_all);
        writeFile(m_entry,
                  "[Desktop Entry]\nType=Application\nName=Recorder\nExec=" + program.string()
                      + " %f\nMimeType=" + contentType + ";\n");
        writeFile(m_defaults, "[Default Applications]\n" + contentType + "=recorder.desktop\n");
    }
    ~RecordingApplication()
    {
        std::error_code error;
        std::filesystem::remove(m_entry, error);
        std::filesystem::remove(m_defaults, error);
    }
    RecordingApplication(const RecordingApplication&) = delete;
    RecordingApplication& operator=(const RecordingApplication&) = delete;

    /// What it was given so far, a line each.
    std::string record() const { return contentsOf(m_record); }

private:
    TemporaryFolder m_folder;
    std::filesystem::path m_record = m_folder.path() / "record.txt";
    std::filesystem::path m_entry =
        std::filesystem::path(std::getenv("XDG_DATA_HOME")) / "applications" / "recorder.desktop";
    std::filesystem::path m_defaults =
        std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "mimeapps.list";
};

} // namespace glimmerwick::contract
