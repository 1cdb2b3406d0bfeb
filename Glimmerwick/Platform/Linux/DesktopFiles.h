#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

/// One installed application, as its desktop file describes it.
struct DesktopFile {
    /// The file's path below the applications folder, dashes for slashes, without ".desktop".
    std::string identifier;
    /// In no particular language; may be empty.
    std::string name;
    std::string startupWindowClass;
};

/// The desktop files of some folders at the time of making, to find the one that a window belongs to.
class DesktopFiles {
public:
    /// The applications folders of this session, the user's own first.
    static std::vector<std::filesystem::path> standardFolders();

    /// Reads every file. A file in an earlier folder hides one of the same identifier in a later one; what
    /// cannot be read is left out.
    explicit DesktopFiles(const std::vector<std::filesystem::path>& folders);

    const DesktopFile* find(std::string_view identifier) const;

    /// The application that says it has this window class, else the one whose identifier is or ends in it.
    const DesktopFile* findByWindowClass(std::string_view class_, std::string_view instance) const;

private:
    void readFolder(const std::filesystem::path& folder);
    const DesktopFile* findByLowerCase(std::string_view name) const;

    std::map<std::string, DesktopFile, std::less<>> m_byIdentifier;
    std::map<std::string, std::string, std::less<>> m_identifierByWindowClass;
    /// By the whole identifier, and by what follows its last point.
    std::map<std::string, std::string, std::less<>> m_identifierByLowerCase;
};

} // namespace glimmerwick
