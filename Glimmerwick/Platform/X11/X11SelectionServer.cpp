#include "Platform/X11/X11SelectionServer.h"

#include "Platform/Pasteboard.h"
#include "Platform/Qt/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;

// What every server takes in one request is 262,140 bytes with the header.
constexpr std::size_t pieceSize = 128 * 1024;
constexpr auto longestStall = 10s;
constexpr std::size_t mostTransfers = 64;

// Targets that mean the plain text, the preferred one first. "STRING" is Latin-1, everything else UTF-8.
constexpr std::array<std::string_view, 5> textTargets{"UTF8_STRING", "text/plain;charset=utf-8", "text/plain",
                                                      "TEXT", "STRING"};

bool isHistoryHintDue(const X11SelectionContents& contents)
{
    return contents.isPassing || contents.isSecret || contents.byType.contains(pasteboardType::concealed);
}

std::string latin1(const std::string& utf8)
{
    return toQString(utf8).toLatin1().toStdString();
}

} // namespace

X11SelectionServer::X11SelectionServer(X11Connection& connection) : m_connection(connection) { }

X11SelectionServer::~X11SelectionServer() = default;

X11SelectionServer::Given X11SelectionServer::answer(const xcb_selection_request_event_t& request,
                                                     const X11SelectionContents& contents,
                                                     xcb_timestamp_t ownedSince)
{
    // Clients of the oldest convention leave the property to be named after the target.
    const xcb_atom_t property = request.property != XCB_ATOM_NONE ? request.property : request.target;
    const Given given = request.target == m_connection.atom("MULTIPLE")
        ? convertMultiple(request, contents, ownedSince)
        : convert(request.requestor, request.target, property, contents, ownedSince);
    notify(request, given == Given::nothing ? static_cast<xcb_atom_t>(XCB_ATOM_NONE) : property);
    m_lastService = std::chrono::steady_clock::now();
    return given;
}

void X11SelectionServer::refuse(const xcb_selection_request_event_t& request)
{
    notify(request, XCB_ATOM_NONE);
}

void X11SelectionServer::notify(const xcb_selection_request_event_t& request, xcb_atom_t property)
{
    // The event occupies the 32 bytes of the wire, more than its own structure has.
    union {
        xcb_selection_notify_event_t event;
        std::array<char, 32> wire;
    } notification{};
    notification.event.response_type = XCB_SELECTION_NOTIFY;
    notification.event.time = request.time;
    notification.event.requestor = request.requestor;
    notification.event.selection = request.selection;
    notification.event.target = request.target;
    notification.event.property = property;
    xcb_send_event(m_connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, notification.wire.data());
    xcb_flush(m_connection);
}

X11SelectionServer::Given X11SelectionServer::convert(xcb_window_t requestor, xcb_atom_t target,
                                                      xcb_atom_t property,
                                                      const X11SelectionContents& contents,
                                                      xcb_timestamp_t ownedSince)
{
    if (target == m_connection.atom("TARGETS")) {
        const auto offered = targets(contents);
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_ATOM, 32,
                            static_cast<std::uint32_t>(offered.size()), offered.data());
        return Given::facts;
    }
    if (target == m_connection.atom("TIMESTAMP")) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, requestor, property, XCB_ATOM_INTEGER, 32, 1,
                            &ownedSince);
        return Given::facts;
    }
    const auto rendering = render(target, contents);
    if (!rendering || !deliver(requestor, property, *rendering)) {
        return Given::nothing;
    }
    return target == m_connection.atom(historyHint::target) ? Given::facts : Given::contents;
}

X11SelectionServer::Given X11SelectionServer::convertMultiple(const xcb_selection_request_event_t& request,
                                                              const X11SelectionContents& contents,
                                                              xcb_timestamp_t ownedSince)
{
    if (request.property == XCB_ATOM_NONE) {
        return Given::nothing;
    }
    const xcb_atom_t pairType = m_connection.atom("ATOM_PAIR");
    auto pairs = m_connection.numbers(request.requestor, request.property, pairType);
    if (pairs.empty() || pairs.size() % 2 != 0) {
        return Given::nothing;
    }
    // Even an answer that refuses every target tells that.
    Given most = Given::facts;
    for (std::size_t index = 0; index < pairs.size(); index += 2) {
        const xcb_atom_t target = pairs[index];
        xcb_atom_t& property = pairs[index + 1];
        const bool isPossible = property != XCB_ATOM_NONE && target != m_connection.atom("MULTIPLE");
        const Given given =
            isPossible ? convert(request.requestor, target, property, contents, ownedSince) : Given::nothing;
        if (given == Given::nothing) {
            property = XCB_ATOM_NONE;
        }
        most = std::max(most, given);
    }
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, request.requestor, request.property, pairType,
                        32, static_cast<std::uint32_t>(pairs.size()), pairs.data());
    return most;
}

std::vector<xcb_atom_t> X11SelectionServer::targets(const X11SelectionContents& contents)
{
    std::vector<xcb_atom_t> result{m_connection.atom("TARGETS"), m_connection.atom("TIMESTAMP"),
                                   m_connection.atom("MULTIPLE")};
    for (const auto& [type, bytes] : contents.byType) {
        if (type != pasteboardType::string) {
            result.push_back(m_connection.atom(type));
            continue;
        }
        for (const std::string_view target : textTargets) {
            result.push_back(m_connection.atom(target));
        }
    }
    if (isHistoryHintDue(contents)) {
        result.push_back(m_connection.atom(historyHint::target));
    }
    return result;
}

std::optional<X11SelectionServer::Rendering> X11SelectionServer::render(xcb_atom_t target,
                                                                        const X11SelectionContents& contents)
{
    if (target == m_connection.atom(historyHint::target) && isHistoryHintDue(contents)) {
        return Rendering{target, std::make_shared<const std::string>(historyHint::secret)};
    }
    if (isTextTarget(target)) {
        const Bytes text = contents.find(pasteboardType::string);
        if (!text) {
            return std::nullopt;
        }
        if (target == XCB_ATOM_STRING) {
            return Rendering{target, std::make_shared<const std::string>(latin1(*text))};
        }
        // "TEXT" leaves the encoding to the owner, who names it by the type of the answer.
        return Rendering{target == m_connection.atom("TEXT") ? m_connection.atom("UTF8_STRING") : target,
                         text};
    }
    for (const auto& [type, bytes] : contents.byType) {
        if (target == m_connection.atom(type)) {
            return Rendering{target, bytes};
        }
    }
    return std::nullopt;
}

bool X11SelectionServer::isTextTarget(xcb_atom_t target)
{
    return std::ranges::any_of(textTargets,
                               [&](std::string_view name) { return m_connection.atom(name) == target; });
}

bool X11SelectionServer::deliver(xcb_window_t requestor, xcb_atom_t property, const Rendering& rendering)
{
    // A receiver that gave up and asks again means the new answer alone.
    const auto givenUp = m_transfers.remove_if([&](const Transfer& earlier) {
        return earlier.requestor == requestor && earlier.property == property;
    });
    if (givenUp > 0) {
        stopWatching(requestor);
    }
    if (rendering.bytes->size() > pieceSize) {
        return begin({requestor, property, rendering, 0, std::chrono::steady_clock::now()});
    }
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, requestor, property, rendering.type, 8,
                        static_cast<std::uint32_t>(rendering.bytes->size()), rendering.bytes->data());
    return true;
}

bool X11SelectionServer::begin(Transfer transfer)
{
    if (m_transfers.size() >= mostTransfers) {
        return false;
    }
    // The receiver says "go on" by deleting the property, so its changes must be seen before it learns of
    // this.
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(m_connection, transfer.requestor, XCB_CW_EVENT_MASK, &mask);
    const auto size = static_cast<std::uint32_t>(transfer.rendering.bytes->size());
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, transfer.requestor, transfer.property,
                        m_connection.atom("INCR"), 32, 1, &size);
    m_transfers.push_back(std::move(transfer));
    return true;
}

void X11SelectionServer::handle(const xcb_property_notify_event_t& event)
{
    if (event.state != XCB_PROPERTY_DELETE) {
        return;
    }
    const auto transfer = std::ranges::find_if(m_transfers, [&](const Transfer& candidate) {
        return candidate.requestor == event.window && candidate.property == event.atom;
    });
    if (transfer == m_transfers.end()) {
        return;
    }
    const bool isLastPiece = transfer->offset >= transfer->rendering.bytes->size();
    sendNextPiece(*transfer);
    if (isLastPiece) {
        m_transfers.erase(transfer);
        stopWatching(event.window);
    }
    xcb_flush(m_connection);
}

// An empty piece tells the receiver that it has everything.
void X11SelectionServer::sendNextPiece(Transfer& transfer)
{
    const std::string& bytes = *transfer.rendering.bytes;
    const std::size_t size = std::min(pieceSize, bytes.size() - transfer.offset);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, transfer.requestor, transfer.property,
                        transfer.rendering.type, 8, static_cast<std::uint32_t>(size),
                        bytes.data() + transfer.offset);
    transfer.offset += size;
    transfer.lastProgress = m_lastService = std::chrono::steady_clock::now();
}

void X11SelectionServer::handle(const xcb_destroy_notify_event_t& event)
{
    m_transfers.remove_if([&](const Transfer& transfer) { return transfer.requestor == event.window; });
}

void X11SelectionServer::stopWatching(xcb_window_t requestor)
{
    const bool isNeeded = std::ranges::any_of(
        m_transfers, [requestor](const Transfer& transfer) { return transfer.requestor == requestor; });
    if (!isNeeded) {
        const std::uint32_t nothing = XCB_EVENT_MASK_NO_EVENT;
        xcb_change_window_attributes(m_connection, requestor, XCB_CW_EVENT_MASK, &nothing);
    }
}

void X11SelectionServer::dropStalled(Time now)
{
    for (auto transfer = m_transfers.begin(); transfer != m_transfers.end();) {
        if (now < transfer->lastProgress + longestStall) {
            ++transfer;
            continue;
        }
        const xcb_window_t requestor = transfer->requestor;
        transfer = m_transfers.erase(transfer);
        stopWatching(requestor);
        xcb_flush(m_connection);
    }
}

std::optional<X11SelectionServer::Time> X11SelectionServer::nextStall() const
{
    const auto oldest = std::ranges::min_element(m_transfers, {}, &Transfer::lastProgress);
    return oldest == m_transfers.end() ? std::nullopt : std::optional(oldest->lastProgress + longestStall);
}

} // namespace glimmerwick
