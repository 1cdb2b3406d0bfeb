#include "Platform/X11/X11IncomingTransfer.h"

namespace glimmerwick {

namespace {

// In 32-bit words, as the protocol counts.
constexpr std::uint32_t readLength = 256 * 1024;

} // namespace

X11IncomingTransfer::X11IncomingTransfer(X11Connection& connection, xcb_atom_t selection, xcb_atom_t target,
                                         xcb_timestamp_t time)
    : m_connection(connection), m_window(xcb_generate_id(connection)),
      m_property(connection.atom("GLIMMERWICK_SELECTION")), m_lastProgress(std::chrono::steady_clock::now())
{
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_connection, 0, m_window, m_connection.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    xcb_convert_selection(m_connection, m_window, selection, target, m_property, time);
    xcb_flush(m_connection);
}

X11IncomingTransfer::~X11IncomingTransfer()
{
    xcb_destroy_window(m_connection, m_window);
    xcb_flush(m_connection);
}

void X11IncomingTransfer::handle(const xcb_generic_event_t& event)
{
    if (m_status != Status::pending) {
        return;
    }
    if (eventType(event) == XCB_SELECTION_NOTIFY) {
        const auto& answer = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        if (answer.requestor == m_window) {
            handleAnswer(answer);
        }
    } else if (eventType(event) == XCB_PROPERTY_NOTIFY && m_isIncremental) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window == m_window && change.atom == m_property
            && change.state == XCB_PROPERTY_NEW_VALUE) {
            takePiece();
        }
    }
}

void X11IncomingTransfer::handleAnswer(const xcb_selection_notify_event_t& answer)
{
    m_lastProgress = std::chrono::steady_clock::now();
    if (answer.property == XCB_ATOM_NONE) {
        m_status = Status::refused;
        return;
    }
    const std::size_t size = readProperty();
    if (m_status != Status::pending) {
        return;
    }
    if (m_type == m_connection.atom("INCR")) {
        m_isIncremental = true;
        m_bytes.clear();
    } else {
        m_status = m_type == XCB_ATOM_NONE && size == 0 ? Status::refused : Status::complete;
    }
}

void X11IncomingTransfer::takePiece()
{
    m_lastProgress = std::chrono::steady_clock::now();
    if (readProperty() == 0 && m_status == Status::pending) {
        m_status = Status::complete;
    }
}

// Appends the property and deletes it, which asks the owner for the next piece.
std::size_t X11IncomingTransfer::readProperty()
{
    const std::size_t before = m_bytes.size();
    for (std::uint32_t offset = 0;; offset += readLength) {
        const auto reply =
            m_connection.answer(xcb_get_property_reply,
                                xcb_get_property(m_connection, 0, m_window, m_property,
                                                 XCB_GET_PROPERTY_TYPE_ANY, offset, readLength));
        if (!reply) {
            m_status = Status::refused;
            return 0;
        }
        const auto size = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
        if (size > 0 || m_bytes.empty()) {
            m_type = reply->type;
        }
        if (m_bytes.size() + size + reply->bytes_after > largestSize) {
            m_status = Status::tooLarge;
            return 0;
        }
        m_bytes.append(static_cast<const char*>(xcb_get_property_value(reply.get())), size);
        if (reply->bytes_after == 0 || size == 0) {
            break;
        }
    }
    xcb_delete_property(m_connection, m_window, m_property);
    xcb_flush(m_connection);
    return m_bytes.size() - before;
}

} // namespace glimmerwick
