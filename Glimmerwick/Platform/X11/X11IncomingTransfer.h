#pragma once

#include "Platform/X11/X11Connection.h"

#include <chrono>
#include <string>

namespace glimmerwick {

/// One request to a selection's owner and its answer as it comes in, in one piece or many (INCR). Each has a
/// window of its own, so that the late answer to one that was given up cannot be taken for another's.
/// Clipboard thread.
class X11IncomingTransfer {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class Status { pending, complete, refused, tooLarge };

    /// More than this is not taken.
    static constexpr std::size_t largestSize = 64 * 1024 * 1024;

    /// Asks at once. The time must be one of the server's.
    X11IncomingTransfer(X11Connection& connection, xcb_atom_t selection, xcb_atom_t target,
                        xcb_timestamp_t time);
    ~X11IncomingTransfer();
    X11IncomingTransfer(const X11IncomingTransfer&) = delete;
    X11IncomingTransfer& operator=(const X11IncomingTransfer&) = delete;

    /// Takes the event in if it belongs to this transfer.
    void handle(const xcb_generic_event_t& event);

    Status status() const { return m_status; }
    Time lastProgress() const { return m_lastProgress; }
    /// What the owner calls the encoding.
    xcb_atom_t type() const { return m_type; }
    std::string takeBytes() { return std::move(m_bytes); }

private:
    void handleAnswer(const xcb_selection_notify_event_t& answer);
    void takePiece();
    std::size_t readProperty();

    X11Connection& m_connection;
    const xcb_window_t m_window;
    const xcb_atom_t m_property;
    Status m_status = Status::pending;
    bool m_isIncremental = false;
    xcb_atom_t m_type = XCB_ATOM_NONE;
    std::string m_bytes;
    Time m_lastProgress;
};

} // namespace glimmerwick
