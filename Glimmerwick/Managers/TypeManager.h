#pragma once

#include "Models/Emoji.h"
#include "Platform/Lifetime.h"
#include "Platform/Window.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace glimmerwick {

class AccessibilityTrust;
class Clock;
class EventPoster;
class EventSource;
class KeyboardEvent;
class Log;
class MainQueue;
class NotificationCenter;
class Pasteboard;
class RunningApplication;
class Workspace;
struct Process;
enum class KeyDirection;

/// Why typing failed. Only `eventPostingFailed` is ever produced, for every kind of failure.
enum class TypeManagerError { noFrontmostApp, eventCreationFailed, eventPostingFailed };

std::string_view errorDescription(TypeManagerError error);

/// Puts a chosen emoji into the application the user was working in: hides the picker, brings that
/// application back, pastes from the clipboard and puts the clipboard's text back. Main thread.
class TypeManager {
public:
    /// User info of all three: "emoji" (Emoji); of the last also "error" (TypeManagerError).
    static const std::string willTypeEmojiNotification;
    static const std::string didTypeEmojiNotification;
    static const std::string typingFailedNotification;

    static TypeManager& shared();

    TypeManager(const Process& process, Log& log, MainQueue& mainQueue, Clock& clock,
                NotificationCenter& notificationCenter, Workspace& workspace, Pasteboard& pasteboard,
                EventPoster& eventPoster, AccessibilityTrust& accessibilityTrust);
    ~TypeManager();

    /// Remembers the frontmost application unless there is none or it is this program.
    void storeFrontmostApp();

    /// Forces the typing target; an identifier of no running application clears an earlier one.
    void setTargetApp(const std::string& bundleIdentifier);

    /// Hides the window and types after a short delay; returns before anything is typed. The completion gets
    /// the outcome, and false when the manager is gone by then. The window may be null.
    void typeCharacter(const std::string& character, const std::optional<Emoji>& emoji, Window* hidingWindow,
                       std::function<void(bool)> completion);

private:
    bool isThisProgram(const RunningApplication& application) const;
    static void hide(Window* window);
    bool performTyping(const std::string& character, const std::optional<Emoji>& emoji);
    void activateReceivingApp();
    void postOutcome(bool typed, const Emoji& emoji);
    bool typeUsingClipboard(const std::string& character);
    void scheduleRestore(std::optional<std::string> saved);
    bool simulatePaste();
    std::unique_ptr<KeyboardEvent> makePasteKeyEvent(EventSource& source, KeyDirection direction);

    const Process& m_process;
    Log& m_log;
    MainQueue& m_mainQueue;
    Clock& m_clock;
    NotificationCenter& m_notificationCenter;
    Workspace& m_workspace;
    Pasteboard& m_pasteboard;
    EventPoster& m_eventPoster;
    AccessibilityTrust& m_accessibilityTrust;

    std::shared_ptr<RunningApplication> m_previousFrontmostApp;
    std::shared_ptr<RunningApplication> m_targetApp;
    std::chrono::duration<double> m_typingDelay{0.05};
    Lifetime m_lifetime;
};

} // namespace glimmerwick
