#include "Platform/X11/X11SelectionService.h"

#include "Platform/Pasteboard.h"
#include "Platform/Qt/SelectionText.h"
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

// For `PasteSpan`.
constexpr auto pasteAfterTaking = 250ms;
// A compositor that asks on behalf of its windows asks for itself at first, and may do so before the window
// has handled the chord.
constexpr auto pasteAfterTakingByAnybody = 700ms;

// Clipboard histories ask the moment the owner changes. Contents follow the clearing at once, and the chord
// or the mark that tells what histories may do with them a little later, but this thread and the main one may
// be kept waiting for the processor in between, for 226 ms when it was measured under load. Requests wait
// this long for that.
constexpr auto holdTime = 500ms;

// What the resources of no window belong to.
constexpr std::uint32_t anyClient = 0;

constexpr auto serverAnswer = 1s;
constexpr int forEver = -1;

// Without progress and altogether.
constexpr auto ownersStall = 1s;
constexpr auto ownersTime = 5s;
// The user waits for the emoji meanwhile.
constexpr auto hintStall = 100ms;
constexpr auto hintTime = 200ms;
constexpr auto primaryStall = 100ms;
constexpr auto primaryTime = 200ms;
// The session may be ending, and wants this program to.
constexpr auto managersStall = 2s;
constexpr auto managersTime = 5s;

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
    if (!result.empty()) {
        std::memcpy(result.data(), bytes.data(), result.size() * sizeof(xcb_atom_t));
    }
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
    m_holdUntil = SteadyClock::now() + holdTime;
}

// By taking the clipboard anew: that is what other programs are told of.
void X11SelectionService::tellOfChange()
{
    if (!std::exchange(m_isChangeUntold, false) || !stillOwns(m_clipboard)) {
        return;
    }
    // Without it nobody is told, which is better than taking the clipboard from who has copied meanwhile.
    if (const auto time = serverTime()) {
        claim(m_clipboard, *time);
    }
}

bool X11SelectionService::takeOwnership(Selection& selection)
{
    // Requests that come while the server is asked are still about the earlier contents.
    const auto time = serverTime();
    selection.contents = std::make_shared<const X11SelectionContents>();
    // A server too busy to tell the time still knows it.
    return claim(selection, time.value_or(XCB_CURRENT_TIME));
}

bool X11SelectionService::claim(Selection& selection, xcb_timestamp_t time)
{
    xcb_set_selection_owner(m_connection, m_window, selection.atom, time);
    selection.ownedSince = time;
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
    if (putBack || type == pasteboardType::concealed) {
        holdNoLonger();
    } else {
        m_holdUntil = SteadyClock::now() + holdTime;
    }
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
    // The late answer to an earlier question is no time to take anything at.
    handleEvents();
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
    const Patience patience{ownersStall, SteadyClock::now() + ownersTime};
    const auto offer = readOffer(m_clipboard.atom, patience);
    if (!offer) {
        return;
    }
    result.text = readFromOwner(m_clipboard.atom, type, *offer, patience);
    if (result.text && type == pasteboardType::string) {
        m_lastRead =
            UserText{std::make_shared<const std::string>(*result.text), isMarkedSecret(*offer, patience.end)};
    }
}

bool X11SelectionService::isMarkedSecret(const Offer& offer, Time end)
{
    const xcb_atom_t target = m_connection.atom(historyHint::target);
    if (!offer.mayInclude(target)) {
        return false;
    }
    X11IncomingTransfer hint(m_connection, m_clipboard.atom, target, offer.askedAt);
    waitFor(hint, {hintStall, std::min(end, SteadyClock::now() + hintTime)});
    if (hint.status() == X11IncomingTransfer::Status::complete) {
        return hint.takeBytes() == historyHint::secret;
    }
    // An ordinary text that histories leave out does less harm than a password that they show.
    return offer.includes(target);
}

void X11SelectionService::didRead(std::string text)
{
    m_lastRead = UserText{std::make_shared<const std::string>(std::move(text))};
}

bool X11SelectionService::Offer::includes(xcb_atom_t target) const
{
    return std::ranges::find(targets, target) != targets.end();
}

// Asked for first, because some owners, xclip for one, answer every question with what they have, and a
// picture is no text. Nothing when the owner does not answer at all.
std::optional<X11SelectionService::Offer> X11SelectionService::readOffer(xcb_atom_t selection,
                                                                         const Patience& patience)
{
    const auto time = serverTime();
    if (!time) {
        return std::nullopt;
    }
    const xcb_atom_t target = m_connection.atom("TARGETS");
    X11IncomingTransfer answer(m_connection, selection, target, *time);
    waitFor(answer, patience);
    if (!isAnswered(answer)) {
        return std::nullopt;
    }
    // Some owners answer this question, too, with their text.
    const bool isList = answer.type() == XCB_ATOM_ATOM || answer.type() == target;
    return Offer{*time, isList ? atoms(answer.takeBytes()) : std::vector<xcb_atom_t>()};
}

std::optional<std::string> X11SelectionService::readFromOwner(xcb_atom_t selection, const std::string& type,
                                                              const Offer& offer, const Patience& patience)
{
    for (const xcb_atom_t target : readTargets(type)) {
        if (!offer.mayInclude(target)) {
            continue;
        }
        X11IncomingTransfer transfer(m_connection, selection, target, offer.askedAt);
        waitFor(transfer, patience);
        if (!isAnswered(transfer)) {
            return std::nullopt;
        }
        if (transfer.status() == X11IncomingTransfer::Status::complete) {
            if (auto text = decoded(transfer, type)) {
                return text;
            }
        }
    }
    return std::nullopt;
}

std::vector<xcb_atom_t> X11SelectionService::readTargets(const std::string& type)
{
    if (type == pasteboardType::string) {
        return {m_connection.atom("UTF8_STRING"), m_connection.atom("text/plain;charset=utf-8"),
                m_connection.atom("text/plain"), XCB_ATOM_STRING, m_connection.atom("TEXT")};
    }
    return {m_connection.atom(type)};
}

std::optional<std::string> X11SelectionService::decoded(X11IncomingTransfer& transfer,
                                                        const std::string& type)
{
    if (type == pasteboardType::string || transfer.type() == XCB_ATOM_STRING) {
        return selectionText(transfer.takeBytes(), m_connection.atomName(transfer.type()));
    }
    return transfer.takeBytes();
}

void X11SelectionService::waitFor(X11IncomingTransfer& transfer, const Patience& patience, Progress progress)
{
    m_incoming = &transfer;
    while (transfer.status() == X11IncomingTransfer::Status::pending && !m_connection.isBroken()) {
        const Time lastProgress = progress == Progress::ofAnswer
            ? transfer.lastProgress()
            : std::max(transfer.lastProgress(), m_server.lastService());
        const Time until = std::min(patience.end, lastProgress + patience.withoutProgress);
        if (SteadyClock::now() >= until) {
            break;
        }
        wait(until, noDescriptor);
    }
    m_incoming = nullptr;
}

bool X11SelectionService::beginPaste(xcb_window_t target, PasteSelections selections)
{
    if (!stillOwns(m_clipboard)) {
        return false;
    }
    markPassing();
    const std::uint32_t client = m_connection.clientOf(target);
    awaitEarlierPaste(client);
    if (const auto earlier = std::exchange(m_paste, std::nullopt)) {
        putPrimaryBack(*earlier);
    }
    // Chromium keeps what it has once read until it is told that the clipboard has changed hands.
    tellOfChange();
    if (!stillOwns(m_clipboard)) {
        return false;
    }
    // What was read since the contents were put here are these contents.
    m_lastRead.reset();

    const SharedSelectionContents contents = m_clipboard.contents;
    const bool usesPrimary = selections == PasteSelections::clipboardAndPrimary;
    auto savedPrimary = usesPrimary ? replacePrimary(contents) : nullptr;
    const auto afterTaking = client == anyClient ? pasteAfterTakingByAnybody : pasteAfterTaking;
    m_paste = Paste{client, contents, PasteSpan(SteadyClock::now(), afterTaking), usesPrimary,
                    std::move(savedPrimary)};
    return true;
}

void X11SelectionService::cancelPaste()
{
    if (m_paste) {
        endPaste();
    }
}

void X11SelectionService::markPassing()
{
    auto contents = *m_clipboard.contents;
    contents.isPassing = true;
    m_clipboard.contents = std::make_shared<const X11SelectionContents>(std::move(contents));
    holdNoLonger();
}

// An application that is busy through two chords asks for both pastes when it comes round, and nothing in its
// requests tells them apart. Taking the first is not the end of it, because applications ask several times
// for one paste.
void X11SelectionService::awaitEarlierPaste(std::uint32_t client)
{
    if (!m_paste || m_paste->client != client || m_paste->span.isTaken()) {
        return;
    }
    while (m_paste) {
        wait(m_paste->span.end(), noDescriptor);
    }
}

X11SelectionContents::Bytes X11SelectionService::replacePrimary(const SharedSelectionContents& contents)
{
    auto saved = readPrimary();
    if (takeOwnership(m_primary)) {
        m_primary.contents = contents;
    }
    return saved;
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
    const Patience patience{primaryStall, SteadyClock::now() + primaryTime};
    const auto offer = readOffer(m_primary.atom, patience);
    auto text =
        offer ? readFromOwner(m_primary.atom, pasteboardType::string, *offer, patience) : std::nullopt;
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
    const Patience patience{managersStall, SteadyClock::now() + managersTime};
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
    holdNoLonger();
    if (const auto time = serverTime()) {
        X11IncomingTransfer request(m_connection, manager, m_connection.atom("SAVE_TARGETS"), *time);
        waitFor(request, patience, Progress::ofAnswerOrService);
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
    // This program asks itself for nothing. Another one may do so in its name, but sending pieces to the
    // window here would end with being told of nothing there, not even of the server's time.
    const bool isOwnWindow = m_connection.clientOf(request.requestor) == m_connection.client();
    if (!selection || !selection->isOwned || isOwnWindow) {
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
    return m_paste
        && (m_paste->client == anyClient || m_connection.clientOf(request.requestor) == m_paste->client)
        && (request.selection == m_clipboard.atom || m_paste->usesPrimary);
}

void X11SelectionService::answerPasteTarget(const xcb_selection_request_event_t& request,
                                            const Selection& selection)
{
    const auto given = m_server.answer(request, *m_paste->contents, selection.ownedSince);
    if (given == X11SelectionServer::Given::contents) {
        m_paste->span.noteTaking(SteadyClock::now());
    } else if (given == X11SelectionServer::Given::facts && m_paste->client != anyClient) {
        m_paste->span.noteQuestion(SteadyClock::now());
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

void X11SelectionService::holdNoLonger()
{
    m_holdUntil = Time();
    answerHeld();
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
        include(m_paste->span.end());
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
    if (m_paste && now >= m_paste->span.end()) {
        endPaste();
    }
}

} // namespace glimmerwick
