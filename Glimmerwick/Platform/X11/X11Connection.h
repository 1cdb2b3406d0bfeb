#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

/// Owns what xcb hands out to be freed: replies, events and errors.
template <typename T> using XcbOwned = std::unique_ptr<T, FreeDeleter>;

using XcbEvent = XcbOwned<xcb_generic_event_t>;
using XcbError = XcbOwned<xcb_generic_error_t>;

inline std::uint8_t eventType(const xcb_generic_event_t& event)
{
    constexpr std::uint8_t sentByClientBit = 0x80;
    return event.response_type & static_cast<std::uint8_t>(~sentByClientBit);
}

/// A connection to the display with the small questions that the adapters ask of it. What fails or has
/// vanished answers as absent; protocol errors are dropped. One thread, the one that made it.
class X11Connection {
public:
    /// A connection of its own. Throws std::runtime_error when the display cannot be reached.
    X11Connection();
    /// The toolkit's connection, which stays the toolkit's.
    explicit X11Connection(xcb_connection_t* toolkitConnection);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    operator xcb_connection_t*() const { return m_connection.get(); }
    bool isBroken() const { return xcb_connection_has_error(m_connection.get()) != 0; }

    int screenNumber() const { return m_screenNumber; }
    xcb_window_t root() const { return m_root; }

    /// Which client a resource belongs to; equal for all of one client's.
    std::uint32_t clientOf(std::uint32_t resource) const { return resource & ~m_resourceMask; }
    /// The client at this end.
    std::uint32_t client() const { return m_resourceBase; }

    /// Remembered after the first question.
    xcb_atom_t atom(std::string_view name);
    /// Empty for an atom that does not exist.
    std::string atomName(xcb_atom_t atom);

    /// The selection that the screen's compositor owns while it runs.
    xcb_atom_t compositorSelection();

    /// What the server says of the extension; null when it lacks it. Lives as long as the connection.
    const xcb_query_extension_reply_t* extension(xcb_extension_t& extension);
    bool hasExtension(xcb_extension_t& extension) { return this->extension(extension) != nullptr; }

    std::vector<std::uint32_t> numbers(xcb_window_t window, xcb_atom_t property, xcb_atom_t type);
    /// The property of each of the windows, asked for together: it takes no longer than asking one.
    std::vector<std::vector<std::uint32_t>> numbers(const std::vector<xcb_window_t>& windows,
                                                    xcb_atom_t property, xcb_atom_t type);
    std::optional<std::string> text(xcb_window_t window, xcb_atom_t property, xcb_atom_t type);

    /// The window that `_NET_ACTIVE_WINDOW` names; none without a window manager that keeps it.
    std::optional<xcb_window_t> activeWindow();
    /// None while no window has the input focus, also when the focus follows the pointer.
    std::optional<xcb_window_t> focusWindow();
    std::optional<xcb_window_t> parentOf(xcb_window_t window);
    bool exists(xcb_window_t window);

    /// Returns when the server has done everything that was sent before.
    void roundTrip();
    /// Takes the next event that has been read already, or can be without waiting.
    XcbEvent pollEvent() { return XcbEvent(xcb_poll_for_event(m_connection.get())); }

    /// The answer to a request; null when it failed.
    template <typename Reply, typename Cookie>
    XcbOwned<Reply> answer(Reply* (*wait)(xcb_connection_t*, Cookie, xcb_generic_error_t**), Cookie cookie)
    {
        xcb_generic_error_t* error = nullptr;
        XcbOwned<Reply> reply(wait(m_connection.get(), cookie, &error));
        const XcbError ownedError(error);
        return reply;
    }

    /// Whether a checked request succeeded. Waits for the answer.
    bool succeeds(xcb_void_cookie_t checkedRequest);

private:
    struct Disconnect {
        bool isOwner = false;
        void operator()(xcb_connection_t* connection) const;
    };

    X11Connection(std::unique_ptr<xcb_connection_t, Disconnect> connection, int screenNumber);

    XcbOwned<xcb_get_property_reply_t> property(xcb_window_t window, xcb_atom_t property, xcb_atom_t type);

    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    int m_screenNumber = 0;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    std::uint32_t m_resourceBase = 0;
    std::uint32_t m_resourceMask = 0;
    std::map<std::string, xcb_atom_t, std::less<>> m_atoms;
};

} // namespace glimmerwick
