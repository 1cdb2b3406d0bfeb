#include "Platform/X11/X11Windows.h"

#include <poll.h>

#include <algorithm>
#include <array>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

// Between two looks at what no event tells.
constexpr auto lookInterval = 2ms;

// The toolkits set the focus themselves a little after they have become active; some never do.
constexpr auto focusPatience = 100ms;

// A window manager that keeps a dialog in front when its window is asked for may say so by changing nothing.
// One that obeys has taken 1.4 to 5 ms.
constexpr auto dialogPatience = 100ms;

// Some window managers only mark a window that is on another desktop; those that bring it, or go there by
// themselves, have had their turn by then.
constexpr auto desktopPatience = 50ms;

constexpr std::uint32_t iconicState = 3;
constexpr std::uint32_t allDesktops = 0xffffffff;

enum class RequestSource : std::uint32_t { pager = 2 };

} // namespace

/// Has the changes of the root's properties told to the connection while it lives.
class X11Windows::RootObservation {
public:
    explicit RootObservation(X11Connection& connection) : m_connection(connection)
    {
        select(XCB_EVENT_MASK_PROPERTY_CHANGE);
    }
    ~RootObservation()
    {
        select(XCB_EVENT_MASK_NO_EVENT);
        // Nobody reads events on this connection at other times.
        m_connection.roundTrip();
        while (m_connection.pollEvent()) { }
    }
    RootObservation(const RootObservation&) = delete;
    RootObservation& operator=(const RootObservation&) = delete;

    /// Ends early when there is something to see.
    void wait(std::chrono::milliseconds longest)
    {
        xcb_flush(m_connection);
        bool hasArrived = false;
        while (m_connection.pollEvent()) {
            hasArrived = true;
        }
        if (!hasArrived) {
            pollfd display{xcb_get_file_descriptor(m_connection), POLLIN, 0};
            poll(&display, 1, static_cast<int>(longest.count()));
        }
    }

private:
    void select(std::uint32_t mask)
    {
        xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
        xcb_flush(m_connection);
    }

    X11Connection& m_connection;
};

X11Windows::X11Windows(X11Connection& connection) : m_connection(connection) { }

std::optional<xcb_window_t> X11Windows::frontmostWindow()
{
    if (const auto active = m_connection.activeWindow()) {
        return active;
    }
    auto window = m_connection.focusWindow();
    while (window && *window != m_connection.root() && !isManaged(*window)) {
        window = m_connection.parentOf(*window);
    }
    return window == m_connection.root() ? std::nullopt : window;
}

bool X11Windows::isManaged(xcb_window_t window)
{
    const xcb_atom_t state = m_connection.atom("WM_STATE");
    return !m_connection.numbers(window, state, state).empty() || !classNames(window).class_.empty();
}

std::optional<xcb_window_t> X11Windows::focusedWindow()
{
    const auto focus = m_connection.focusWindow();
    return focus && *focus != m_connection.root() ? focus : frontmostWindow();
}

std::vector<xcb_window_t> X11Windows::applicationWindows()
{
    return m_connection.numbers(m_connection.root(), m_connection.atom("_NET_CLIENT_LIST"), XCB_ATOM_WINDOW);
}

X11Windows::ClassNames X11Windows::classNames(xcb_window_t window)
{
    const std::string names =
        m_connection.text(window, XCB_ATOM_WM_CLASS, XCB_GET_PROPERTY_TYPE_ANY).value_or(std::string());
    const auto end = std::min(names.find('\0'), names.size());
    const auto classStart = std::min(end + 1, names.size());
    return {names.substr(0, end), names.substr(classStart, names.find('\0', classStart) - classStart)};
}

std::string X11Windows::windowClass(xcb_window_t window)
{
    std::optional<xcb_window_t> current = window;
    while (current && *current != m_connection.root()) {
        if (auto names = classNames(*current); !names.class_.empty()) {
            return names.class_;
        }
        current = m_connection.parentOf(*current);
    }
    // The focus may be in a window that only stands for the real one.
    const auto active = m_connection.activeWindow();
    return active ? classNames(*active).class_ : std::string();
}

std::string X11Windows::gtkApplicationIdentifier(xcb_window_t window)
{
    return m_connection
        .text(window, m_connection.atom("_GTK_APPLICATION_ID"), m_connection.atom("UTF8_STRING"))
        .value_or(std::string());
}

std::int32_t X11Windows::processIdentifier(xcb_window_t window)
{
    const auto values = m_connection.numbers(window, m_connection.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL);
    return values.empty() ? -1 : static_cast<std::int32_t>(values.front());
}

X11Windows::Identity X11Windows::identityOf(xcb_window_t window)
{
    return {window, processIdentifier(window), classNames(window).class_};
}

// Programs may change the class of a window that stays, but not the process. Whoever does not tell the
// process is known by the class alone.
bool X11Windows::isStillThere(const Identity& identity)
{
    if (!m_connection.exists(identity.window)) {
        return false;
    }
    const Identity now = identityOf(identity.window);
    return identity.processIdentifier != -1 && now.processIdentifier != -1
        ? now.processIdentifier == identity.processIdentifier
        : now.windowClass == identity.windowClass;
}

bool X11Windows::activate(xcb_window_t window, std::chrono::milliseconds patience)
{
    if (isActive(window) && hasFocus(window)) {
        return true;
    }
    RootObservation observation(m_connection);
    const bool isWindowManaged = isWindowManagerHere();
    const auto activeBefore = m_connection.activeWindow();
    requestActivation(window);
    bool hasSwitchedDesktop = false;
    const auto start = SteadyClock::now();
    const auto end = start + patience;
    while (!isActive(window)) {
        const auto now = SteadyClock::now();
        if (now >= end || m_connection.isBroken() || !m_connection.exists(window)) {
            return false;
        }
        const auto active = m_connection.activeWindow();
        const bool hasDecided = active != activeBefore || now >= start + dialogPatience;
        if (active && *active != window && hasDecided && m_receiver.isDialogOf(*active, window)) {
            return false;
        }
        if (!hasSwitchedDesktop && now >= start + desktopPatience && isOnAnotherDesktop(window)) {
            hasSwitchedDesktop = true;
            goToDesktopOf(window);
            requestActivation(window);
        }
        if (!isWindowManaged) {
            // Refused until the window is on the screen.
            xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
        }
        observation.wait(lookInterval);
    }
    const auto focusEnd = std::min(end, SteadyClock::now() + focusPatience);
    while (!hasFocus(window) && SteadyClock::now() < focusEnd && !m_connection.isBroken()) {
        observation.wait(lookInterval);
    }
    return true;
}

// Without a window manager nothing is called active; the focus says it then.
bool X11Windows::isActive(xcb_window_t window)
{
    const auto active = m_connection.activeWindow();
    return active ? *active == window : keyReceiver(window) == X11KeyReceiver::Kind::theWindow;
}

bool X11Windows::hasFocus(xcb_window_t window)
{
    const auto receiver = keyReceiver(window);
    return m_connection.focusWindow()
        && (receiver == X11KeyReceiver::Kind::theWindow || receiver == X11KeyReceiver::Kind::itsAttendant);
}

// The property outlives a window manager that died; the window which it names does not.
bool X11Windows::isWindowManagerHere()
{
    const xcb_atom_t check = m_connection.atom("_NET_SUPPORTING_WM_CHECK");
    const auto supporter = m_connection.numbers(m_connection.root(), check, XCB_ATOM_WINDOW);
    return !supporter.empty() && m_connection.numbers(supporter.front(), check, XCB_ATOM_WINDOW) == supporter;
}

void X11Windows::requestActivation(xcb_window_t window)
{
    sendToWindowManager(window, "_NET_ACTIVE_WINDOW",
                        {static_cast<std::uint32_t>(RequestSource::pager), XCB_CURRENT_TIME,
                         m_connection.activeWindow().value_or(XCB_WINDOW_NONE)});
    if (!isWindowManagerHere()) {
        showIfIconified(window);
    }
    xcb_flush(m_connection);
}

void X11Windows::sendToWindowManager(xcb_window_t window, const char* type,
                                     const std::array<std::uint32_t, 3>& data)
{
    union {
        xcb_client_message_event_t event;
        std::array<char, 32> wire;
    } message{};
    message.event.response_type = XCB_CLIENT_MESSAGE;
    message.event.format = 32;
    message.event.window = window;
    message.event.type = m_connection.atom(type);
    std::ranges::copy(data, message.event.data.data32);
    xcb_send_event(m_connection, 0, m_connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   message.wire.data());
}

bool X11Windows::isOnAnotherDesktop(xcb_window_t window)
{
    const auto its = m_connection.numbers(window, m_connection.atom("_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL);
    const auto current = m_connection.numbers(m_connection.root(), m_connection.atom("_NET_CURRENT_DESKTOP"),
                                              XCB_ATOM_CARDINAL);
    return !its.empty() && !current.empty() && its.front() != allDesktops && its.front() != current.front();
}

void X11Windows::goToDesktopOf(xcb_window_t window)
{
    const auto desktop =
        m_connection.numbers(window, m_connection.atom("_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL);
    if (!desktop.empty()) {
        sendToWindowManager(m_connection.root(), "_NET_CURRENT_DESKTOP",
                            {desktop.front(), XCB_CURRENT_TIME, 0});
    }
}

// Window managers that do not know the message know this. A window that its own program has put away stays
// so.
void X11Windows::showIfIconified(xcb_window_t window)
{
    const xcb_atom_t state = m_connection.atom("WM_STATE");
    const auto values = m_connection.numbers(window, state, state);
    if (!values.empty() && values.front() == iconicState) {
        xcb_map_window(m_connection, window);
    }
}

} // namespace glimmerwick
