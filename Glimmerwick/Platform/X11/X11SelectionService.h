#pragma once

#include "Platform/X11/X11Connection.h"
#include "Platform/X11/X11SelectionContents.h"
#include "Platform/X11/X11SelectionServer.h"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace glimmerwick {

class X11IncomingTransfer;

/// Owns and reads the display's selections. Everything runs on the clipboard thread, which calls `wait`
/// whenever it has nothing else to do.
///
/// While a paste is under way the target's requests are answered with what the clipboard held when the paste
/// began, however late they come, and everybody else's with what it holds now: the user's own text is put
/// back after a fixed time, which a busy application may well miss.
class X11SelectionService {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class PasteSelections { clipboard, clipboardAndPrimary };

    /// What reading came to.
    struct ReadResult {
        std::optional<std::string> text;
        /// The client that owns the selection; 0 for none.
        std::uint32_t owner = 0;
    };

    X11SelectionService();
    ~X11SelectionService();

    /// Handles what arrives until the time, the descriptor becomes readable, or there was something to
    /// handle.
    void wait(Time until, int wakeDescriptor);

    void clear();
    bool add(const std::string& type, std::string bytes);
    /// Without the text when the client given owns the clipboard: that one cannot answer now.
    ReadResult read(const std::string& type, std::uint32_t busyClient);

    void beginPaste(xcb_window_t target, PasteSelections selections);

    /// Hands the text to the session's clipboard manager, if there is one, so that it outlives this program.
    void handOver();

private:
    struct Selection {
        explicit Selection(xcb_atom_t ofAtom) : atom(ofAtom) { }

        const xcb_atom_t atom;
        bool isOwned = false;
        xcb_timestamp_t ownedSince = XCB_CURRENT_TIME;
        SharedSelectionContents contents = std::make_shared<const X11SelectionContents>();
    };
    struct Paste {
        std::uint32_t client = 0;
        SharedSelectionContents contents;
        Time end;
        bool isTaken = false;
        bool usesPrimary = false;
        std::optional<std::string> savedPrimary;
    };
    struct HeldRequest {
        xcb_selection_request_event_t request{};
        Time until;
    };
    struct Patience {
        std::chrono::milliseconds withoutProgress;
        std::chrono::milliseconds altogether;
    };

    bool takeOwnership(Selection& selection);
    bool stillOwns(Selection& selection);
    xcb_window_t ownerOf(xcb_atom_t selection);
    std::optional<xcb_timestamp_t> serverTime();
    std::optional<std::string> readFromOwner(xcb_atom_t selection, const std::string& type,
                                             Patience patience);
    std::optional<std::string> readPrimary();
    std::vector<xcb_atom_t> readTargets(const std::string& type);
    std::optional<std::string> decoded(X11IncomingTransfer& transfer);
    void waitFor(X11IncomingTransfer& transfer, Patience patience);

    bool handleEvents();
    void handle(const xcb_generic_event_t& event);
    void handleRequest(const xcb_selection_request_event_t& request);
    void handleLoss(const xcb_selection_clear_event_t& loss);
    Selection* find(xcb_atom_t atom);
    bool isFromPasteTarget(const xcb_selection_request_event_t& request) const;
    void answerPasteTarget(const xcb_selection_request_event_t& request, const Selection& selection);
    void answerHeld(Time now);

    std::optional<Time> nextDeadline() const;
    void meetDeadlines();
    void endPaste();

    X11Connection m_connection;
    const xcb_window_t m_window;
    X11SelectionServer m_server;
    Selection m_clipboard;
    Selection m_primary;
    std::optional<Paste> m_paste;
    std::vector<HeldRequest> m_held;
    /// Until when it is not yet clear whether the contents are only passing.
    Time m_holdUntil;
    X11IncomingTransfer* m_incoming = nullptr;
    std::optional<xcb_timestamp_t> m_serverTime;
};

} // namespace glimmerwick
