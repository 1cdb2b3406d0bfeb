#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

struct AlertContent {
    std::string messageText;
    std::string informativeText;
    std::vector<std::string> buttons;
};

/// Shows a message and its buttons without blocking. Main thread.
class Alert {
public:
    virtual ~Alert() = default;

    /// The completion gets the index of the button pressed, or of the last one when the alert was closed. It
    /// runs later, and never when the program ends first.
    virtual void show(AlertContent content, std::function<void(std::size_t)> completion) = 0;
};

struct NoticeContent {
    std::string summary;
    /// Plain text.
    std::string body;
};

/// Tells the user something where the desktop shows such notices. Never blocks and cannot fail: where there
/// is no such place nothing is shown. Main thread.
class UserNotice {
public:
    virtual ~UserNotice() = default;

    virtual void post(const NoticeContent& content) = 0;
};

/// The desktop's file manager. Never blocks; a failure is told on standard error. Main thread.
class FileViewer {
public:
    virtual ~FileViewer() = default;

    /// The folder in which this user keeps programs, or the one it would be in.
    virtual void openApplicationsFolder() = 0;
};

/// Facts about the volume that holds this installation.
class VolumeInfo {
public:
    virtual ~VolumeInfo() = default;

    /// Nothing when it cannot be told.
    virtual std::optional<bool> isInstallationReadOnly() = 0;
};

/// Looks for new versions of the program. Main thread.
class Updater {
public:
    virtual ~Updater() = default;

    /// Begins checking automatically.
    virtual void start() = 0;
    virtual void checkForUpdates() = 0;
};

} // namespace glimmerwick
