#pragma once

#include "Platform/EventMonitors.h"

#include <memory>

namespace glimmerwick {

class KeyEventFilter;
class X11Connection;
class X11EventTap;
class X11EventWatcher;
class X11KeyboardGrab;

/// Local presses come from the toolkit; those in other programs from raw input, which tells of every press on
/// the display. Without XInput 2 the global monitors stay silent. Main thread.
class X11EventMonitors : public EventMonitors {
public:
    X11EventMonitors(X11Connection& display, X11EventWatcher& watcher, KeyEventFilter& keyEventFilter,
                     X11EventTap& eventTap, X11KeyboardGrab& keyboardGrab, std::uint32_t toolkitClient);
    ~X11EventMonitors() override;

    Registration addLocalKeyDownMonitor(std::function<MonitorDecision(const KeyEvent&)> handler) override;
    Registration addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
    Registration addGlobalMouseDownMonitor(std::function<void()> handler) override;

    /// The keyboard has been read again: its layout may be another now.
    void keyboardDidChange();

private:
    class KeyTranslator;

    bool areKeysForOthers() const;
    bool isPointerOverOwnWindow() const;

    X11Connection& m_display;
    X11EventWatcher& m_watcher;
    KeyEventFilter& m_keyEventFilter;
    X11EventTap& m_eventTap;
    X11KeyboardGrab& m_keyboardGrab;
    const std::uint32_t m_toolkitClient;
    std::unique_ptr<KeyTranslator> m_translator;
};

} // namespace glimmerwick
