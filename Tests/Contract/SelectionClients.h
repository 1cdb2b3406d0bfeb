#pragma once

#include "Contract/Eventually.h"
#include "Platform/X11/X11Connection.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// A client of the display with one window, as the other programs of a session are.
class SelectionClient {
public:
    SelectionClient() : m_window(xcb_generate_id(m_connection))
    {
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(m_connection, 0, m_window, m_connection.root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
        m_connection.roundTrip();
    }

    xcb_window_t window() const { return m_window; }

protected:
    X11Connection m_connection;
    const xcb_window_t m_window;
};

/// Asks for a selection, as a program that pastes does.
class Requestor : public SelectionClient {
public:
    struct Answer {
        std::string type;
        int format = 0;
        std::string bytes;
        int pieceCount = 1;
        std::size_t largestPiece = 0;
    };

    /// Nothing when the owner refuses, or nobody owns the selection.
    std::optional<Answer> request(const std::string& selection, const std::string& target)
    {
        const xcb_atom_t property = m_connection.atom("ANSWER");
        return ask(selection, target, property) ? std::optional(takeAnswer(property)) : std::nullopt;
    }

    /// Asks and does not take the answer.
    bool ask(const std::string& selection, const std::string& target)
    {
        return ask(selection, target, m_connection.atom("ANSWER"));
    }

    /// Asks and does not wait; `targetsAnswered` takes the answer.
    void beginAskingForTargets()
    {
        send("CLIPBOARD", "TARGETS", m_connection.atom("ANSWER"));
        m_connection.roundTrip();
    }
    std::vector<std::string> targetsAnswered()
    {
        const xcb_atom_t property = m_connection.atom("ANSWER");
        return awaitAnswer() ? atomNames(takeAnswer(property)) : std::vector<std::string>();
    }

    /// The bytes for each target; nothing for those that were refused.
    std::vector<std::optional<std::string>> requestMultiple(const std::vector<std::string>& targets)
    {
        std::vector<xcb_atom_t> pairs;
        for (const std::string& target : targets) {
            pairs.push_back(m_connection.atom(target));
            pairs.push_back(m_connection.atom("ANSWER_" + target));
        }
        const xcb_atom_t property = m_connection.atom("PAIRS");
        const xcb_atom_t pairType = m_connection.atom("ATOM_PAIR");
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, property, pairType, 32,
                            static_cast<std::uint32_t>(pairs.size()), pairs.data());
        std::vector<std::optional<std::string>> answers;
        if (!ask("CLIPBOARD", "MULTIPLE", property)) {
            return answers;
        }
        pairs = m_connection.numbers(m_window, property, pairType);
        for (std::size_t index = 1; index < pairs.size(); index += 2) {
            answers.push_back(pairs[index] == XCB_ATOM_NONE ? std::nullopt
                                                            : std::optional(takeAnswer(pairs[index]).bytes));
        }
        return answers;
    }

    std::vector<std::string> targets()
    {
        beginAskingForTargets();
        return targetsAnswered();
    }

    /// Asks again and again while nobody else gets anything done at the server: until the condition holds,
    /// and so many times more. How many of the requests were refused.
    int refusalsWhileTheServerIsGrabbed(const std::string& selection, const std::string& target, int count,
                                        const std::function<bool()>& condition)
    {
        const xcb_atom_t property = m_connection.atom("ANSWER");
        m_connection.atom(selection);
        m_connection.atom(target);
        xcb_grab_server(m_connection);
        int asked = 0;
        for (int more = count; more > 0; more -= condition() ? 1 : 0, ++asked) {
            send(selection, target, property);
            m_connection.roundTrip();
        }
        xcb_ungrab_server(m_connection);
        int refused = 0;
        for (int answer = 0; answer < asked; ++answer) {
            refused += awaitAnswer() ? 0 : 1;
        }
        return refused;
    }

    /// Whether something stands where answers do, once the program that owns the clipboard has done all that
    /// was asked of it.
    bool hasAnswerLeft()
    {
        awaitOwner();
        const xcb_atom_t property = m_connection.atom("ANSWER");
        const auto reply = m_connection.answer(
            xcb_get_property_reply,
            xcb_get_property(m_connection, 0, m_window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
        return reply && reply->type != XCB_ATOM_NONE;
    }

    xcb_window_t ownerOf(const std::string& selection)
    {
        const auto reply =
            m_connection.answer(xcb_get_selection_owner_reply,
                                xcb_get_selection_owner(m_connection, m_connection.atom(selection)));
        return reply ? reply->owner : static_cast<xcb_window_t>(XCB_WINDOW_NONE);
    }

    /// Asks for a window that is another program's, and takes whatever comes there away. Whether anything
    /// came.
    bool isGivenTo(xcb_window_t window, const std::string& selection, const std::string& target)
    {
        const xcb_atom_t property = m_connection.atom("ANSWER_THERE");
        xcb_convert_selection(m_connection, window, m_connection.atom(selection), m_connection.atom(target),
                              property, XCB_CURRENT_TIME);
        bool isGiven = false;
        for (;;) {
            awaitOwner();
            const auto reply = m_connection.answer(
                xcb_get_property_reply,
                xcb_get_property(m_connection, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, 64 * 1024));
            if (!reply || reply->type == XCB_ATOM_NONE) {
                return isGiven;
            }
            isGiven = true;
        }
    }

    /// Nobody else gets anything done at the server until the function returns.
    void grabServer(const std::function<void()>& meanwhile)
    {
        xcb_grab_server(m_connection);
        m_connection.roundTrip();
        meanwhile();
        xcb_ungrab_server(m_connection);
        m_connection.roundTrip();
    }

    /// Tells the owner of a selection that it has lost it, as late news would.
    void pretendLossOf(const std::string& selection)
    {
        const xcb_atom_t atom = m_connection.atom(selection);
        const auto owner =
            m_connection.answer(xcb_get_selection_owner_reply, xcb_get_selection_owner(m_connection, atom));
        std::array<char, 32> wire{};
        const xcb_selection_clear_event_t event{XCB_SELECTION_CLEAR, 0,   0, ~std::uint32_t{0} / 2,
                                                owner->owner,        atom};
        std::memcpy(wire.data(), &event, sizeof event);
        xcb_send_event(m_connection, 0, owner->owner, XCB_EVENT_MASK_NO_EVENT, wire.data());
        m_connection.roundTrip();
    }

    static std::vector<std::uint32_t> numbers(const Answer& answer)
    {
        std::vector<std::uint32_t> values(answer.bytes.size() / sizeof(std::uint32_t));
        std::memcpy(values.data(), answer.bytes.data(), values.size() * sizeof(std::uint32_t));
        return values;
    }

private:
    /// The owner answers in order, so by then it has done what was asked before.
    void awaitOwner()
    {
        const xcb_atom_t property = m_connection.atom("ANSWER_AFTER_ALL");
        ask("CLIPBOARD", "TIMESTAMP", property);
        xcb_delete_property(m_connection, m_window, property);
    }

    bool ask(const std::string& selection, const std::string& target, xcb_atom_t property)
    {
        send(selection, target, property);
        return awaitAnswer();
    }

    void send(const std::string& selection, const std::string& target, xcb_atom_t property)
    {
        xcb_convert_selection(m_connection, m_window, m_connection.atom(selection), m_connection.atom(target),
                              property, XCB_CURRENT_TIME);
    }

    bool awaitAnswer()
    {
        const XcbEvent event = await([](const xcb_generic_event_t& candidate) {
            return eventType(candidate) == XCB_SELECTION_NOTIFY;
        });
        return event
            && reinterpret_cast<const xcb_selection_notify_event_t&>(*event).property != XCB_ATOM_NONE;
    }

    std::vector<std::string> atomNames(const Answer& answer)
    {
        std::vector<std::string> names;
        for (const xcb_atom_t atom : numbers(answer)) {
            names.push_back(m_connection.atomName(atom));
        }
        return names;
    }

    Answer takeAnswer(xcb_atom_t property)
    {
        Answer answer = takeProperty(property);
        if (answer.type != "INCR") {
            return answer;
        }
        answer = {};
        answer.pieceCount = 0;
        while (const XcbEvent event = await([&](const xcb_generic_event_t& candidate) {
                   const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(candidate);
                   return eventType(candidate) == XCB_PROPERTY_NOTIFY && change.atom == property
                       && change.state == XCB_PROPERTY_NEW_VALUE;
               })) {
            const Answer piece = takeProperty(property);
            if (piece.bytes.empty()) {
                break;
            }
            answer.type = piece.type;
            answer.format = piece.format;
            answer.bytes += piece.bytes;
            answer.largestPiece = std::max(answer.largestPiece, piece.bytes.size());
            ++answer.pieceCount;
        }
        return answer;
    }

    Answer takeProperty(xcb_atom_t property)
    {
        // The announcement of the value that is taken now must not be mistaken for that of a next piece.
        m_connection.roundTrip();
        while (m_connection.pollEvent()) { }
        constexpr std::uint32_t all = 64 * 1024 * 1024;
        const auto reply = m_connection.answer(
            xcb_get_property_reply,
            xcb_get_property(m_connection, 1, m_window, property, XCB_GET_PROPERTY_TYPE_ANY, 0, all));
        if (!reply) {
            return {};
        }
        return {m_connection.atomName(reply->type), reply->format,
                std::string(static_cast<const char*>(xcb_get_property_value(reply.get())),
                            static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))),
                1, static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
    }

    template <typename Predicate> XcbEvent await(Predicate isAwaited)
    {
        XcbEvent awaited;
        xcb_flush(m_connection);
        eventually(
            [&] {
                while (XcbEvent event = m_connection.pollEvent()) {
                    if (isAwaited(*event)) {
                        awaited = std::move(event);
                        return true;
                    }
                }
                return false;
            },
            [&] {
                pollfd display{xcb_get_file_descriptor(m_connection), POLLIN, 0};
                poll(&display, 1, 20);
            });
        return awaited;
    }
};

/// Owns a selection, as a program that copied does, on a thread of its own.
class ForeignOwner : public SelectionClient {
public:
    struct Content {
        std::string type;
        std::string bytes;
    };
    using Contents = std::map<std::string, Content>;

    enum class Manner {
        atOnce,
        inPieces,
        /// Announces pieces that never come.
        stalling,
        silent,
        /// Says what it has.
        listing,
        /// Says what it has, and gives that whatever it is asked for.
        indiscriminate,
    };

    /// Before each answer, and each piece of one, the function is called on the thread with the target.
    using WillAnswer = std::function<void(const std::string& target)>;

    ForeignOwner(
        const std::string& selection, Contents contents, Manner manner = Manner::atOnce,
        WillAnswer willAnswer = [](const std::string&) {})
        : m_contents(std::move(contents)), m_manner(manner), m_willAnswer(std::move(willAnswer)),
          m_selection(m_connection.atom(selection))
    {
        xcb_set_selection_owner(m_connection, m_window, m_selection, XCB_CURRENT_TIME);
        m_connection.roundTrip();
        m_thread = std::jthread([this](const std::stop_token& stop) { serve(stop); });
    }

    /// The targets that were asked for, in order.
    std::vector<std::string> askedTargets() const
    {
        const std::lock_guard lock(m_mutex);
        return m_askedTargets;
    }

private:
    static constexpr std::size_t pieceSize = 64 * 1024;

    void serve(const std::stop_token& stop)
    {
        while (!stop.stop_requested()) {
            while (const XcbEvent event = m_connection.pollEvent()) {
                if (eventType(*event) == XCB_SELECTION_REQUEST) {
                    answer(reinterpret_cast<const xcb_selection_request_event_t&>(*event));
                } else if (eventType(*event) == XCB_PROPERTY_NOTIFY) {
                    continueWith(reinterpret_cast<const xcb_property_notify_event_t&>(*event));
                }
            }
            pollfd display{xcb_get_file_descriptor(m_connection), POLLIN, 0};
            poll(&display, 1, 5);
        }
    }

    void answer(const xcb_selection_request_event_t& request)
    {
        const std::string target = m_connection.atomName(request.target);
        {
            const std::lock_guard lock(m_mutex);
            m_askedTargets.push_back(target);
        }
        if (m_manner == Manner::silent) {
            return;
        }
        m_willAnswer(target);
        const auto content =
            m_manner == Manner::indiscriminate ? m_contents.begin() : m_contents.find(target);
        const bool isListing = m_manner == Manner::listing || m_manner == Manner::indiscriminate;
        if (isListing && target == "TARGETS") {
            putOffer(request);
            notify(request, request.property);
        } else if (content == m_contents.end()) {
            notify(request, XCB_ATOM_NONE);
        } else if (m_manner == Manner::atOnce || isListing) {
            put(request.requestor, request.property, content->second);
            notify(request, request.property);
        } else {
            announcePieces(request, content->second);
        }
    }

    void putOffer(const xcb_selection_request_event_t& request)
    {
        std::vector<xcb_atom_t> offered;
        for (const auto& [target, content] : m_contents) {
            offered.push_back(m_connection.atom(target));
        }
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            XCB_ATOM_ATOM, 32, static_cast<std::uint32_t>(offered.size()), offered.data());
    }

    void announcePieces(const xcb_selection_request_event_t& request, const Content& content)
    {
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_change_window_attributes(m_connection, request.requestor, XCB_CW_EVENT_MASK, &mask);
        const std::uint32_t leastSize = 1;
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            m_connection.atom("INCR"), 32, 1, &leastSize);
        m_remaining = content;
        m_remainingTarget = m_connection.atomName(request.target);
        notify(request, request.property);
    }

    void continueWith(const xcb_property_notify_event_t& change)
    {
        if (change.state != XCB_PROPERTY_DELETE || !m_remaining || m_manner == Manner::stalling) {
            return;
        }
        m_willAnswer(m_remainingTarget);
        const Content piece{m_remaining->type, m_remaining->bytes.substr(0, pieceSize)};
        m_remaining->bytes.erase(0, pieceSize);
        put(change.window, change.atom, piece);
        if (piece.bytes.empty()) {
            m_remaining.reset();
        }
        xcb_flush(m_connection);
    }

    void put(xcb_window_t window, xcb_atom_t property, const Content& content)
    {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property,
                            m_connection.atom(content.type), 8,
                            static_cast<std::uint32_t>(content.bytes.size()), content.bytes.data());
    }

    void notify(const xcb_selection_request_event_t& request, xcb_atom_t property)
    {
        std::array<char, 32> wire{};
        const xcb_selection_notify_event_t event{
            XCB_SELECTION_NOTIFY, 0,       0, request.time, request.requestor, request.selection,
            request.target,       property};
        std::memcpy(wire.data(), &event, sizeof event);
        xcb_send_event(m_connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, wire.data());
        xcb_flush(m_connection);
    }

    const Contents m_contents;
    const Manner m_manner;
    const WillAnswer m_willAnswer;
    const xcb_atom_t m_selection;
    std::optional<Content> m_remaining;
    std::string m_remainingTarget;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_askedTargets;
    std::jthread m_thread;
};

} // namespace glimmerwick::contract
