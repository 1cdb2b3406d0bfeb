#include "Platform/X11/X11Connection.h"

#include <cstring>
#include <stdexcept>

#include <string>

namespace glimmerwick {

namespace {

/// Properties are read up to this many 32-bit words; window titles and lists of windows stay far below.
constexpr std::uint32_t longestProperty = 1 << 16;

int defaultScreenNumber()
{
    char* host = nullptr;
    int display = 0;
    int screen = 0;
    if (xcb_parse_display(nullptr, &host, &display, &screen) == 0) {
        return 0;
    }
    const std::unique_ptr<char, FreeDeleter> ownedHost(host);
    return screen;
}

const xcb_screen_t* screenAt(const xcb_setup_t& setup, int number)
{
    auto screens = xcb_setup_roots_iterator(&setup);
    for (; screens.rem > 1 && number > 0; --number) {
        xcb_screen_next(&screens);
    }
    return screens.rem > 0 ? screens.data : nullptr;
}

std::vector<std::uint32_t> numbersIn(const xcb_get_property_reply_t* reply)
{
    if (!reply || reply->format != 32) {
        return {};
    }
    const std::size_t size = static_cast<std::size_t>(xcb_get_property_value_length(reply));
    std::vector<std::uint32_t> values(size / sizeof(std::uint32_t));
    if (!values.empty()) {
        std::memcpy(values.data(), xcb_get_property_value(reply), values.size() * sizeof(std::uint32_t));
    }
    return values;
}

} // namespace

void X11Connection::Disconnect::operator()(xcb_connection_t* connection) const
{
    if (isOwner) {
        xcb_disconnect(connection);
    }
}

X11Connection::X11Connection()
    : X11Connection(
        std::unique_ptr<xcb_connection_t, Disconnect>(xcb_connect(nullptr, nullptr), Disconnect{true}),
        defaultScreenNumber())
{
}

X11Connection::X11Connection(xcb_connection_t* toolkitConnection)
    : X11Connection(std::unique_ptr<xcb_connection_t, Disconnect>(toolkitConnection, Disconnect{false}),
                    defaultScreenNumber())
{
}

X11Connection::X11Connection(std::unique_ptr<xcb_connection_t, Disconnect> connection, int screenNumber)
    : m_connection(std::move(connection)), m_screenNumber(screenNumber)
{
    const xcb_setup_t* setup = isBroken() ? nullptr : xcb_get_setup(m_connection.get());
    const xcb_screen_t* screen = setup ? screenAt(*setup, screenNumber) : nullptr;
    if (!screen) {
        throw std::runtime_error("the X11 display cannot be reached");
    }
    m_root = screen->root;
    m_resourceBase = setup->resource_id_base;
    m_resourceMask = setup->resource_id_mask;
}

X11Connection::~X11Connection() = default;

xcb_atom_t X11Connection::atom(std::string_view name)
{
    if (const auto known = m_atoms.find(name); known != m_atoms.end()) {
        return known->second;
    }
    const auto cookie = xcb_intern_atom(*this, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const auto reply = answer(xcb_intern_atom_reply, cookie);
    if (!reply) {
        return XCB_ATOM_NONE;
    }
    m_atoms.emplace(name, reply->atom);
    return reply->atom;
}

std::string X11Connection::atomName(xcb_atom_t atom)
{
    const auto reply = answer(xcb_get_atom_name_reply, xcb_get_atom_name(*this, atom));
    if (!reply) {
        return {};
    }
    return {xcb_get_atom_name_name(reply.get()),
            static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

xcb_atom_t X11Connection::compositorSelection()
{
    return atom("_NET_WM_CM_S" + std::to_string(m_screenNumber));
}

const xcb_query_extension_reply_t* X11Connection::extension(xcb_extension_t& extension)
{
    const xcb_query_extension_reply_t* data = xcb_get_extension_data(*this, &extension);
    return data && data->present ? data : nullptr;
}

XcbOwned<xcb_get_property_reply_t> X11Connection::property(xcb_window_t window, xcb_atom_t property,
                                                           xcb_atom_t type)
{
    const auto cookie = xcb_get_property(*this, 0, window, property, type, 0, longestProperty);
    return answer(xcb_get_property_reply, cookie);
}

std::vector<std::uint32_t> X11Connection::numbers(xcb_window_t window, xcb_atom_t name, xcb_atom_t type)
{
    return numbers(std::vector{window}, name, type).front();
}

std::vector<std::vector<std::uint32_t>> X11Connection::numbers(const std::vector<xcb_window_t>& windows,
                                                               xcb_atom_t name, xcb_atom_t type)
{
    std::vector<xcb_get_property_cookie_t> cookies;
    for (const xcb_window_t window : windows) {
        cookies.push_back(xcb_get_property(*this, 0, window, name, type, 0, longestProperty));
    }
    std::vector<std::vector<std::uint32_t>> values;
    for (const xcb_get_property_cookie_t cookie : cookies) {
        values.push_back(numbersIn(answer(xcb_get_property_reply, cookie).get()));
    }
    return values;
}

std::optional<std::string> X11Connection::text(xcb_window_t window, xcb_atom_t name, xcb_atom_t type)
{
    const auto reply = property(window, name, type);
    if (!reply || reply->format != 8) {
        return std::nullopt;
    }
    return std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                       static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
}

std::optional<xcb_window_t> X11Connection::activeWindow()
{
    const auto values = numbers(m_root, atom("_NET_ACTIVE_WINDOW"), XCB_ATOM_WINDOW);
    if (values.empty() || values.front() == XCB_WINDOW_NONE) {
        return std::nullopt;
    }
    return values.front();
}

std::optional<xcb_window_t> X11Connection::focusWindow()
{
    const auto reply = answer(xcb_get_input_focus_reply, xcb_get_input_focus(*this));
    if (!reply || reply->focus == XCB_INPUT_FOCUS_NONE || reply->focus == XCB_INPUT_FOCUS_POINTER_ROOT) {
        return std::nullopt;
    }
    return reply->focus;
}

std::optional<xcb_window_t> X11Connection::parentOf(xcb_window_t window)
{
    const auto reply = answer(xcb_query_tree_reply, xcb_query_tree(*this, window));
    if (!reply || reply->parent == XCB_WINDOW_NONE) {
        return std::nullopt;
    }
    return reply->parent;
}

bool X11Connection::exists(xcb_window_t window)
{
    return answer(xcb_get_window_attributes_reply, xcb_get_window_attributes(*this, window)) != nullptr;
}

void X11Connection::roundTrip()
{
    answer(xcb_get_input_focus_reply, xcb_get_input_focus(*this));
}

bool X11Connection::succeeds(xcb_void_cookie_t checkedRequest)
{
    const XcbError error(xcb_request_check(*this, checkedRequest));
    return !error && !isBroken();
}

} // namespace glimmerwick
