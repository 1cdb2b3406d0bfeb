#pragma once

#include "Desktop.h"
#include "Managers/UpdateChecker.h"
#include "Platform/DBus/DBusUserNotice.h"
#include "Platform/DBus/DesktopFileViewer.h"
#include "Platform/HarfBuzz/HarfBuzzTextLayout.h"
#include "Platform/HttpProcess/ProcessHttpClient.h"
#include "Platform/Linux/AutostartEntry.h"
#include "Platform/Linux/DebianPackageInstaller.h"
#include "Platform/Linux/DispatchQueues.h"
#include "Platform/Linux/Files.h"
#include "Platform/Linux/PictureFiles.h"
#include "Platform/Linux/StandardOutputLog.h"
#include "Platform/Linux/SystemClocks.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/Qt/QtImageCodec.h"
#include "Platform/Qt/QtMainQueue.h"
#include "Platform/Qt/QtUpdateFeedReader.h"
#include "Platform/Qt/QtUserDefaults.h"
#include "Platform/Sodium/SodiumSignatureVerifier.h"
#include "Platform/Tray/TrayMenuHost.h"
#include "Views/AboutWindow.h"
#include "Views/AlertWindow.h"
#include "Views/UpdateWindow.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace glimmerwick {

/// What this program was built to be.
struct BuildSettings {
    enum class Updates { looksForThem, leavesThemToTheSystem };

    std::string version;
    Updates updates = Updates::leavesThemToTheSystem;
    /// Empty when there is no server to ask.
    std::string updateFeed;
    /// In base64.
    std::string updateKey;
};

/// What the services need of the rest of the program.
struct ServiceHooks {
    /// Tells the user's log one line.
    std::function<void(std::string_view)> reportProblem;
    std::function<void()> trayIconClicked;
    /// The shortcut, which seemed to be there, cannot be had.
    std::function<void()> shortcutIsUnavailable;
    std::function<void()> typingIsRefused;
    /// Of the catalogue in use; empty when none is loaded.
    std::function<std::string()> catalogueVersion;
};

/// Everything the program runs on, made in order and destroyed in the opposite one. Main thread, while there
/// is a QApplication.
struct Services {
    /// The process, the bus and the window systems must outlive it; the bus need not be connected.
    Services(const Process& process, const SessionBus& bus, WindowSystems& windowSystems,
             const SessionRoutes& routes, const BuildSettings& build, ServiceHooks hooks);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// No daily check disturbs a picker that is shown.
    void setPickerShown(bool isShown);

    const ServiceHooks hooks;
    DBusUserNotice userNotice;
    StandardOutputLog log;
    SteadyClock clock;
    WallClock fileClock;
    LocalFileSystem fileSystem;
    QtMainQueue mainQueue;
    ThreadDispatchQueues dispatchQueues;
    QtUserDefaults userDefaults;
    NotificationCenter notificationCenter;
    ProcessHttpClient httpClient;
    HarfBuzzTextLayout textLayout;
    PictureFiles pictureStore;
    QtImageCodec imageCodec;
    Desktop desktop;
    AlertWindow alert;
    AboutWindow aboutWindow;
    AutostartEntry loginItem;
    TrayMenuHost menuHost;
    DesktopFileViewer fileViewer;
    SodiumSignatureVerifier signatureVerifier;
    QtUpdateFeedReader updateFeedReader;
    UpdateWindow updateWindow;
    DebianPackageInstaller packageInstaller;
    /// Null when updates are left to the system.
    const std::unique_ptr<UpdateChecker> updateChecker;
    const std::unique_ptr<Updater> idleUpdater;
    const std::unique_ptr<VolumeInfo> volumeInfo;

    Platform platform;
};

} // namespace glimmerwick
