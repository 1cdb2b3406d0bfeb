#pragma once

#include "Platform/Linux/PasteSpan.h"
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
/// back after a fixed time, which a busy application may well miss. Nor is anybody told of a change until the
/// paste is over: some applications give up on a paste when the clipboard changes hands in the middle of it.
class X11SelectionService {
public:
    using Time = std::chrono::steady_clock::time_point;

    enum class PasteSelections { clipboard, clipboardAndPrimary };

    /// How long somebody is waited for.
    struct Patience {
        std::chrono::milliseconds withoutProgress;
        /// Whatever the progress.
        Time end;
    };

    /// What reading came to.
    struct ReadResult {
        std::optional<std::string> text;
        /// The client that owns the selection; 0 for none.
        std::uint32_t owner = 0;
    };

    /// The client given cannot answer now, and is not asked.
    explicit X11SelectionService(std::uint32_t busyClient);
    ~X11SelectionService();

    /// Handles what arrives until the time, the descriptor becomes readable, or there was something to
    /// handle.
    void wait(Time until, int wakeDescriptor);

    void clear();
    bool add(const std::string& type, std::string bytes);
    /// Without the text when the busy client owns the clipboard; whoever gets it from there says so to
    /// `didRead`.
    ReadResult read(const std::string& type);
    /// The clipboard's text was read past this.
    void didRead(std::string text);

    /// False when another client owns the clipboard. No window stands for whoever asks. Waits while the
    /// target has yet to take the paste before this one.
    bool beginPaste(xcb_window_t target, PasteSelections selections);
    void cancelPaste();

    /// Hands the text to the session's clipboard manager, if there is one, so that it outlives this program:
    /// the user's own when what the clipboard holds is only passing. A secret is not handed over.
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
        PasteSpan span;
        bool usesPrimary = false;
        X11SelectionContents::Bytes savedPrimary;
    };
    /// What the user had copied.
    struct UserText {
        X11SelectionContents::Bytes text;
        bool isSecret = false;
    };

    /// What an owner says it has.
    struct Offer {
        xcb_timestamp_t askedAt = XCB_CURRENT_TIME;
        /// Empty when it did not say.
        std::vector<xcb_atom_t> targets;

        bool includes(xcb_atom_t target) const;
        bool mayInclude(xcb_atom_t target) const { return targets.empty() || includes(target); }
    };

    enum class Progress {
        /// What the owner sends.
        ofAnswer,
        /// That, and what anybody takes from here.
        ofAnswerOrService,
    };

    bool takeOwnership(Selection& selection);
    bool claim(Selection& selection, xcb_timestamp_t time);
    void tellOfChange();
    bool stillOwns(Selection& selection);
    xcb_window_t ownerOf(xcb_atom_t selection);
    std::optional<xcb_timestamp_t> serverTime();
    void takeHeldText(const std::string& type, ReadResult& result);
    void takeOwnersText(const std::string& type, ReadResult& result);
    bool isMarkedSecret(const Offer& offer, Time end);
    std::optional<Offer> readOffer(xcb_atom_t selection, const Patience& patience);
    std::optional<std::string> readFromOwner(xcb_atom_t selection, const std::string& type,
                                             const Offer& offer, const Patience& patience);
    void markPassing();
    void awaitEarlierPaste(std::uint32_t client);
    /// Returns what it was.
    X11SelectionContents::Bytes replacePrimary(const SharedSelectionContents& contents);
    X11SelectionContents::Bytes readPrimary();
    void setText(Selection& selection, X11SelectionContents::Bytes text);
    std::vector<xcb_atom_t> readTargets(const std::string& type);
    std::optional<std::string> decoded(X11IncomingTransfer& transfer, const std::string& type);
    void waitFor(X11IncomingTransfer& transfer, const Patience& patience,
                 Progress progress = Progress::ofAnswer);

    bool handleEvents();
    void handle(const xcb_generic_event_t& event);
    void handleRequest(const xcb_selection_request_event_t& request);
    void handleLoss(const xcb_selection_clear_event_t& loss);
    Selection* find(xcb_atom_t atom);
    bool isPartOfPaste(const xcb_selection_request_event_t& request) const;
    bool isToBeHeld(const Selection& selection) const;
    void answerPasteTarget(const xcb_selection_request_event_t& request, const Selection& selection);
    void holdNoLonger();
    void answerHeld();

    std::optional<Time> nextDeadline() const;
    void meetDeadlines();
    void endPaste();
    void putPrimaryBack(const Paste& paste);

    const std::uint32_t m_busyClient;
    X11Connection m_connection;
    const xcb_window_t m_window;
    X11SelectionServer m_server;
    Selection m_clipboard;
    Selection m_primary;
    std::optional<Paste> m_paste;
    /// The clipboard's contents have changed during a paste, which is told only after it.
    bool m_isChangeUntold = false;
    /// Requests that wait until it is clear what the contents are, and whether they are only passing.
    std::vector<xcb_selection_request_event_t> m_held;
    Time m_holdUntil;
    /// Between reading it and clearing the clipboard.
    std::optional<UserText> m_lastRead;
    /// From then until it is put back.
    std::optional<UserText> m_userText;
    X11IncomingTransfer* m_incoming = nullptr;
    std::optional<xcb_timestamp_t> m_serverTime;
};

} // namespace glimmerwick
