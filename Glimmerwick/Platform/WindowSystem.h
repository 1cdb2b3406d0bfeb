#pragma once

#include "Platform/Registration.h"
#include "Platform/SessionRoutes.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace glimmerwick {

class AccessibilityTrust;
class Clock;
class EventMonitors;
class EventPoster;
class EventTap;
class InjectedKeyboard;
class MainQueue;
class PanelHost;
class Pasteboard;
class PasteSurroundings;
class UserNotice;
class Workspace;

/// What the adapters of a window system are made with. All of it outlives them.
struct WindowSystemContext {
    MainQueue& mainQueue;
    Clock& clock;
    UserNotice& userNotice;
    SessionRoutes routes;
    /// Which keys paste in which application; a later file's lines win over an earlier one's. A file that is
    /// not there is no error: Resources/paste-chords.txt first, the user's own second.
    std::vector<std::filesystem::path> pasteChordFiles;
    /// Which of the user's keyboard layouts is in use, 0 being the first; for a keyboard that has the user's
    /// keys. May block shortly. May be empty: then it is taken for the first. Main thread.
    std::function<std::uint32_t()> keyboardLayoutInUse;
};

/// Everything the logic asks of the window system. Owns the adapters that it hands out and the connections
/// that they share; what a route leads past is not made. Main thread.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;

    /// Null where it can put no panel above all windows and bring it the keys.
    virtual PanelHost* panelHost() = 0;
    virtual EventMonitors* eventMonitors() = 0;
    /// Sees the picker's keys, and the shortcut where programs can watch for one.
    virtual EventTap* eventTap() = 0;

    /// Null where another route leads to the clipboard.
    virtual Pasteboard* pasteboard() = 0;
    /// Null where nobody tells of windows.
    virtual Workspace* workspace() = 0;
    /// Null where keys are pressed by a keyboard of the program's own, here or elsewhere.
    virtual EventPoster* eventPoster() = 0;
    virtual AccessibilityTrust* accessibilityTrust() = 0;
    /// Null where another route leads to the keys.
    virtual InjectedKeyboard* keyboard() = 0;
    /// What such a keyboard must know of a paste; null without the clipboard.
    virtual PasteSurroundings* pasteSurroundings() = 0;
};

/// Has the program end in good order when the display goes away, for as long as it lives. Main thread.
class DisplayLossWatch {
public:
    virtual ~DisplayLossWatch() = default;

    /// Has the function store what must not be lost. Needs the application object; one at a time.
    virtual Registration saveBy(std::function<void()> save) = 0;
};

/// The adapters of one window system as a library that is loaded where they are needed, so that nobody pays
/// for those of the other. Main thread.
class WindowSystemLibrary {
public:
    virtual ~WindowSystemLibrary() = default;

    /// Adds what it finds in the user's session. Needs no toolkit. What was opened for it may stay open until
    /// `make` or `endProbing`.
    virtual void probe(SessionFacts& facts) = 0;
    virtual void endProbing() = 0;

    /// Before the application object is made, which may find the display gone.
    virtual std::unique_ptr<DisplayLossWatch> watchForLoss() = 0;
    /// Before the application object is made: what the toolkit must be told for these routes.
    virtual void prepareToolkit(const SessionRoutes& routes) = 0;

    /// Whether the toolkit runs on this window system. Needs the application object, as does what follows.
    virtual bool isToolkitOnIt() = 0;
    /// Throws std::runtime_error when no connection can be made.
    virtual std::unique_ptr<WindowSystem> make(const WindowSystemContext& context) = 0;
};

/// What such a library has under the name "glimmerwickWindowSystem".
using WindowSystemEntry = WindowSystemLibrary&();

} // namespace glimmerwick
