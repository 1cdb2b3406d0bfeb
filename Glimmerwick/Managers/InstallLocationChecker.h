#pragma once

#include <functional>

namespace glimmerwick {

class Alert;
class FileViewer;
class UserDefaults;
class VolumeInfo;

/// Suggests, at most once per user, to move a program that runs from a read-only volume. Main thread.
class InstallLocationChecker {
public:
    InstallLocationChecker() = delete;

    /// Runs `done` when there is nothing to ask or the user has answered: the launch waits for it.
    static void checkInstallLocation(UserDefaults& defaults, VolumeInfo& volumeInfo, Alert& alert,
                                     FileViewer& fileViewer, std::function<void()> done);

    /// The same over the installed platform.
    static void checkInstallLocation(std::function<void()> done);

private:
    static void showMoveToApplicationsAlert(Alert& alert, FileViewer& fileViewer, std::function<void()> done);
};

} // namespace glimmerwick
