#include "Platform/X11/X11SelectionService.h"

#include "Platform/Pasteboard.h"
#include "Platform/Qt/Text.h"
#include "Platform/X11/X11IncomingTransfer.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace glimmerwick {

namespace {

using namespace std::chrono_literals;
using SteadyClock = std::chrono::steady_clock;

constexpr int noDescriptor = -1;

// A paste lasts from the chord until this long after the target has last got the contents, but not longer
// than the other.
constexpr auto pasteAfterTaking = 250ms;
constexpr auto longestPaste = 2s;

// Clipboard histories ask the moment the owner changes, a little before the chord tells that the contents are
// only passing. Requests that come so soon wait this long for that.
constexpr auto holdTime = 30ms;

// Contents follow the clearing at once, but this thread and the main one may both be kept waiting for the
// processor in between, and a request that is refused then is a paste that does nothing.
constexpr auto longestEmptiness = 500ms;

constexpr auto serverAnswer = 1s;
constexpr int forEver = -1;

constexpr X11SelectionService::Patience ownersPatience{1s, 5s};
// The user waits for the emoji meanwhile. An owner that has just given its text refuses what it does not know
// at once.
constexpr X11SelectionService::Patience hintPatience{100ms, 200ms};
constexpr X11SelectionService::Patience primaryPatience{100ms, 200ms};
constexpr X11SelectionService::Patience managersPatience{500ms, 1s};

int millisecondsUntil(X11SelectionService::Time time)
{
    if (time == X11SelectionService::Time::max()) {
        return forEver;
    }
    const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(time - SteadyClock::now());
    return static_cast<int>(std::clamp<std::int64_t>(remaining.count(), 0, 60'000));
}

/// Whether the owner has said anything, if only no.
bool isAnswered(const X11IncomingTransfer& transfer)
{
    return transfer.status() == X11IncomingTransfer::Status::complete
        || transfer.status() == X11IncomingTransfer::Status::refused;
}

std::vector<xcb_atom_t> atoms(const std::string& bytes)
{
    std::vector<xcb_atom_t> result(bytes.size() / sizeof(xcb_atom_t));
    std::memcpy(result.data(), bytes.data(), result.size() * sizeof(xcb_atom_t));
    return result;
}

} // namespace

X11SelectionService::X11SelectionService(std::uint32_t busyClient)
    : m_busyClient(busyClient), m_window(xcb_generate_id(m_connection)), m_server(m_connection),
      m_clipboard(m_connection.atom("CLIPBOARD")), m_primary(XCB_ATOM_PRIMARY)
{
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_connection, 0, m_window, m_connection.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    xcb_flush(m_connection);
}

X11SelectionService::~X11SelectionService() = default;

void X11SelectionService::wait(Time until, int wakeDescriptor)
{
    if (handleEvents()) {
        meetDeadlines();
        return;
    }
    const Time wakeAt = std::min(until, nextDeadline().value_or(until));
    // The descriptor of a lost connection would be readable for ever.
    const int display = m_connection.isBroken() ? noDescriptor : xcb_get_file_descriptor(m_connection);
    std::array<pollfd, 2> descriptors{pollfd{display, POLLIN, 0}, pollfd{wakeDescriptor, POLLIN, 0}};
    poll(descriptors.data(), descriptors.size(), millisecondsUntil(wakeAt));
    handleEvents();
    meetDeadlines();
}

void X11SelectionService::clear()
{
    if (m_lastRead) {
        m_userText = std::exchange(m_lastRead, std::nullopt);
    }
    if (m_paste && stillOwns(m_clipboard)) {
        m_clipboard.contents = std::make_shared<const X11SelectionContents>();
        m_isChangeUntold = true;
    } else {
        takeOwnership(m_clipboard);
    }
    m_holdUntil = SteadyClock::now() + longestEmptiness;
}

// By taking the clipboard anew: that is what other programs are told of.
void X11SelectionService::tellOfChange()
{
    const auto contents = m_clipboard.contents;
    if (std::exchange(m_isChangeUntold, false) && stillOwns(m_clipboard) && takeOwnership(m_clipboard)) {
        m_clipboard.contents = contents;
    }
}

bool X11SelectionService::takeOwnership(Selection& selection)
{
    // Requests that come while the server is asked are still about the earlier contents.
    const auto time = serverTime();
    selection.contents = std::make_shared<const X11SelectionContents>();
    if (!time) {
        selection.isOwned = false;
        return false;
    }
    xcb_set_selection_owner(m_connection, m_window, selection.atom, *time);
    selection.ownedSince = *time;
    selection.isOwned = ownerOf(selection.atom) == m_window;
    return selection.isOwned;
}

bool X11SelectionService::add(const std::string& type, std::string bytes)
{
    const bool isUserText = type == pasteboardType::string && m_userText && *m_userText->text == bytes;
    // Needed no longer, whether or not it can be put back.
    const auto putBack = isUserText ? std::exchange(m_userText, std::nullopt) : std::nullopt;
    if (!stillOwns(m_clipboard)) {
        return false;
    }
    auto contents = *m_clipboard.contents;
    contents.isSecret = contents.isSecret || (putBack && putBack->isSecret);
    contents.byType[type] = std::make_shared<const std::string>(std::move(bytes));
    m_clipboard.contents = std::make_shared<const X11SelectionContents>(std::move(contents));
    m_holdUntil = SteadyClock::now() + holdTime;
    return true;
}

bool X11SelectionService::stillOwns(Selection& selection)
{
    selection.isOwned = selection.isOwned && ownerOf(selection.atom) == m_window;
    return selection.isOwned;
}

xcb_window_t X11SelectionService::ownerOf(xcb_atom_t selection)
{
    const auto reply =
        m_connection.answer(xcb_get_selection_owner_reply, xcb_get_selection_owner(m_connection, selection));
    return reply ? reply->owner : static_cast<xcb_window_t>(XCB_WINDOW_NONE);
}

// The time of a property change of one's own is the server's time now.
std::optional<xcb_timestamp_t> X11SelectionService::serverTime()
{
    m_serverTime.reset();
    xcb_change_property(m_connection, XCB_PROP_MODE_APPEND, m_window, m_connection.atom("GLIMMERWICK_TIME"),
                        XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(m_connection);
    const Time until = SteadyClock::now() + serverAnswer;
    while (!m_serverTime && SteadyClock::now() < until && !m_connection.isBroken()) {
        wait(until, noDescriptor);
    }
    return m_serverTime;
}

X11SelectionService::ReadResult X11SelectionService::read(const std::string& type)
{
    m_lastRead.reset();
    const xcb_window_t owner = ownerOf(m_clipboard.atom);
    if (owner == XCB_WINDOW_NONE) {
        return {};
    }
    ReadResult result{std::nullopt, m_connection.clientOf(owner)};
    if (owner == m_window) {
        takeHeldText(type, result);
    } else if (result.owner != m_busyClient) {
        takeOwnersText(type, result);
    }
    return result;
}

void X11SelectionService::takeHeldText(const std::string& type, ReadResult& result)
{
    const auto bytes = m_clipboard.contents->find(type);
    if (!bytes) {
        return;
    }
    result.text = *bytes;
    // While the user's text waits to be put back, what is here instead is not the user's.
    if (type == pasteboardType::string && !m_userText) {
        m_lastRead = UserText{bytes, m_clipboard.contents->isSecret};
    }
}

void X11SelectionService::takeOwnersText(const std::string& type, ReadResult& result)
{
    result.text = readFromOwner(m_clipboard.atom, type, ownersPatience);
    if (result.text && type == pasteboardType::string) {
        const auto hint = readFromOwner(m_clipboard.atom, historyHint::target, hintPatience);
        m_lastRead = UserText{std::make_shared<const std::string>(*result.text), hint == historyHint::secret};
    }
}

void X11SelectionService::didRead(std::string text)
{
    m_lastRead = UserText{std::make_shared<const std::string>(std::move(text))};
}

std::optional<std::string> X11SelectionService::readFromOwner(xcb_atom_t selection, const std::string& type,
                                                              Patience patience)
{
    const auto time = serverTime();
    if (!time) {
        return std::nullopt;
    }
    // Asked for first, because some owners, xclip for one, answer every question with what they have, and a
    // picture is no text.
    X11IncomingTransfer offer(m_connection, selection, m_connection.atom("TARGETS"), *time);
    waitFor(offer, patience);
    if (!isAnswered(offer)) {
        return std::nullopt;
    }
    const auto offered = atoms(offer.takeBytes());
    for (const xcb_atom_t target : readTargets(type)) {
        if (!offered.empty() && std::ranges::find(offered, target) == offered.end()) {
            continue;
        }
        X11IncomingTransfer transfer(m_connection, selection, target, *time);
        waitFor(transfer, patience);
        if (transfer.status() == X11IncomingTransfer::Status::complete) {
            return decoded(transfer);
        }
        if (!isAnswered(transfer)) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}

std::vector<xcb_atom_t> X11SelectionService::readTargets(const std::string& type)
{
    if (type == pasteboardType::string) {
        return {m_connection.atom("UTF8_STRING"), m_connection.atom("text/plain;charset=utf-8"),
                XCB_ATOM_STRING};
    }
    return {m_connection.atom(type)};
}

std::optional<std::string> X11SelectionService::decoded(X11IncomingTransfer& transfer)
{
    std::string bytes = transfer.takeBytes();
    if (transfer.type() == XCB_ATOM_STRING) {
        return toUtf8(QString::fromLatin1(bytes.data(), static_cast<qsizetype>(bytes.size())));
    }
    return bytes;
}

void X11SelectionService::waitFor(X11IncomingTransfer& transfer, Patience patience)
{
    m_incoming = &transfer;
    const Time end = SteadyClock::now() + patience.altogether;
    while (transfer.status() == X11IncomingTransfer::Status::pending && !m_connection.isBroken()) {
        const Time until = std::min(end, transfer.lastProgress() + patience.withoutProgress);
        if (SteadyClock::now() >= until) {
            break;
        }
        wait(until, noDescriptor);
    }
    m_incoming = nullptr;
}

void X11SelectionService::beginPaste(xcb_window_t target, PasteSelections selections)
{
    if (const auto earlier = std::exchange(m_paste, std::nullopt)) {
        putPrimaryBack(*earlier);
    }
    if (!stillOwns(m_clipboard)) {
        return;
    }
    auto contents = *m_clipboard.contents;
    contents.isPassing = true;
    m_clipboard.contents = std::make_shared<const X11SelectionContents>(std::move(contents));
    // Chromium keeps what it has once read until it is told that the clipboard has changed hands.
    tellOfChange();
    // What was read since the contents were put here are these contents.
    m_lastRead.reset();
    answerHeld();

    Paste paste;
    paste.client = m_connection.clientOf(target);
    paste.contents = m_clipboard.contents;
    if (selections == PasteSelections::clipboardAndPrimary) {
        paste.usesPrimary = true;
        paste.savedPrimary = readPrimary();
        if (takeOwnership(m_primary)) {
            m_primary.contents = paste.contents;
        }
    }
    paste.latestEnd = paste.end = SteadyClock::now() + longestPaste;
    m_paste = std::move(paste);
}

X11SelectionContents::Bytes X11SelectionService::readPrimary()
{
    const xcb_window_t owner = ownerOf(m_primary.atom);
    if (owner == m_window) {
        return m_primary.contents->find(pasteboardType::string);
    }
    if (owner == XCB_WINDOW_NONE || m_connection.clientOf(owner) == m_busyClient) {
        return nullptr;
    }
    auto text = readFromOwner(m_primary.atom, pasteboardType::string, primaryPatience);
    return text ? std::make_shared<const std::string>(std::move(*text)) : nullptr;
}

void X11SelectionService::setText(Selection& selection, X11SelectionContents::Bytes text)
{
    X11SelectionContents contents;
    contents.byType[pasteboardType::string] = std::move(text);
    selection.contents = std::make_shared<const X11SelectionContents>(std::move(contents));
}

void X11SelectionService::endPaste()
{
    putPrimaryBack(*std::exchange(m_paste, std::nullopt));
    tellOfChange();
}

// The user's selected text cannot be selected again from here, but it can be offered.
void X11SelectionService::putPrimaryBack(const Paste& paste)
{
    if (!paste.usesPrimary || !stillOwns(m_primary)) {
        return;
    }
    if (paste.savedPrimary) {
        setText(m_primary, paste.savedPrimary);
    } else {
        xcb_set_selection_owner(m_connection, XCB_WINDOW_NONE, m_primary.atom, m_primary.ownedSince);
        xcb_flush(m_connection);
        m_primary.isOwned = false;
        m_primary.contents = std::make_shared<const X11SelectionContents>();
    }
}

void X11SelectionService::handOver()
{
    const xcb_atom_t manager = m_connection.atom("CLIPBOARD_MANAGER");
    if (!stillOwns(m_clipboard) || ownerOf(manager) == XCB_WINDOW_NONE) {
        return;
    }
    const bool isUserTextDue = m_clipboard.contents->isPassing && m_userText;
    // Managers keep what they are given, and most of them show it to everybody who looks.
    if (isUserTextDue ? m_userText->isSecret : m_clipboard.contents->isSecret) {
        return;
    }
    if (isUserTextDue) {
        // Clipman does not answer, but keeps what it finds whenever the clipboard is taken.
        if (!takeOwnership(m_clipboard)) {
            return;
        }
        setText(m_clipboard, m_userText->text);
    } else {
        tellOfChange();
    }
    if (m_clipboard.contents->byType.empty()) {
        return;
    }
    if (const auto time = serverTime()) {
        X11IncomingTransfer request(m_connection, manager, m_connection.atom("SAVE_TARGETS"), *time);
        waitFor(request, managersPatience);
    }
}

bool X11SelectionService::handleEvents()
{
    bool hasHandled = false;
    while (const XcbEvent event = m_connection.pollEvent()) {
        handle(*event);
        hasHandled = true;
    }
    return hasHandled;
}

void X11SelectionService::handle(const xcb_generic_event_t& event)
{
    switch (eventType(event)) {
    case XCB_SELECTION_REQUEST:
        handleRequest(reinterpret_cast<const xcb_selection_request_event_t&>(event));
        break;
    case XCB_SELECTION_CLEAR:
        handleLoss(reinterpret_cast<const xcb_selection_clear_event_t&>(event));
        break;
    case XCB_DESTROY_NOTIFY:
        m_server.handle(reinterpret_cast<const xcb_destroy_notify_event_t&>(event));
        break;
    case XCB_PROPERTY_NOTIFY: {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window == m_window) {
            m_serverTime = change.time;
        }
        m_server.handle(change);
        break;
    }
    default:
        break;
    }
    if (m_incoming) {
        m_incoming->handle(event);
    }
}

void X11SelectionService::handleRequest(const xcb_selection_request_event_t& request)
{
    const Selection* selection = find(request.selection);
    if (!selection || !selection->isOwned) {
        m_server.refuse(request);
    } else if (isPartOfPaste(request)) {
        answerPasteTarget(request, *selection);
    } else if (isToBeHeld(*selection)) {
        m_held.push_back(request);
    } else {
        m_server.answer(request, *selection->contents, selection->ownedSince);
    }
}

bool X11SelectionService::isToBeHeld(const Selection& selection) const
{
    return &selection == &m_clipboard && !m_clipboard.contents->isPassing && SteadyClock::now() < m_holdUntil;
}

X11SelectionService::Selection* X11SelectionService::find(xcb_atom_t atom)
{
    if (atom == m_clipboard.atom) {
        return &m_clipboard;
    }
    return atom == m_primary.atom ? &m_primary : nullptr;
}

bool X11SelectionService::isPartOfPaste(const xcb_selection_request_event_t& request) const
{
    return m_paste && m_connection.clientOf(request.requestor) == m_paste->client
        && (request.selection == m_clipboard.atom || m_paste->usesPrimary);
}

void X11SelectionService::answerPasteTarget(const xcb_selection_request_event_t& request,
                                            const Selection& selection)
{
    const auto given = m_server.answer(request, *m_paste->contents, selection.ownedSince);
    if (given == X11SelectionServer::Given::contents) {
        m_paste->end = std::min(m_paste->latestEnd, SteadyClock::now() + pasteAfterTaking);
    }
}

void X11SelectionService::handleLoss(const xcb_selection_clear_event_t& loss)
{
    Selection* selection = find(loss.selection);
    // The selection may have been taken back before this arrived, and even in the same millisecond, so times
    // do not tell.
    if (!selection || loss.owner != m_window || stillOwns(*selection)) {
        return;
    }
    selection->contents = std::make_shared<const X11SelectionContents>();
    if (selection == &m_clipboard) {
        answerHeld();
    }
}

void X11SelectionService::answerHeld()
{
    for (const auto& request : std::exchange(m_held, {})) {
        if (m_clipboard.isOwned) {
            m_server.answer(request, *m_clipboard.contents, m_clipboard.ownedSince);
        } else {
            m_server.refuse(request);
        }
    }
}

std::optional<X11SelectionService::Time> X11SelectionService::nextDeadline() const
{
    std::optional<Time> next = m_server.nextStall();
    const auto include = [&next](Time time) { next = next ? std::min(*next, time) : time; };
    if (m_paste) {
        include(m_paste->end);
    }
    if (!m_held.empty()) {
        include(m_holdUntil);
    }
    return next;
}

void X11SelectionService::meetDeadlines()
{
    const Time now = SteadyClock::now();
    m_server.dropStalled(now);
    if (now >= m_holdUntil) {
        answerHeld();
    }
    if (m_paste && now >= m_paste->end) {
        endPaste();
    }
}

} // namespace glimmerwick
