// Stands in for libxcb's functions of the same names, at the display that a script plays.

#include "Fuzz/ScriptedDisplay.h"

#include <poll.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using glimmerwick::ScriptedDisplay;

namespace {

xcb_connection_t* connection()
{
    return reinterpret_cast<xcb_connection_t*>(&ScriptedDisplay::current());
}

template <typename Cookie> Cookie answered(void* reply)
{
    Cookie cookie{ScriptedDisplay::current().nextSequence()};
    ScriptedDisplay::current().keepReply(cookie.sequence, reply);
    return cookie;
}

template <typename Reply> Reply* newReply()
{
    auto* reply = static_cast<Reply*>(std::calloc(1, sizeof(Reply)));
    reply->response_type = 1;
    return reply;
}

template <typename Reply, typename Cookie> Reply* taken(Cookie cookie, xcb_generic_error_t** error)
{
    if (error) {
        *error = nullptr;
    }
    return static_cast<Reply*>(ScriptedDisplay::current().takeReply(cookie.sequence));
}

xcb_void_cookie_t done()
{
    return {ScriptedDisplay::current().nextSequence()};
}

} // namespace

extern "C" {

xcb_connection_t* xcb_connect(const char*, int*)
{
    return connection();
}

void xcb_disconnect(xcb_connection_t*) { }

int xcb_connection_has_error(xcb_connection_t*)
{
    return 0;
}

int xcb_get_file_descriptor(xcb_connection_t*)
{
    return 0;
}

int xcb_flush(xcb_connection_t*)
{
    return 1;
}

int xcb_parse_display(const char*, char**, int*, int*)
{
    return 0;
}

const xcb_setup_t* xcb_get_setup(xcb_connection_t*)
{
    return &ScriptedDisplay::current().setup;
}

xcb_screen_iterator_t xcb_setup_roots_iterator(const xcb_setup_t*)
{
    return {&ScriptedDisplay::current().screen, 1, 0};
}

std::uint32_t xcb_generate_id(xcb_connection_t*)
{
    return ScriptedDisplay::current().setup.resource_id_base + ScriptedDisplay::current().nextSequence();
}

xcb_generic_event_t* xcb_poll_for_event(xcb_connection_t*)
{
    return static_cast<xcb_generic_event_t*>(ScriptedDisplay::current().nextEvent());
}

xcb_generic_error_t* xcb_request_check(xcb_connection_t*, xcb_void_cookie_t)
{
    return nullptr;
}

xcb_intern_atom_cookie_t xcb_intern_atom(xcb_connection_t*, std::uint8_t, std::uint16_t length,
                                         const char* name)
{
    auto* reply = newReply<xcb_intern_atom_reply_t>();
    reply->atom = ScriptedDisplay::current().atom({name, length});
    return answered<xcb_intern_atom_cookie_t>(reply);
}

xcb_intern_atom_reply_t* xcb_intern_atom_reply(xcb_connection_t*, xcb_intern_atom_cookie_t cookie,
                                               xcb_generic_error_t** error)
{
    return taken<xcb_intern_atom_reply_t>(cookie, error);
}

xcb_get_atom_name_cookie_t xcb_get_atom_name(xcb_connection_t*, xcb_atom_t atom)
{
    const std::string name = ScriptedDisplay::current().atomName(atom);
    if (name.empty()) {
        return answered<xcb_get_atom_name_cookie_t>(nullptr);
    }
    xcb_get_atom_name_reply_t header{};
    header.response_type = 1;
    header.name_len = static_cast<std::uint16_t>(name.size());
    char* reply = static_cast<char*>(std::malloc(sizeof header + name.size()));
    std::memcpy(reply, &header, sizeof header);
    name.copy(reply + sizeof header, name.size());
    return answered<xcb_get_atom_name_cookie_t>(reply);
}

xcb_get_atom_name_reply_t* xcb_get_atom_name_reply(xcb_connection_t*, xcb_get_atom_name_cookie_t cookie,
                                                   xcb_generic_error_t** error)
{
    return taken<xcb_get_atom_name_reply_t>(cookie, error);
}

xcb_get_property_cookie_t xcb_get_property(xcb_connection_t*, std::uint8_t, xcb_window_t window,
                                           xcb_atom_t property, xcb_atom_t type, std::uint32_t offset,
                                           std::uint32_t length)
{
    return answered<xcb_get_property_cookie_t>(
        ScriptedDisplay::current().readProperty(window, property, type, offset, length));
}

xcb_get_property_reply_t* xcb_get_property_reply(xcb_connection_t*, xcb_get_property_cookie_t cookie,
                                                 xcb_generic_error_t** error)
{
    return taken<xcb_get_property_reply_t>(cookie, error);
}

xcb_get_selection_owner_cookie_t xcb_get_selection_owner(xcb_connection_t*, xcb_atom_t selection)
{
    auto* reply = newReply<xcb_get_selection_owner_reply_t>();
    reply->owner = ScriptedDisplay::current().selectionOwner(selection);
    return answered<xcb_get_selection_owner_cookie_t>(reply);
}

xcb_get_selection_owner_reply_t* xcb_get_selection_owner_reply(xcb_connection_t*,
                                                               xcb_get_selection_owner_cookie_t cookie,
                                                               xcb_generic_error_t** error)
{
    return taken<xcb_get_selection_owner_reply_t>(cookie, error);
}

xcb_get_input_focus_cookie_t xcb_get_input_focus(xcb_connection_t*)
{
    auto* reply = newReply<xcb_get_input_focus_reply_t>();
    reply->focus = ScriptedDisplay::current().focus;
    return answered<xcb_get_input_focus_cookie_t>(reply);
}

xcb_get_input_focus_reply_t* xcb_get_input_focus_reply(xcb_connection_t*, xcb_get_input_focus_cookie_t cookie,
                                                       xcb_generic_error_t** error)
{
    return taken<xcb_get_input_focus_reply_t>(cookie, error);
}

xcb_query_tree_cookie_t xcb_query_tree(xcb_connection_t*, xcb_window_t window)
{
    if (!ScriptedDisplay::current().exists(window)) {
        return answered<xcb_query_tree_cookie_t>(nullptr);
    }
    auto* reply = newReply<xcb_query_tree_reply_t>();
    reply->parent = ScriptedDisplay::current().parentOf(window);
    return answered<xcb_query_tree_cookie_t>(reply);
}

xcb_query_tree_reply_t* xcb_query_tree_reply(xcb_connection_t*, xcb_query_tree_cookie_t cookie,
                                             xcb_generic_error_t** error)
{
    return taken<xcb_query_tree_reply_t>(cookie, error);
}

xcb_get_window_attributes_cookie_t xcb_get_window_attributes(xcb_connection_t*, xcb_window_t window)
{
    const bool exists = ScriptedDisplay::current().exists(window);
    return answered<xcb_get_window_attributes_cookie_t>(exists ? newReply<xcb_get_window_attributes_reply_t>()
                                                               : nullptr);
}

xcb_get_window_attributes_reply_t* xcb_get_window_attributes_reply(xcb_connection_t*,
                                                                   xcb_get_window_attributes_cookie_t cookie,
                                                                   xcb_generic_error_t** error)
{
    return taken<xcb_get_window_attributes_reply_t>(cookie, error);
}

xcb_get_geometry_cookie_t xcb_get_geometry(xcb_connection_t*, xcb_drawable_t)
{
    auto* reply = newReply<xcb_get_geometry_reply_t>();
    reply->width = 3840;
    reply->height = 2160;
    return answered<xcb_get_geometry_cookie_t>(reply);
}

xcb_get_geometry_reply_t* xcb_get_geometry_reply(xcb_connection_t*, xcb_get_geometry_cookie_t cookie,
                                                 xcb_generic_error_t** error)
{
    return taken<xcb_get_geometry_reply_t>(cookie, error);
}

xcb_void_cookie_t xcb_create_window(xcb_connection_t*, std::uint8_t, xcb_window_t window, xcb_window_t parent,
                                    std::int16_t, std::int16_t, std::uint16_t, std::uint16_t, std::uint16_t,
                                    std::uint16_t, xcb_visualid_t, std::uint32_t, const void* values)
{
    std::uint32_t eventMask = 0;
    std::memcpy(&eventMask, values, sizeof eventMask);
    ScriptedDisplay::current().createWindow(window, parent, eventMask);
    return done();
}

xcb_void_cookie_t xcb_destroy_window(xcb_connection_t*, xcb_window_t window)
{
    ScriptedDisplay::current().destroyWindow(window);
    return done();
}

xcb_void_cookie_t xcb_change_window_attributes(xcb_connection_t*, xcb_window_t window, std::uint32_t,
                                               const void* values)
{
    std::uint32_t eventMask = 0;
    std::memcpy(&eventMask, values, sizeof eventMask);
    ScriptedDisplay::current().selectEvents(window, eventMask);
    return done();
}

xcb_void_cookie_t xcb_change_property(xcb_connection_t*, std::uint8_t, xcb_window_t window,
                                      xcb_atom_t property, xcb_atom_t type, std::uint8_t format,
                                      std::uint32_t length, const void* data)
{
    const std::size_t size = length * (format / 8U);
    ScriptedDisplay::current().changeProperty(window, property, type, format,
                                              size == 0 ? std::string()
                                                        : std::string(static_cast<const char*>(data), size));
    return done();
}

xcb_void_cookie_t xcb_delete_property(xcb_connection_t*, xcb_window_t window, xcb_atom_t property)
{
    ScriptedDisplay::current().deleteProperty(window, property);
    return done();
}

xcb_void_cookie_t xcb_set_selection_owner(xcb_connection_t*, xcb_window_t owner, xcb_atom_t selection,
                                          xcb_timestamp_t)
{
    ScriptedDisplay::current().setSelectionOwner(owner, selection);
    return done();
}

xcb_void_cookie_t xcb_convert_selection(xcb_connection_t*, xcb_window_t requestor, xcb_atom_t selection,
                                        xcb_atom_t target, xcb_atom_t property, xcb_timestamp_t time)
{
    xcb_selection_request_event_t request{};
    request.response_type = XCB_SELECTION_REQUEST;
    request.time = time;
    request.requestor = requestor;
    request.selection = selection;
    request.target = target;
    request.property = property;
    ScriptedDisplay::current().convertSelection(request);
    return done();
}

xcb_void_cookie_t xcb_send_event(xcb_connection_t*, std::uint8_t, xcb_window_t destination, std::uint32_t,
                                 const char* event)
{
    ScriptedDisplay::current().sendEvent(destination, event);
    return done();
}

xcb_void_cookie_t xcb_set_input_focus(xcb_connection_t*, std::uint8_t, xcb_window_t, xcb_timestamp_t)
{
    return done();
}

xcb_void_cookie_t xcb_map_window(xcb_connection_t*, xcb_window_t)
{
    return done();
}

// And these for the system's, by the linker's --wrap.

int __wrap_poll(pollfd*, nfds_t, int milliseconds)
{
    ScriptedDisplay::current().wait(std::chrono::milliseconds(milliseconds));
    return 0;
}

/// std::chrono::steady_clock::now, which gives the nanoseconds as such.
std::int64_t __wrap__ZNSt6chrono3_V212steady_clock3nowEv()
{
    return std::chrono::nanoseconds(ScriptedDisplay::current().now().time_since_epoch()).count();
}
}
