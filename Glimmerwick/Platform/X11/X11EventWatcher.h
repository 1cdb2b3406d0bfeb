#pragma once

#include "Platform/Qt/HandlerList.h"
#include "Platform/X11/X11Connection.h"

#include <functional>
#include <memory>

class QSocketNotifier;

namespace glimmerwick {

/// Watches what happens on the display outside this program's windows, on a connection of its own so that the
/// toolkit's selections are left alone. Handlers run on the main thread. Main thread.
class X11EventWatcher {
public:
    X11EventWatcher();
    ~X11EventWatcher();

    /// Whether raw input can be watched (XInput 2).
    bool watchesRawInput() const { return m_inputExtensionOpcode != 0; }

    Registration onKeyboardMappingChanged(std::function<void()> handler);
    Registration onActiveWindowChanged(std::function<void()> handler);
    /// A compositor has started or ended.
    Registration onCompositorChanged(std::function<void()> handler);

    enum class FocusLoss {
        movedAway,
        /// The window has gone off the screen, if only for a moment, and whatever was grabbed on it is lost.
        windowIsGone,
    };
    using FocusLossHandler = std::function<void(FocusLoss)>;

    /// Runs when the window loses the input focus, goes off the screen or is destroyed after this has
    /// returned. One window at a time: a later call replaces an earlier one.
    void watchFocus(xcb_window_t window, FocusLossHandler onLost);
    void stopWatchingFocus();

    /// Presses anywhere on the display, whoever has grabbed the device.
    Registration onRawButtonPress(std::function<void(std::uint32_t button)> handler);
    Registration onRawKeyPress(std::function<void(xcb_keycode_t key)> handler);

private:
    void startRawInput();
    void startWatchingCompositors();
    void selectRawInput();
    void readEvents();
    void handle(const xcb_generic_event_t& event);
    void handleRawInput(const xcb_ge_generic_event_t& event);
    void loseFocus(xcb_window_t window, FocusLoss loss);

    X11Connection m_connection;
    std::uint8_t m_inputExtensionOpcode = 0;
    std::uint8_t m_selectionEvent = 0;
    HandlerList<void()> m_keyboardMappingHandlers;
    HandlerList<void()> m_activeWindowHandlers;
    HandlerList<void()> m_compositorHandlers;
    HandlerList<void(std::uint32_t)> m_rawButtonHandlers;
    HandlerList<void(xcb_keycode_t)> m_rawKeyHandlers;
    xcb_window_t m_focusWindow = XCB_WINDOW_NONE;
    FocusLossHandler m_onFocusLost;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

} // namespace glimmerwick
