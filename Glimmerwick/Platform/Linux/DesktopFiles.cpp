#include "Platform/Linux/DesktopFiles.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <system_error>

namespace glimmerwick {

namespace {

constexpr std::string_view extension = ".desktop";

// Far longer than any real one; a line of something else is not read on for ever.
constexpr std::uintmax_t largestFile = 1024 * 1024;

std::string lowerCase(std::string_view text)
{
    std::string result(text);
    std::ranges::transform(result, result.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return result;
}

std::string environment(const char* variable)
{
    const char* value = std::getenv(variable);
    return value ? value : std::string();
}

std::optional<std::string> value(std::string_view line, std::string_view key)
{
    if (!line.starts_with(key)) {
        return std::nullopt;
    }
    line.remove_prefix(key.size());
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    if (!line.starts_with('=')) {
        return std::nullopt;
    }
    line.remove_prefix(1);
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    return std::string(line.substr(0, line.find_last_not_of(" \t\r") + 1));
}

std::optional<DesktopFile> read(const std::filesystem::path& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)
        || std::filesystem::file_size(path, error) > largestFile) {
        return std::nullopt;
    }
    std::ifstream lines(path);
    DesktopFile file;
    std::string line;
    bool isInEntry = false;
    while (std::getline(lines, line)) {
        if (line.starts_with('[')) {
            isInEntry = line.starts_with("[Desktop Entry]");
        } else if (isInEntry) {
            if (auto name = value(line, "Name")) {
                file.name = std::move(*name);
            } else if (auto windowClass = value(line, "StartupWMClass")) {
                file.startupWindowClass = std::move(*windowClass);
            }
        }
    }
    return file;
}

} // namespace

std::vector<std::filesystem::path> DesktopFiles::standardFolders()
{
    std::vector<std::filesystem::path> folders;
    const auto add = [&folders](const std::string& folder) {
        if (folder.starts_with('/')) {
            folders.push_back(std::filesystem::path(folder) / "applications");
        }
    };
    const std::string dataHome = environment("XDG_DATA_HOME");
    add(dataHome.empty() ? environment("HOME") + "/.local/share" : dataHome);
    std::string dataFolders = environment("XDG_DATA_DIRS");
    if (dataFolders.empty()) {
        dataFolders = "/usr/local/share:/usr/share";
    }
    for (std::size_t start = 0; start <= dataFolders.size();) {
        const std::size_t end = std::min(dataFolders.find(':', start), dataFolders.size());
        add(dataFolders.substr(start, end - start));
        start = end + 1;
    }
    return folders;
}

DesktopFiles::DesktopFiles(const std::vector<std::filesystem::path>& folders)
{
    for (const auto& folder : folders) {
        readFolder(folder);
    }
    for (const auto& [identifier, file] : m_byIdentifier) {
        if (!file.startupWindowClass.empty()) {
            m_identifierByWindowClass.emplace(file.startupWindowClass, identifier);
        }
        const std::string lower = lowerCase(identifier);
        m_identifierByLowerCase.insert_or_assign(lower, identifier);
        m_identifierByLowerCase.emplace(lower.substr(lower.rfind('.') + 1), identifier);
    }
}

void DesktopFiles::readFolder(const std::filesystem::path& folder)
{
    std::error_code error;
    std::filesystem::recursive_directory_iterator entries(
        folder, std::filesystem::directory_options::skip_permission_denied, error);
    for (; !error && entries != std::filesystem::recursive_directory_iterator(); entries.increment(error)) {
        const std::filesystem::path& path = entries->path();
        if (path.extension() != extension) {
            continue;
        }
        std::string identifier = path.lexically_relative(folder).string();
        identifier.erase(identifier.size() - extension.size());
        std::ranges::replace(identifier, '/', '-');
        if (m_byIdentifier.contains(identifier)) {
            continue;
        }
        if (auto file = read(path)) {
            file->identifier = identifier;
            m_byIdentifier.emplace(identifier, std::move(*file));
        }
    }
}

const DesktopFile* DesktopFiles::find(std::string_view identifier) const
{
    const auto found = m_byIdentifier.find(identifier);
    return found == m_byIdentifier.end() ? nullptr : &found->second;
}

const DesktopFile* DesktopFiles::findByWindowClass(std::string_view class_, std::string_view instance) const
{
    for (const std::string_view name : {class_, instance}) {
        const auto declared = m_identifierByWindowClass.find(name);
        if (declared != m_identifierByWindowClass.end()) {
            return find(declared->second);
        }
    }
    for (const std::string_view name : {class_, instance}) {
        if (const DesktopFile* file = findByLowerCase(name)) {
            return file;
        }
    }
    return nullptr;
}

const DesktopFile* DesktopFiles::findByLowerCase(std::string_view name) const
{
    const auto found = m_identifierByLowerCase.find(lowerCase(name));
    return name.empty() || found == m_identifierByLowerCase.end() ? nullptr : find(found->second);
}

} // namespace glimmerwick
