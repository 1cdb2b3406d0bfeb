#include "Platform/Linux/AutostartEntry.h"

#include "Platform/Linux/DesktopEntry.h"
#include "Platform/Linux/Files.h"
#include "Platform/Linux/GLibHandles.h"
#include "Platform/Linux/InstalledFile.h"
#include "Platform/Linux/WholeFile.h"

#include <cerrno>
#include <optional>
#include <sstream>
#include <system_error>

namespace glimmerwick {

namespace {

using std::filesystem::path;

constexpr const char* folderName = "autostart";
constexpr const char* fileName = "com.glimmerwick.Glimmerwick.desktop";

constexpr const char* hiddenKey = "Hidden";
/// Older than "Hidden" in some desktops' settings, and still what they write.
constexpr const char* enabledKey = "X-GNOME-Autostart-enabled";
constexpr const char* tryExecKey = "TryExec";
constexpr const char* execKey = "Exec";

std::vector<path> systemFiles(const ProcessSurroundings& surroundings)
{
    const auto found = surroundings.environment.find("XDG_CONFIG_DIRS");
    const bool isSet = found != surroundings.environment.end() && !found->second.empty();
    std::istringstream folders(isSet ? found->second : "/etc/xdg");
    std::vector<path> files;
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (path(folder).is_absolute()) {
            files.push_back(path(folder) / folderName / fileName);
        }
    }
    return files;
}

bool isProgram(const std::string& name)
{
    return GTextHandle(g_find_program_in_path(name.c_str())) != nullptr;
}

bool startsProgram(const DesktopEntry& entry)
{
    const auto program = entry.string(tryExecKey);
    return !entry.boolean(hiddenKey).value_or(false) && entry.boolean(enabledKey).value_or(true)
        && !entry.string(execKey).value_or("").empty()
        && (!program || program->empty() || isProgram(*program));
}

bool startsProgram(const path& file)
{
    const auto text = LocalFileSystem().read(file);
    if (!text) {
        return false;
    }
    const auto entry = DesktopEntry::parse(text.value());
    return entry && startsProgram(entry.value());
}

/// Starts the program without its log, which carries clipboard texts: desktops keep what programs print.
std::string startCommand(const std::string& program)
{
    // Desktops that leave the start to systemd do not read escapes as the others do, so there are none as
    // long as the path can do without.
    if (program.find_first_of("'\"\\$`%") == std::string::npos) {
        return desktopCommand({"sh", "-c", "exec '" + program + "' --background >/dev/null"});
    }
    return desktopCommand({"sh", "-c", "exec \"$0\" --background >/dev/null", program});
}

void setProgram(DesktopEntry& entry, const std::string& program)
{
    entry.setString(tryExecKey, program);
    entry.setString(execKey, startCommand(program));
}

/// Changes no more than what keeps it from starting the program.
void switchOn(DesktopEntry& entry, const std::string& program)
{
    entry.remove(hiddenKey);
    entry.remove(enabledKey);
    if (!startsProgram(entry)) {
        setProgram(entry, program);
    }
}

DesktopEntry ownEntry(const std::string& program, bool isEnabled)
{
    DesktopEntry entry;
    entry.setString("Type", "Application");
    entry.setString("Name", "Glimmerwick");
    entry.setString("Icon", "com.glimmerwick.Glimmerwick");
    setProgram(entry, program);
    if (!isEnabled) {
        entry.setTrue(hiddenKey);
    }
    return entry;
}

/// Whether nobody else has written into it, wherever the program was at the time.
bool isOwnEntry(const std::string& text, const DesktopEntry& entry)
{
    const auto program = entry.string(tryExecKey);
    return program && (text == ownEntry(*program, true).text() || text == ownEntry(*program, false).text());
}

} // namespace

AutostartEntry::AutostartEntry(const ProcessSurroundings& surroundings)
    : m_program(installedFile(surroundings)),
      m_userFile(configurationDirectory(surroundings).parent_path() / folderName / fileName),
      m_systemFiles(systemFiles(surroundings))
{
}

bool AutostartEntry::isEnabled()
{
    return LocalFileSystem().exists(m_userFile) ? startsProgram(m_userFile) : doesSystemStartIt();
}

bool AutostartEntry::doesSystemStartIt() const
{
    for (const path& file : m_systemFiles) {
        if (LocalFileSystem().exists(file)) {
            return startsProgram(file);
        }
    }
    return false;
}

Result<Success, std::string> AutostartEntry::setEnabled(bool isEnabled)
{
    if (isEnabled == this->isEnabled()) {
        return Success{};
    }
    // Entries are text in UTF-8, and the program may lie where no such text leads, or be gone by now.
    if (isEnabled && (m_program.empty() || !startsProgram(ownEntry(m_program, true)))) {
        return Failure{"an entry in " + m_userFile.string() + " cannot start \"" + m_program.string() + "\""};
    }
    return change(isEnabled);
}

Result<Success, std::string> AutostartEntry::change(bool isEnabled)
{
    std::error_code error;
    const auto status = std::filesystem::symlink_status(m_userFile, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return useOwnEntry(isEnabled);
    }
    if (status.type() == std::filesystem::file_type::symlink) {
        return Failure{m_userFile.string() + " is a symbolic link, which stays as it is"};
    }
    auto text = LocalFileSystem().read(m_userFile);
    if (!text) {
        return Failure{text.error().description};
    }
    return changeEntry(text.value(), isEnabled);
}

Result<Success, std::string> AutostartEntry::useOwnEntry(bool isEnabled)
{
    if (isEnabled != doesSystemStartIt()) {
        return write(ownEntry(m_program, isEnabled));
    }
    std::error_code error;
    std::filesystem::remove(m_userFile, error);
    if (error) {
        return Failure{"cannot remove " + m_userFile.string() + ": " + error.message()};
    }
    return Success{};
}

Result<Success, std::string> AutostartEntry::changeEntry(const std::string& text, bool isEnabled)
{
    auto parsed = DesktopEntry::parse(text);
    if (!parsed) {
        return Failure{m_userFile.string() + " is no desktop file, and stays as it is: " + parsed.error()};
    }
    DesktopEntry& entry = parsed.value();
    if (isOwnEntry(text, entry)) {
        return useOwnEntry(isEnabled);
    }
    if (isEnabled) {
        switchOn(entry, m_program);
    } else {
        entry.setTrue(hiddenKey);
    }
    const auto written = DesktopEntry::parse(entry.text());
    if (!written || startsProgram(written.value()) != isEnabled) {
        return Failure{m_userFile.string() + " says things twice, and stays as it is"};
    }
    return write(entry);
}

Result<Success, std::string> AutostartEntry::write(const DesktopEntry& entry)
{
    constexpr int onlyForTheUser = 0700;
    constexpr mode_t usualMode = 0644;
    g_mkdir_with_parents(m_userFile.parent_path().c_str(), onlyForTheUser);
    if (!writeWholeFile(m_userFile, entry.text(), usualMode, Durability::onTheDisk)) {
        return Failure{"cannot write " + m_userFile.string() + ": " + std::generic_category().message(errno)};
    }
    return Success{};
}

} // namespace glimmerwick
