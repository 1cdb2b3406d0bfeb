#include "Platform/X11/X11KeyboardGrab.h"

#include "Platform/Clock.h"
#include "Platform/MainQueue.h"
#include "Platform/Qt/XkbKeyCodes.h"
#include "Platform/X11/X11EventWatcher.h"
#include "Platform/X11/X11HeldKeys.h"

#include <QGuiApplication>
#include <QWindow>
#include <qpa/qwindowsysteminterface.h>

#include <xcb/xtest.h>

#include <algorithm>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

constexpr auto retryInterval = 25ms;
constexpr auto longestWait = 1s;

QWindow* toolkitWindow(xcb_window_t id)
{
    const auto windows = QGuiApplication::allWindows();
    const auto found = std::ranges::find_if(windows, [id](const QWindow* window) {
        return window->handle() && static_cast<xcb_window_t>(window->winId()) == id;
    });
    return found == windows.end() ? nullptr : *found;
}

} // namespace

X11KeyboardGrab::X11KeyboardGrab(X11Connection& toolkit, X11Connection& display, X11Keyboard& keyboard,
                                 X11EventWatcher& watcher, X11HeldKeys& heldKeys, MainQueue& mainQueue,
                                 Clock& clock)
    : m_toolkit(toolkit), m_display(display), m_keyboard(keyboard), m_watcher(watcher), m_heldKeys(heldKeys),
      m_mainQueue(mainQueue), m_clock(clock), m_activeWindowObserver(watcher.onActiveWindowChanged(
                                                  [this] { follow(X11EventWatcher::FocusLoss::movedAway); }))
{
}

X11KeyboardGrab::~X11KeyboardGrab()
{
    letGo();
}

void X11KeyboardGrab::panelDidShow(xcb_window_t panel)
{
    m_panel = panel;
    engage();
}

void X11KeyboardGrab::panelWillHide()
{
    letGo();
    m_panel.reset();
}

void X11KeyboardGrab::setWanted(bool wanted)
{
    m_isWanted = wanted;
    if (wanted) {
        engage();
    } else {
        letGo();
    }
}

void X11KeyboardGrab::engage()
{
    if (!m_panel || !m_isWanted || m_state != State::idle) {
        return;
    }
    m_giveUp = m_clock.now() + longestWait;
    if (!tryToGrab()) {
        m_state = State::waiting;
        m_retry = m_mainQueue.every(retryInterval, [this] { retry(); });
    }
}

bool X11KeyboardGrab::tryToGrab()
{
    const xcb_window_t window = m_toolkit.focusWindow().value_or(m_toolkit.root());
    // First of all: a window that goes away right behind the grab ends it without another word.
    m_watcher.watchFocus(window, [this](X11EventWatcher::FocusLoss loss) { follow(loss); });
    const auto reply = m_toolkit.answer(
        xcb_grab_keyboard_reply,
        xcb_grab_keyboard(m_toolkit, 0, window, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_SYNC));
    if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS) {
        return false;
    }
    m_retry.reset();
    m_state = State::grabbed;
    m_grabbedWindow = window;
    thaw();
    tellToolkit(m_panel);
    return true;
}

// Two turns later: in the first the toolkit hands the key on, and what it leads to is done in the second.
void X11KeyboardGrab::thawLater()
{
    m_mainQueue.async([this, alive = m_lifetime.watch()] {
        if (!alive) {
            return;
        }
        m_mainQueue.async([this, alive] {
            if (alive) {
                thaw();
            }
        });
    });
}

// While the keyboard is grabbed here, up to the next key alone.
void X11KeyboardGrab::thaw()
{
    xcb_allow_events(m_toolkit,
                     m_state == State::grabbed ? XCB_ALLOW_SYNC_KEYBOARD : XCB_ALLOW_ASYNC_KEYBOARD,
                     XCB_CURRENT_TIME);
    xcb_flush(m_toolkit);
}

void X11KeyboardGrab::retry()
{
    if (m_state == State::lent && isSwitchingWindows()) {
        m_giveUp = m_clock.now() + longestWait;
        return;
    }
    if (!tryToGrab() && m_clock.now() >= m_giveUp) {
        focusPanel();
    }
}

// A grab on a window that is no longer shown has ended without a word, and one on a window that is no longer
// in use would deactivate its application at the end.
void X11KeyboardGrab::follow(X11EventWatcher::FocusLoss loss)
{
    if (m_state != State::grabbed) {
        return;
    }
    if (loss == X11EventWatcher::FocusLoss::movedAway
        && m_toolkit.focusWindow().value_or(m_toolkit.root()) == m_grabbedWindow
        && m_grabbedWindow != m_toolkit.root()) {
        return;
    }
    m_state = State::idle;
    engage();
}

void X11KeyboardGrab::makePanelKey(xcb_window_t panel)
{
    m_panel = panel;
    const bool hasLostFocus = m_state == State::focused && m_toolkit.focusWindow() != m_panel;
    if (m_state == State::idle || hasLostFocus) {
        focusPanel();
    }
}

void X11KeyboardGrab::focusPanel()
{
    m_retry.reset();
    m_previousFocus = m_toolkit.focusWindow();
    m_state = State::focused;
    m_grabbedWindow = XCB_WINDOW_NONE;
    m_watcher.watchFocus(*m_panel, [this](X11EventWatcher::FocusLoss) { panelLostFocus(); });
    // In this order, so that keys which the server has kept back go to the panel. A grab may be left over on
    // a window that the focus has gone from.
    xcb_set_input_focus(m_toolkit, XCB_INPUT_FOCUS_POINTER_ROOT, *m_panel, XCB_CURRENT_TIME);
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    m_toolkit.roundTrip();
    tellToolkit(m_panel);
}

// Where the user has put it, it stays: the panel gets keys by other means now, or by a click on it.
void X11KeyboardGrab::panelLostFocus()
{
    const auto focus = m_toolkit.focusWindow();
    if (m_state != State::focused || focus == m_panel) {
        return;
    }
    m_state = State::idle;
    m_previousFocus.reset();
    m_watcher.stopWatchingFocus();
    tellToolkit(focus);
    // At once: a key behind this may have arrived with it, and as long as the toolkit calls the panel
    // focused, whoever looks at raw keys leaves that one to the toolkit, which never gets it.
    QWindowSystemInterface::sendWindowSystemEvents(QEventLoop::ExcludeUserInputEvents);
    engage();
}

void X11KeyboardGrab::restoreFocus()
{
    // Wherever the user or the window manager has put it meanwhile, it stays.
    if (m_previousFocus && m_toolkit.focusWindow() == m_panel) {
        xcb_set_input_focus(m_toolkit, XCB_INPUT_FOCUS_PARENT, *m_previousFocus, XCB_CURRENT_TIME);
    }
    m_previousFocus.reset();
}

void X11KeyboardGrab::letGo()
{
    const State state = std::exchange(m_state, State::idle);
    m_retry.reset();
    m_watcher.stopWatchingFocus();
    if (state == State::focused) {
        m_heldKeys.keepBack(m_previousFocus);
        restoreFocus();
    } else if (state == State::grabbed) {
        m_heldKeys.keepBack(m_grabbedWindow);
    }
    m_grabbedWindow = XCB_WINDOW_NONE;
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    m_toolkit.roundTrip();
    if (state != State::idle) {
        tellToolkit(m_toolkit.focusWindow());
    }
}

X11KeyboardGrab::Route X11KeyboardGrab::route(xcb_key_press_event_t& event)
{
    if (!isGrabbedFor(event) || !m_panel) {
        return Route::elsewhere;
    }
    thawLater();
    if (isWindowSwitch(event)) {
        if (event.response_type == XCB_KEY_PRESS) {
            lendToWindowManager(event.detail);
        }
        return Route::withheld;
    }
    event.event = *m_panel;
    return Route::toPanel;
}

// While a new grab is tried for, the one before it may still bring keys.
bool X11KeyboardGrab::isGrabbedFor(const xcb_key_press_event_t& event) const
{
    return m_state == State::grabbed || (m_state == State::waiting && event.event == m_grabbedWindow);
}

bool X11KeyboardGrab::isWindowSwitch(const xcb_key_press_event_t& event) const
{
    const EventFlags flags = m_keyboard.flags(event.state);
    if ((flags & eventFlag::option) == 0 || (flags & (eventFlag::command | eventFlag::control)) != 0) {
        return false;
    }
    const auto tabKeys = m_keyboard.keysOf(keyCode::tab);
    return std::ranges::find(tabKeys, event.detail) != tabKeys.end();
}

// The window manager's own grab of the combination could not fire while the keyboard was grabbed here. So the
// key is released and pressed once more in the user's name, now that it can.
void X11KeyboardGrab::lendToWindowManager(xcb_keycode_t key)
{
    m_state = State::lent;
    m_grabbedWindow = XCB_WINDOW_NONE;
    m_watcher.stopWatchingFocus();
    xcb_ungrab_keyboard(m_toolkit, XCB_CURRENT_TIME);
    m_toolkit.roundTrip();
    if (m_display.hasExtension(xcb_test_id)) {
        for (const std::uint8_t type : {XCB_KEY_RELEASE, XCB_KEY_PRESS, XCB_KEY_RELEASE}) {
            xcb_test_fake_input(m_display, type, key, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0, 0);
        }
        xcb_flush(m_display);
    }
    m_giveUp = m_clock.now() + longestWait;
    m_retry = m_mainQueue.every(retryInterval, [this] { retry(); });
}

bool X11KeyboardGrab::isSwitchingWindows() const
{
    const auto reply =
        m_display.answer(xcb_query_pointer_reply, xcb_query_pointer(m_display, m_display.root()));
    return reply && (m_keyboard.flags(reply->mask) & eventFlag::option) != 0;
}

void X11KeyboardGrab::tellToolkit(std::optional<xcb_window_t> activeWindow)
{
    QWindow* ownWindow = activeWindow ? toolkitWindow(*activeWindow) : nullptr;
    QWindowSystemInterface::handleWindowActivated(ownWindow, Qt::ActiveWindowFocusReason);
}

} // namespace glimmerwick
