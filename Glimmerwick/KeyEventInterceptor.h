#pragma once

#include "Platform/EventTap.h"
#include "Platform/Lifetime.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace glimmerwick {

class MainQueue;

/// Catches key presses while the picker is shown, before any application sees them, and turns them into typed
/// characters and navigation keys. Main thread.
class KeyEventInterceptor {
public:
    KeyEventInterceptor(EventTap& eventTap, MainQueue& mainQueue);
    ~KeyEventInterceptor();

    /// The characters of a printable key press. Runs from the main queue, and only while active.
    std::function<void(const std::string&)> onCharacterInput;
    /// A navigation key with its modifiers. Runs from the main queue, and only while active.
    std::function<void(std::uint16_t keyCode, EventFlags flags)> onSpecialKey;

    /// Installs the tap; true when active, also when it already was.
    bool start();

    /// Removes the tap and drops both callbacks; set them again before the next start.
    void stop();

    bool isActive() const { return m_isActive; }

    /// The decision; true means that the key press is swallowed.
    bool handleKeyEvent(std::uint16_t keyCode, EventFlags flags,
                        const std::optional<std::string>& characters);

    /// The tap's callback. A null interceptor passes key presses on. A key code outside 16 bits stops the
    /// program.
    static TapDecision keyEventInterceptorCallback(const KeyEvent& event, KeyEventInterceptor* interceptor);

private:
    void reportSpecialKey(std::uint16_t keyCode, EventFlags flags);
    void reportCharacters(const std::string& characters);

    EventTap& m_tapService;
    MainQueue& m_mainQueue;
    std::unique_ptr<EventTapPort> m_eventTap;
    /// After the tap, so that it goes first.
    std::unique_ptr<RunLoopSource> m_runLoopSource;
    bool m_isActive = false;
    Lifetime m_lifetime;
};

} // namespace glimmerwick
