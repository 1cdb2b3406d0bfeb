#pragma once

#include "Platform/MenuHost.h"
#include "Platform/Shell.h"

#include <functional>
#include <utility>

/// Stand-ins for desktop services that this program does not reach yet. Each does nothing and says so by its
/// name; what asks them already works against the final interfaces.
namespace glimmerwick {

/// No tray or global menu yet: the main menu is shown nowhere. Quitting works.
class MainMenuNotYetShown : public MenuHost {
public:
    explicit MainMenuNotYetShown(std::function<void()> quit) : m_quit(std::move(quit)) { }

    void setMainMenu(std::vector<MenuItem>) override { }
    void showAboutPanel() override { }
    void terminate() override { m_quit(); }

private:
    std::function<void()> m_quit;
};

/// The volume of the installation is unknown, so the advice to move the program is never given.
class VolumeNotYetKnown : public VolumeInfo {
public:
    std::optional<bool> isInstallationReadOnly() override { return std::nullopt; }
};

/// Never asked while the volume is unknown; an alert would count as answered with its last button.
class AlertNotYetShown : public Alert {
public:
    void show(AlertContent content, std::function<void(std::size_t)> completion) override
    {
        completion(content.buttons.empty() ? 0 : content.buttons.size() - 1);
    }
};

class FileViewerNotYetOpened : public FileViewer {
public:
    void openApplicationsFolder() override { }
};

/// Contacts nobody.
class UpdaterNotYetAvailable : public Updater {
public:
    void start() override { }
    void checkForUpdates() override { }
};

} // namespace glimmerwick
