#include "Platform/X11/X11Platform.h"

#include "Platform/Linux/PasteChords.h"
#include "Platform/MainQueue.h"
#include "Platform/Qt/KeyEventFilter.h"
#include "Platform/X11/X11AccessibilityTrust.h"
#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11EventMonitors.h"
#include "Platform/X11/X11EventPoster.h"
#include "Platform/X11/X11EventTap.h"
#include "Platform/X11/X11EventWatcher.h"
#include "Platform/X11/X11HeldKeys.h"
#include "Platform/X11/X11KeyRouter.h"
#include "Platform/X11/X11Keyboard.h"
#include "Platform/X11/X11KeyboardGrab.h"
#include "Platform/X11/X11PanelHost.h"
#include "Platform/X11/X11Pasteboard.h"
#include "Platform/X11/X11TypingTarget.h"
#include "Platform/X11/X11Windows.h"
#include "Platform/X11/X11Workspace.h"

#include <QGuiApplication>

#include <chrono>
#include <stdexcept>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// Loading a keyboard layout announces itself in several pieces.
constexpr auto mappingSettles = 50ms;

const QNativeInterface::QX11Application* toolkitInterface()
{
    return qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
}

xcb_connection_t* toolkitConnection()
{
    const auto* interface = toolkitInterface();
    if (!interface || !interface->connection()) {
        throw std::runtime_error("the toolkit does not run on an X11 display");
    }
    return interface->connection();
}

} // namespace

struct X11Platform::State {
    State(MainQueue& ofMainQueue, Clock& clock, const Options& options)
        : mainQueue(ofMainQueue), toolkit(toolkitConnection()), keyboard(display), windows(display),
          heldKeys(toolkit, display, keyboard, mainQueue, clock),
          keyboardGrab(toolkit, display, keyboard, watcher, heldKeys, mainQueue, clock),
          eventTap(toolkit, keyboard, keyboardGrab, keyEventFilter),
          keyRouter(keyboardGrab, eventTap, heldKeys),
          eventMonitors(display, watcher, keyEventFilter, eventTap, keyboardGrab, toolkit.client()),
          pasteboard(toolkit.client()),
          eventPoster(toolkit, keyboard, windows, typingTarget, keyboardGrab, heldKeys, pasteboard,
                      PasteChords(options.pasteChordFiles), clock),
          workspace(windows, typingTarget, toolkit.client()), accessibilityTrust(display),
          panelHost(toolkit, display, watcher, keyboardGrab),
          mappingObserver(watcher.onKeyboardMappingChanged([this] { keyboardMappingChanged(); }))
    {
    }

    void keyboardMappingChanged()
    {
        settledMapping = mainQueue.asyncAfter(mappingSettles, [this] {
            keyboard.read();
            eventTap.keyboardDidChange();
            eventMonitors.keyboardDidChange();
        });
    }

    MainQueue& mainQueue;
    /// The toolkit's own connection: grabs made on it bring their events to the toolkit.
    X11Connection toolkit;
    /// For questions and requests; nobody reads its events.
    X11Connection display;
    X11EventWatcher watcher;
    X11Keyboard keyboard;
    X11Windows windows;
    X11TypingTarget typingTarget{windows};
    KeyEventFilter keyEventFilter{mainQueue};
    X11HeldKeys heldKeys;
    X11KeyboardGrab keyboardGrab;
    X11EventTap eventTap;
    X11KeyRouter keyRouter;
    X11EventMonitors eventMonitors;
    X11Pasteboard pasteboard;
    X11EventPoster eventPoster;
    X11Workspace workspace;
    X11AccessibilityTrust accessibilityTrust;
    X11PanelHost panelHost;
    Registration mappingObserver;
    Registration settledMapping;
};

bool X11Platform::isDisplayReachable()
{
    const std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> connection(
        xcb_connect(nullptr, nullptr), xcb_disconnect);
    return xcb_connection_has_error(connection.get()) == 0;
}

bool X11Platform::isAvailable()
{
    // Other platforms than X11's may answer with an interface that has no connection.
    const auto* interface = toolkitInterface();
    return interface && interface->connection();
}

X11Platform::X11Platform(MainQueue& mainQueue, Clock& clock, Options options)
    : m_state(std::make_unique<State>(mainQueue, clock, options))
{
}

X11Platform::~X11Platform() = default;

EventTap& X11Platform::eventTap()
{
    return m_state->eventTap;
}
EventMonitors& X11Platform::eventMonitors()
{
    return m_state->eventMonitors;
}
EventPoster& X11Platform::eventPoster()
{
    return m_state->eventPoster;
}
X11Pasteboard& X11Platform::pasteboard()
{
    return m_state->pasteboard;
}
Workspace& X11Platform::workspace()
{
    return m_state->workspace;
}
AccessibilityTrust& X11Platform::accessibilityTrust()
{
    return m_state->accessibilityTrust;
}
PanelHost& X11Platform::panelHost()
{
    return m_state->panelHost;
}

} // namespace glimmerwick
