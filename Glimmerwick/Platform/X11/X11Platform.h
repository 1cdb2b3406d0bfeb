#pragma once

#include <filesystem>
#include <memory>
#include <vector>

namespace glimmerwick {

class AccessibilityTrust;
class Clock;
class EventMonitors;
class EventPoster;
class EventTap;
class MainQueue;
class PanelHost;
class Workspace;
class X11Pasteboard;

/// Everything the logic asks of an X11 desktop. Owns the adapters that it hands out and the connections to
/// the display that they share. Main thread.
class X11Platform {
public:
    struct Options {
        /// Which keys paste in which application; a later file's lines win over an earlier one's. A file that
        /// is not there is no error: Resources/paste-chords.txt first, the user's own second.
        std::vector<std::filesystem::path> pasteChordFiles;
    };

    /// Whether the display that the environment names can be reached. Needs nothing of Qt, so it can be asked
    /// before Qt is: Qt ends the program when there is none.
    static bool isDisplayReachable();

    /// Whether Qt runs on an X11 display. Needs the QGuiApplication.
    static bool isAvailable();

    /// Make it after the QGuiApplication and destroy it before; `isAvailable()` must be true. A display that
    /// lacks an extension makes the capability absent, never the object. Throws std::runtime_error when no
    /// further connection to the display can be made.
    X11Platform(MainQueue& mainQueue, Clock& clock, Options options);
    ~X11Platform();
    X11Platform(const X11Platform&) = delete;
    X11Platform& operator=(const X11Platform&) = delete;

    EventTap& eventTap();
    EventMonitors& eventMonitors();
    EventPoster& eventPoster();
    X11Pasteboard& pasteboard();
    Workspace& workspace();
    AccessibilityTrust& accessibilityTrust();
    PanelHost& panelHost();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace glimmerwick
