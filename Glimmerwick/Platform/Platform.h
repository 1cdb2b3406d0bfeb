#pragma once

#include "Platform/Process.h"

#include <functional>
#include <memory>

namespace glimmerwick {

class AccessibilityTrust;
class Alert;
class Clock;
class DispatchQueues;
class EventMonitors;
class EventPoster;
class EventTap;
class FileClock;
class FileSystem;
class FileViewer;
class HttpClient;
class ImageCodec;
class Log;
class MainQueue;
class MenuHost;
class NotificationCenter;
class PanelHost;
class Pasteboard;
class TextLayout;
class Updater;
class UserDefaults;
class UserNotice;
class VolumeInfo;
class Workspace;

/// The services one process runs on. Whoever makes the set owns what it refers to.
struct Platform {
    const Process& process;
    Log& log;
    MainQueue& mainQueue;
    DispatchQueues& dispatchQueues;
    Clock& clock;
    FileClock& fileClock;
    FileSystem& fileSystem;
    UserDefaults& userDefaults;
    NotificationCenter& notificationCenter;
    HttpClient& httpClient;
    TextLayout& textLayout;
    ImageCodec& imageCodec;
    Pasteboard& pasteboard;
    Workspace& workspace;
    EventTap& eventTap;
    EventPoster& eventPoster;
    EventMonitors& eventMonitors;
    AccessibilityTrust& accessibilityTrust;
    PanelHost& panelHost;
    MenuHost& menuHost;
    Alert& alert;
    FileViewer& fileViewer;
    VolumeInfo& volumeInfo;
    Updater& updater;
    UserNotice& userNotice;
};

/// Installs the set that `shared()` instances are made from, for as long as this object lives, and owns those
/// instances: they are made on first use and destroyed with it, the youngest first. One at a time. Main
/// thread.
class InstalledPlatform {
public:
    explicit InstalledPlatform(const Platform& platform);
    ~InstalledPlatform();
    InstalledPlatform(const InstalledPlatform&) = delete;
    InstalledPlatform& operator=(const InstalledPlatform&) = delete;

    /// The set installed last; without one the program is wrong and stops.
    static const Platform& current();

    /// The process-wide instance of T, made from the installed set on first use.
    template <typename T> static T& sharedInstance(std::unique_ptr<T> (*make)(const Platform&))
    {
        static char key = 0;
        void* instance = find(&key);
        if (!instance) {
            std::shared_ptr<T> made = make(current());
            instance = made.get();
            keep(&key, std::move(made));
        }
        return *static_cast<T*>(instance);
    }

private:
    static void* find(const void* key);
    static void keep(const void* key, std::shared_ptr<void> instance);

    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace glimmerwick
