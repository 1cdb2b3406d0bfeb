#include "Managers/InstallLocationChecker.h"

#include "Platform/Platform.h"
#include "Platform/Shell.h"
#include "Platform/UserDefaults.h"

#include <string>
#include <utility>

namespace glimmerwick {

namespace {

const std::string hasShownAlertKey = "hasShownInstallLocationAlert";
constexpr std::size_t openApplicationsFolderButton = 0;

AlertContent moveToApplicationsAlert()
{
    return {"Move to Applications Folder?",
            "Glimmerwick is running from a read-only location (like a disk image). For automatic updates to "
            "work, "
            "please move the app to your Applications folder.\n"
            "\n"
            "To do this:\n"
            "1. Quit Glimmerwick\n"
            "2. Drag Glimmerwick.app to your Applications folder\n"
            "3. Relaunch from Applications",
            {"Open Applications Folder", "Later"}};
}

} // namespace

void InstallLocationChecker::checkInstallLocation(UserDefaults& defaults, VolumeInfo& volumeInfo,
                                                  Alert& alert, FileViewer& fileViewer,
                                                  std::function<void()> done)
{
    if (defaults.boolean(hasShownAlertKey).value_or(false)
        || !volumeInfo.isInstallationReadOnly().value_or(false)) {
        done();
        return;
    }
    // Before the answer: whatever it is, or if none comes, the user is asked once only.
    defaults.setBoolean(hasShownAlertKey, true);
    showMoveToApplicationsAlert(alert, fileViewer, std::move(done));
}

void InstallLocationChecker::checkInstallLocation(std::function<void()> done)
{
    const Platform& platform = InstalledPlatform::current();
    checkInstallLocation(platform.userDefaults, platform.volumeInfo, platform.alert, platform.fileViewer,
                         std::move(done));
}

void InstallLocationChecker::showMoveToApplicationsAlert(Alert& alert, FileViewer& fileViewer,
                                                         std::function<void()> done)
{
    alert.show(moveToApplicationsAlert(), [&fileViewer, done = std::move(done)](std::size_t button) {
        if (button == openApplicationsFolderButton) {
            fileViewer.openApplicationsFolder();
        }
        done();
    });
}

} // namespace glimmerwick
