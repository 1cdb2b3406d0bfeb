#include "Platform/X11/X11KeyReceiver.h"

#include <algorithm>

namespace glimmerwick {

namespace {

// Dialogs of dialogs; also an end to windows that name each other.
constexpr int longestDialogChain = 8;

} // namespace

X11KeyReceiver::X11KeyReceiver(X11Connection& connection) : m_connection(connection) { }

// The focus is where keys really go, so it counts before what the window manager calls active: that is a
// claim, and while an application is slow to take the focus it is not true yet.
X11KeyReceiver::Kind X11KeyReceiver::seenFrom(xcb_window_t window)
{
    const auto focus = m_connection.focusWindow();
    if (!focus || *focus == m_connection.root()) {
        return byActiveWindow(window);
    }
    // An embedded window inside may be another client's; a frame around is the window manager's.
    if (isWithin(*focus, window) || isWithin(window, *focus)) {
        return Kind::theWindow;
    }
    const auto application = applicationWindow(*focus);
    const bool belongs = application && !isPopup(*application) ? isDialogOf(*application, window)
                                                               : isSameApplication(*focus, window);
    return belongs ? Kind::itsAttendant : Kind::another;
}

X11KeyReceiver::Kind X11KeyReceiver::byActiveWindow(xcb_window_t window)
{
    const auto active = m_connection.activeWindow();
    if (!active) {
        return Kind::unknown;
    }
    if (*active == window) {
        return Kind::theWindow;
    }
    return isDialogOf(*active, window) ? Kind::itsAttendant : Kind::another;
}

bool X11KeyReceiver::isDialogOf(xcb_window_t dialog, xcb_window_t window)
{
    return isDialogOf(dialog, window, longestDialogChain);
}

bool X11KeyReceiver::isDialogOf(xcb_window_t dialog, xcb_window_t window, int longestChain)
{
    const auto owner = transientFor(dialog);
    if (owner == window) {
        return true;
    }
    if (owner && *owner != dialog && isManaged(*owner)) {
        return longestChain > 0 && isDialogOf(*owner, window, longestChain - 1);
    }
    // Over no window in particular: the toolkits name the root or an invisible window for a dialog over all
    // of the application's windows, or leave it at saying that it is a dialog.
    return (owner || hasDialogMark(dialog)) && isSameApplication(dialog, window);
}

bool X11KeyReceiver::isWithin(xcb_window_t inner, xcb_window_t outer)
{
    std::optional<xcb_window_t> current = inner;
    while (current && *current != m_connection.root()) {
        if (*current == outer) {
            return true;
        }
        current = m_connection.parentOf(*current);
    }
    return false;
}

bool X11KeyReceiver::isManaged(xcb_window_t window)
{
    const xcb_atom_t state = m_connection.atom("WM_STATE");
    return !m_connection.numbers(window, state, state).empty();
}

bool X11KeyReceiver::isPopup(xcb_window_t window)
{
    const auto reply =
        m_connection.answer(xcb_get_window_attributes_reply, xcb_get_window_attributes(m_connection, window));
    return reply && reply->override_redirect != 0;
}

bool X11KeyReceiver::hasDialogMark(xcb_window_t window)
{
    const auto contains = [&](const char* property, const char* value) {
        const auto values = m_connection.numbers(window, m_connection.atom(property), XCB_ATOM_ATOM);
        return std::ranges::find(values, m_connection.atom(value)) != values.end();
    };
    return contains("_NET_WM_STATE", "_NET_WM_STATE_MODAL")
        || contains("_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DIALOG");
}

// Some programs talk to the display over several connections, one for each toolkit or thread.
bool X11KeyReceiver::isSameApplication(xcb_window_t one, xcb_window_t another)
{
    if (m_connection.clientOf(one) == m_connection.clientOf(another)) {
        return true;
    }
    const auto process = processIdentifier(one);
    return process && process == processIdentifier(another);
}

/// The window around or at this one that the window manager looks after, or else the outermost.
std::optional<xcb_window_t> X11KeyReceiver::applicationWindow(xcb_window_t inner)
{
    std::optional<xcb_window_t> outermost;
    std::optional<xcb_window_t> current = inner;
    while (current && *current != m_connection.root()) {
        if (isManaged(*current)) {
            return current;
        }
        outermost = current;
        current = m_connection.parentOf(*current);
    }
    return outermost;
}

std::optional<xcb_window_t> X11KeyReceiver::transientFor(xcb_window_t window)
{
    const auto values = m_connection.numbers(window, XCB_ATOM_WM_TRANSIENT_FOR, XCB_ATOM_WINDOW);
    return values.empty() ? std::nullopt : std::optional(values.front());
}

std::optional<std::uint32_t> X11KeyReceiver::processIdentifier(xcb_window_t window)
{
    const auto outer = applicationWindow(window);
    const auto values = outer
        ? m_connection.numbers(*outer, m_connection.atom("_NET_WM_PID"), XCB_ATOM_CARDINAL)
        : std::vector<std::uint32_t>();
    return values.empty() ? std::nullopt : std::optional(values.front());
}

} // namespace glimmerwick
