#pragma once

#include "Fakes/FakeInput.h"
#include "Fakes/FakeServices.h"
#include "Fakes/FakeTime.h"

#include "Platform/NotificationCenter.h"
#include "Platform/Platform.h"
#include "Platform/Process.h"

#include <memory>

namespace glimmerwick::fakes {

/// A whole set of fakes. Not installed by itself: make an InstalledPlatform from `platform` for `shared()`.
class FakePlatform {
public:
    Process process = makeProcess();
    FakeLog log;
    FakeTime time;
    FakeFileClock fileClock;
    FakeFileSystem fileSystem;
    FakeUserDefaults userDefaults;
    NotificationCenter notificationCenter;
    FakeHttpClient httpClient{time};
    FakeTextLayout textLayout;
    FakeImageCodec imageCodec;
    FakePasteboard pasteboard;
    FakeWorkspace workspace;
    FakeEventTap eventTap;
    FakeEventPoster eventPoster;
    FakeEventMonitors eventMonitors;
    FakeAccessibilityTrust accessibilityTrust;
    FakePanelHost panelHost;
    FakeMenuHost menuHost;
    FakeAlert alert;
    FakeFileViewer fileViewer;
    FakeVolumeInfo volumeInfo;
    FakeUpdater updater;
    FakeUserNotice userNotice;

    Platform platform{process,     log,           time,
                      time,        time,          fileClock,
                      fileSystem,  userDefaults,  notificationCenter,
                      httpClient,  textLayout,    imageCodec,
                      pasteboard,  workspace,     eventTap,
                      eventPoster, eventMonitors, accessibilityTrust,
                      panelHost,   menuHost,      alert,
                      fileViewer,  volumeInfo,    updater,
                      userNotice};

private:
    static Process makeProcess()
    {
        Process process;
        process.arguments = {"glimmerwick"};
        process.bundleIdentifier = "com.glimmerwick.Glimmerwick";
        process.operatingSystemVersion = {6, 1, 0};
        process.cachesDirectory = "/home/user/.cache";
        process.keyFiles = {"/home/user/.config/Glimmerwick/secrets.txt", "/resources/secrets.txt"};
        process.resourcesDirectory = "/resources";
        process.defaultContentAddress = "https://content.example.invalid";
        return process;
    }
};

} // namespace glimmerwick::fakes
