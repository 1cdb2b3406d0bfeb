#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11SelectionContents.h"

#include <chrono>
#include <list>
#include <optional>
#include <vector>

namespace glimmerwick {

/// Answers other clients' requests for a selection's contents: every target that the contents offer, TARGETS,
/// TIMESTAMP and MULTIPLE, large ones piece by piece (INCR). Clipboard thread.
class X11SelectionServer {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// What a request got.
    enum class Given {
        nothing,
        /// What there is and since when, or the hint for histories.
        facts,
        contents,
    };

    explicit X11SelectionServer(X11Connection& connection);
    ~X11SelectionServer();

    Given answer(const xcb_selection_request_event_t& request, const X11SelectionContents& contents,
                 xcb_timestamp_t ownedSince);
    void refuse(const xcb_selection_request_event_t& request);

    /// Goes on with the transfer that the event is about, if there is one.
    void handle(const xcb_property_notify_event_t& event);
    void handle(const xcb_destroy_notify_event_t& event);

    /// When somebody was last answered or sent a piece.
    Time lastService() const { return m_lastService; }

    /// Drops transfers whose receiver has stopped taking.
    void dropStalled(Time now);
    /// When `dropStalled` may have something to do.
    std::optional<Time> nextStall() const;

private:
    using Bytes = X11SelectionContents::Bytes;

    struct Rendering {
        xcb_atom_t type = XCB_ATOM_NONE;
        Bytes bytes;
    };
    struct Transfer {
        xcb_window_t requestor = XCB_WINDOW_NONE;
        xcb_atom_t property = XCB_ATOM_NONE;
        Rendering rendering;
        std::size_t offset = 0;
        Time lastProgress;
    };

    void notify(const xcb_selection_request_event_t& request, xcb_atom_t property);
    Given convert(xcb_window_t requestor, xcb_atom_t target, xcb_atom_t property,
                  const X11SelectionContents& contents, xcb_timestamp_t ownedSince);
    Given convertMultiple(const xcb_selection_request_event_t& request, const X11SelectionContents& contents,
                          xcb_timestamp_t ownedSince);
    std::vector<xcb_atom_t> targets(const X11SelectionContents& contents);
    std::optional<Rendering> render(xcb_atom_t target, const X11SelectionContents& contents);
    bool isTextTarget(xcb_atom_t target);
    bool deliver(xcb_window_t requestor, xcb_atom_t property, const Rendering& rendering);
    bool begin(Transfer transfer);
    void sendNextPiece(Transfer& transfer);
    void stopWatching(xcb_window_t requestor);

    X11Connection& m_connection;
    std::list<Transfer> m_transfers;
    Time m_lastService;
};

} // namespace glimmerwick
