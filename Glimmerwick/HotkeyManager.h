#pragma once

#include "Platform/EventTap.h"
#include "Platform/Lifetime.h"

#include <functional>
#include <memory>

namespace glimmerwick {

class MainQueue;

/// Watches for Control+Command+Space in the whole session, swallows it and reports it. Main thread.
class HotkeyManager {
public:
    static HotkeyManager& shared();

    HotkeyManager(EventTap& eventTap, MainQueue& mainQueue);
    ~HotkeyManager();

    /// What to do when the shortcut is pressed; runs from the main queue, never inside the tap. Kept by
    /// `stop()`.
    std::function<void()> onHotkeyTriggered;

    /// Installs the tap; true when it is, or already was, running. A failure is reported only by the result.
    bool start();
    void stop();
    bool isRunning() const { return m_isRunning; }

    /// The tap's callback. A null manager swallows the shortcut and does nothing else.
    static TapDecision hotkeyEventCallback(const KeyEvent& event, HotkeyManager* manager);

private:
    void trigger();

    EventTap& m_tapService;
    MainQueue& m_mainQueue;
    std::unique_ptr<EventTapPort> m_eventTap;
    /// After the tap, so that it goes first.
    std::unique_ptr<RunLoopSource> m_runLoopSource;
    bool m_isRunning = false;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
