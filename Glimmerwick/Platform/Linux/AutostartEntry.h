#pragma once

#include "Platform/Linux/ProcessInfo.h"
#include "Platform/LoginItem.h"

#include <filesystem>
#include <string>
#include <vector>

namespace glimmerwick {

class DesktopEntry;

/// Starting at login by the autostart folders, of which the user's own comes before those of the system. A
/// file of the same name hides the later ones.
///
/// Writes the user's file alone, in one step, and no more of it than needed: what others have put there
/// stays. A file that this class alone has written goes away again where the system's entry does what is
/// wanted.
class AutostartEntry : public LoginItem {
public:
    explicit AutostartEntry(const ProcessSurroundings& surroundings = currentSurroundings());

    bool isEnabled() override;
    /// A symbolic link is left alone, and so is what is no desktop file: that is an error.
    Result<Success, std::string> setEnabled(bool isEnabled) override;

private:
    bool doesSystemStartIt() const;
    Result<Success, std::string> change(bool isEnabled);
    Result<Success, std::string> useOwnEntry(bool isEnabled);
    Result<Success, std::string> changeEntry(const std::string& text, bool isEnabled);
    Result<Success, std::string> write(const DesktopEntry& entry);

    /// The program that an entry is to start.
    const std::filesystem::path m_program;
    const std::filesystem::path m_userFile;
    const std::vector<std::filesystem::path> m_systemFiles;
};

} // namespace glimmerwick
