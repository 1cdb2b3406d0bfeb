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

bool X11Windows::activate(xcb_window_t window, std::chrono::milliseconds patience)
{
    if (isActive(window) && hasFocus(window)) {
        return true;
    }
    if (!m_connection.exists(window)) {
        return false;
    }
    RootObservation observation(m_connection);
    requestActivation(window);
    const auto end = SteadyClock::now() + patience;
    while (!isActive(window)) {
        if (SteadyClock::now() >= end || m_connection.isBroken()) {
            return false;
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
    return active ? *active == window : hasFocus(window);
}

bool X11Windows::hasFocus(xcb_window_t window)
{
    const auto focus = m_connection.focusWindow();
    return focus && clientOf(*focus) == clientOf(window);
}

void X11Windows::requestActivation(xcb_window_t window)
{
    union {
        xcb_client_message_event_t event;
        std::array<char, 32> wire;
    } message{};
    message.event.response_type = XCB_CLIENT_MESSAGE;
    message.event.format = 32;
    message.event.window = window;
    message.event.type = m_connection.atom("_NET_ACTIVE_WINDOW");
    message.event.data.data32[0] = static_cast<std::uint32_t>(RequestSource::pager);
    message.event.data.data32[1] = XCB_CURRENT_TIME;
    message.event.data.data32[2] = m_connection.activeWindow().value_or(XCB_WINDOW_NONE);
    xcb_send_event(m_connection, 0, m_connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   message.wire.data());
    const auto supporter = m_connection.numbers(
        m_connection.root(), m_connection.atom("_NET_SUPPORTING_WM_CHECK"), XCB_ATOM_WINDOW);
    if (supporter.empty()) {
        xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    }
    xcb_flush(m_connection);
}

} // namespace glimmerwick
