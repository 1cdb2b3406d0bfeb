#pragma once

#include "Platform/SessionRoutes.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

class AccessibilityTrust;
class Clock;
class EventMonitors;
class EventPoster;
class EventTap;
class InjectedKeyboard;
class KWinKeyboardLayout;
class MainQueue;
class PanelHost;
class Pasteboard;
class PortalKeyboard;
class PortalRegistration;
class SessionBus;
class UserDefaults;
class UserNotice;
class WindowSystem;
class WindowSystems;
class Workspace;

/// What the desktop's services are made with. All of it outlives them.
struct DesktopContext {
    WindowSystems& windowSystems;
    SessionRoutes routes;
    const SessionBus& bus;
    /// What the program is called on the bus.
    std::string bundleIdentifier;
    MainQueue& mainQueue;
    Clock& clock;
    UserDefaults& userDefaults;
    UserNotice& userNotice;
    /// A later file's lines win over an earlier one's.
    std::vector<std::filesystem::path> pasteChordFiles;
    /// Gets one line.
    std::function<void(std::string_view)> reportProblem;
    /// The shortcut, which seemed to be there, cannot be had.
    std::function<void()> shortcutIsUnavailable;
    /// The user, or the desktop, does not let emoji be typed.
    std::function<void()> typingIsRefused;
};

/// What the logic asks of the user's desktop, by the routes of the session: each service comes from the
/// window system, or from one beside it, or from a service of the session. Main thread.
class Desktop {
public:
    /// Throws std::runtime_error when there is no way to the window system.
    explicit Desktop(const DesktopContext& context);
    ~Desktop();
    Desktop(const Desktop&) = delete;
    Desktop& operator=(const Desktop&) = delete;

    Pasteboard& pasteboard() { return *m_pasteboard; }
    Workspace& workspace() { return *m_workspace; }
    EventTap& eventTap() { return *m_eventTap; }
    EventPoster& eventPoster() { return *m_eventPoster; }
    EventMonitors& eventMonitors() { return *m_eventMonitors; }
    AccessibilityTrust& accessibilityTrust() { return *m_trust; }
    PanelHost& panelHost() { return *m_panelHost; }

    enum class Asking {
        /// Unless the user has said no before.
        onceForAll,
        again,
    };

    /// Where the user must allow typing, and has not yet, the desktop asks for it.
    void askForConsent(Asking asking);

private:
    struct OrdinaryPanel;

    void makePoster(const DesktopContext& context);
    void makePortalKeyboard(const DesktopContext& context);

    /// Apart from the program's: a portal takes a program's name only from a connection that has asked it for
    /// nothing yet.
    std::unique_ptr<SessionBus> m_portalBus;
    std::unique_ptr<PortalRegistration> m_portalRegistration;
    std::unique_ptr<PortalKeyboard> m_portalKeyboard;
    /// Null unless keys have the user's layout.
    std::unique_ptr<KWinKeyboardLayout> m_keyboardLayout;
    /// The toolkit's.
    std::unique_ptr<WindowSystem> m_windowSystem;
    /// Null where the toolkit's is the only one.
    std::unique_ptr<WindowSystem> m_compositor;

    std::unique_ptr<OrdinaryPanel> m_ordinaryPanel;
    std::unique_ptr<Pasteboard> m_ownPasteboard;
    std::unique_ptr<Workspace> m_ownWorkspace;
    std::unique_ptr<EventPoster> m_ownPoster;
    std::unique_ptr<AccessibilityTrust> m_ownTrust;
    std::unique_ptr<EventTap> m_shortcut;
    std::unique_ptr<EventTap> m_ownEventTap;

    Pasteboard* m_pasteboard = nullptr;
    Workspace* m_workspace = nullptr;
    EventPoster* m_eventPoster = nullptr;
    AccessibilityTrust* m_trust = nullptr;
    UserDefaults& m_userDefaults;
    EventTap* m_eventTap = nullptr;
    EventMonitors* m_eventMonitors = nullptr;
    PanelHost* m_panelHost = nullptr;
};

} // namespace glimmerwick
