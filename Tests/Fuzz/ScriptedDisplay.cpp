#include "Fuzz/ScriptedDisplay.h"

#include "Fuzz/Invariant.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

namespace glimmerwick {
namespace {

constexpr xcb_window_t root = 0x100;
constexpr std::uint32_t ownClient = 0x200000;
constexpr std::uint32_t resourceMask = 0x1fffff;
constexpr std::size_t wireSize = 32;
// All that a program keeps at the display; more would be a matter of the machine's memory.
constexpr std::size_t largestProperty = 80 * 1024 * 1024;
constexpr std::size_t mostRequests = 256;

/// Clients of which each has a window and another inside it.
constexpr std::array<std::uint32_t, 3> otherClients{0x400000, 0x600000, 0x800000};

constexpr std::array<std::pair<const char*, xcb_atom_t>, 8> predefinedAtoms{
    {{"PRIMARY", XCB_ATOM_PRIMARY},
     {"ATOM", XCB_ATOM_ATOM},
     {"CARDINAL", XCB_ATOM_CARDINAL},
     {"INTEGER", XCB_ATOM_INTEGER},
     {"STRING", XCB_ATOM_STRING},
     {"WINDOW", XCB_ATOM_WINDOW},
     {"WM_CLASS", XCB_ATOM_WM_CLASS},
     {"WM_TRANSIENT_FOR", XCB_ATOM_WM_TRANSIENT_FOR}}};

/// What scripts speak of, in an order that inputs in the corpus rely on.
constexpr std::array atomNames{
    "CLIPBOARD",
    "PRIMARY",
    "TARGETS",
    "MULTIPLE",
    "UTF8_STRING",
    "STRING",
    "TEXT",
    "COMPOUND_TEXT",
    "text/plain",
    "text/plain;charset=utf-8",
    "INCR",
    "ATOM",
    "ATOM_PAIR",
    "TIMESTAMP",
    "INTEGER",
    "CARDINAL",
    "WINDOW",
    "x-kde-passwordManagerHint",
    "public.utf8-plain-text",
    "org.nspasteboard.ConcealedType",
    "GLIMMERWICK_SELECTION",
    "GLIMMERWICK_TIME",
    "CLIPBOARD_MANAGER",
    "SAVE_TARGETS",
    "ANOTHER_PROPERTY",
    "image/png",
    "WM_CLASS",
    "WM_TRANSIENT_FOR",
    "WM_STATE",
    "_GTK_APPLICATION_ID",
    "_GTK_WORKAREAS_D0",
    "_GTK_WORKAREAS_D1",
    "_NET_ACTIVE_WINDOW",
    "_NET_CLIENT_LIST",
    "_NET_CURRENT_DESKTOP",
    "_NET_SUPPORTING_WM_CHECK",
    "_NET_WM_DESKTOP",
    "_NET_WM_PID",
    "_NET_WM_STATE",
    "_NET_WM_STATE_MODAL",
    "_NET_WM_STRUT_PARTIAL",
    "_NET_WM_WINDOW_TYPE",
    "_NET_WM_WINDOW_TYPE_DIALOG",
};

ScriptedDisplay* currentDisplay = nullptr;

template <typename Event> Event eventIn(const std::vector<char>& wire)
{
    Event event;
    std::memcpy(&event, wire.data(), sizeof event);
    return event;
}

} // namespace

std::string ScriptedDisplay::Property::part(std::size_t offset, std::size_t longest) const
{
    std::string part;
    const std::size_t end = std::min(size(), offset + longest);
    while (offset < end) {
        const std::size_t begin = offset % bytes.size();
        const std::size_t count = std::min(bytes.size() - begin, end - offset);
        part.append(bytes, begin, count);
        offset += count;
    }
    return part;
}

ScriptedDisplay::ScriptedDisplay(FuzzScript& script) : m_script(script)
{
    currentDisplay = this;
    setup.resource_id_base = ownClient;
    setup.resource_id_mask = resourceMask;
    screen.root = root;
    m_atoms.insert(predefinedAtoms.begin(), predefinedAtoms.end());
    for (const char* name : atomNames) {
        atom(name);
    }
    m_windows[root] = {};
    m_otherWindows.push_back(root);
    for (const std::uint32_t client : otherClients) {
        const xcb_window_t outer = client + 1;
        const xcb_window_t inner = client + 2;
        m_windows[outer] = {root, 0, {}};
        m_windows[inner] = {outer, 0, {}};
        m_otherWindows.insert(m_otherWindows.end(), {outer, inner});
    }
}

ScriptedDisplay::~ScriptedDisplay()
{
    for (const auto& [sequence, reply] : m_replies) {
        std::free(reply);
    }
    currentDisplay = nullptr;
}

ScriptedDisplay& ScriptedDisplay::current()
{
    return *currentDisplay;
}

void ScriptedDisplay::allow(const std::string& text)
{
    m_allowed.insert(text);
}

xcb_atom_t ScriptedDisplay::atom(std::string_view name)
{
    constexpr xcb_atom_t firstFree = 100;
    const auto free = firstFree + static_cast<xcb_atom_t>(m_atoms.size());
    return m_atoms.emplace(name, free).first->second;
}

std::string ScriptedDisplay::atomName(xcb_atom_t atom) const
{
    const auto found = std::find_if(m_atoms.begin(), m_atoms.end(),
                                    [atom](const auto& each) { return each.second == atom; });
    return found == m_atoms.end() ? std::string() : found->first;
}

xcb_window_t ScriptedDisplay::anyWindow()
{
    return m_script.oneOf(m_otherWindows);
}

xcb_atom_t ScriptedDisplay::anyAtom()
{
    const std::size_t index = m_script.choice(std::size(atomNames) + 2);
    if (index == std::size(atomNames)) {
        return XCB_ATOM_NONE;
    }
    return index < std::size(atomNames) ? atom(atomNames[index]) : m_script.number();
}

ScriptedDisplay::Property ScriptedDisplay::anyProperty()
{
    constexpr std::array<std::uint8_t, 3> formats{8, 32, 16};
    Property property;
    property.type = anyAtom();
    property.format = m_script.oneOf(formats);
    const auto append = [&](std::uint32_t number) {
        property.bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
    };
    switch (m_script.choice(5)) {
    case 0:
        property.bytes = m_script.text();
        break;
    case 1:
        for (std::size_t count = m_script.choice(26); count > 0; --count) {
            append(anyAtom());
        }
        break;
    case 2:
        for (std::size_t count = m_script.choice(26); count > 0; --count) {
            append(anyWindow());
        }
        break;
    case 3:
        for (std::size_t count = m_script.choice(26); count > 0; --count) {
            append(m_script.number());
        }
        break;
    default:
        property.bytes = m_script.text();
        property.repetitions = 1 + m_script.number() % (16 * 1024 * 1024);
        break;
    }
    property.bytes.resize(property.bytes.size() / (property.format / 8U) * (property.format / 8U));
    if (!property.bytes.empty()) {
        property.repetitions = std::min(property.repetitions, largestProperty / property.bytes.size());
    }
    return property;
}

void ScriptedDisplay::set(xcb_window_t window, xcb_atom_t name, Property property)
{
    if (const auto found = m_windows.find(window); found != m_windows.end() && name != XCB_ATOM_NONE) {
        found->second.properties[name] = std::move(property);
        pushPropertyChange(window, name, XCB_PROPERTY_NEW_VALUE);
    }
}

bool ScriptedDisplay::isOwn(xcb_window_t window) const
{
    return (window & ~resourceMask) == ownClient;
}

std::size_t ScriptedDisplay::ownWindowCount() const
{
    return static_cast<std::size_t>(std::count_if(m_windows.begin(), m_windows.end(),
                                                  [this](const auto& each) { return isOwn(each.first); }));
}

void ScriptedDisplay::keepReply(unsigned int sequence, void* reply)
{
    m_replies[sequence] = reply;
}

void* ScriptedDisplay::takeReply(unsigned int sequence)
{
    const auto found = m_replies.find(sequence);
    requireInvariant(found != m_replies.end(), "an answer is asked for once");
    void* reply = found->second;
    m_replies.erase(found);
    return reply;
}

void ScriptedDisplay::createWindow(xcb_window_t window, xcb_window_t parent, std::uint32_t eventMask)
{
    requireInvariant(isOwn(window) && !exists(window), "a new window has a number of its own");
    m_windows[window] = {parent, eventMask, {}};
}

void ScriptedDisplay::destroyWindow(xcb_window_t window)
{
    requireInvariant(isOwn(window), "only own windows are destroyed");
    m_windows.erase(window);
    std::erase_if(m_owners, [window](const auto& each) { return each.second == window; });
}

void ScriptedDisplay::selectEvents(xcb_window_t window, std::uint32_t eventMask)
{
    requireInvariant(!isOwn(window) || (eventMask & XCB_EVENT_MASK_PROPERTY_CHANGE) != 0,
                     "own windows stay watched");
    if (const auto found = m_windows.find(window); found != m_windows.end()) {
        found->second.eventMask = eventMask;
    }
}

void ScriptedDisplay::pushPropertyChange(xcb_window_t window, xcb_atom_t name, std::uint8_t state)
{
    const auto found = m_windows.find(window);
    if (found == m_windows.end() || (found->second.eventMask & XCB_EVENT_MASK_PROPERTY_CHANGE) == 0) {
        return;
    }
    xcb_property_notify_event_t event{};
    event.response_type = XCB_PROPERTY_NOTIFY;
    event.window = window;
    event.atom = name;
    event.time = serverTime();
    event.state = state;
    push(event);
}

void ScriptedDisplay::changeProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type,
                                     std::uint8_t format, std::string bytes)
{
    const auto found = m_windows.find(window);
    if (found == m_windows.end() || name == XCB_ATOM_NONE) {
        return;
    }
    if (!isOwn(window)) {
        checkGiven({window, name}, type, format, bytes);
    }
    found->second.properties[name] = Property{type, format, std::move(bytes), 1};
    pushPropertyChange(window, name, XCB_PROPERTY_NEW_VALUE);
}

/// Nothing leaves the program but what others may have.
void ScriptedDisplay::checkGiven(PropertyPlace place, xcb_atom_t type, std::uint8_t format,
                                 const std::string& bytes)
{
    if (type == XCB_ATOM_ATOM || type == XCB_ATOM_INTEGER || type == atom("ATOM_PAIR")) {
        requireInvariant(format == 32, "lists are of numbers");
        return;
    }
    if (m_isEverythingAllowed) {
        return;
    }
    if (type == atom("INCR")) {
        m_incoming[place].clear();
        return;
    }
    const auto isAllowed = [&](const std::string& text) { return m_allowed.count(text) != 0; };
    if (const auto incoming = m_incoming.find(place); incoming != m_incoming.end()) {
        const std::string soFar = incoming->second + bytes;
        if (bytes.empty() && isAllowed(soFar)) {
            m_incoming.erase(incoming);
            return;
        }
        const bool goesOn = !bytes.empty()
            && std::any_of(m_allowed.begin(), m_allowed.end(),
                           [&](const std::string& text) { return text.starts_with(soFar); });
        if (goesOn) {
            incoming->second = soFar;
            return;
        }
        m_incoming.erase(incoming);
    }
    requireInvariant(format == 8 && isAllowed(bytes), "others get what was put there for them, and whole");
}

void ScriptedDisplay::deleteProperty(xcb_window_t window, xcb_atom_t name)
{
    const auto found = m_windows.find(window);
    if (found != m_windows.end() && found->second.properties.erase(name) != 0) {
        pushPropertyChange(window, name, XCB_PROPERTY_DELETE);
    }
}

void* ScriptedDisplay::readProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type,
                                    std::uint32_t offset, std::uint32_t length)
{
    constexpr std::size_t word = 4;
    const auto found = m_windows.find(window);
    if (found == m_windows.end()) {
        return nullptr;
    }
    xcb_get_property_reply_t header{};
    header.response_type = 1;
    std::string value;
    if (const auto property = found->second.properties.find(name);
        property != found->second.properties.end()) {
        const Property& kept = property->second;
        const std::size_t begin = std::size_t{offset} * word;
        if (begin > kept.size()) {
            return nullptr;
        }
        header.type = kept.type;
        header.format = kept.format;
        header.bytes_after = static_cast<std::uint32_t>(kept.size());
        if (type == XCB_GET_PROPERTY_TYPE_ANY || type == kept.type) {
            value = kept.part(begin, std::size_t{length} * word);
            header.bytes_after = static_cast<std::uint32_t>(kept.size() - begin - value.size());
            header.value_len = static_cast<std::uint32_t>(value.size() / (kept.format / 8U));
        }
    }
    header.length = static_cast<std::uint32_t>((value.size() + word - 1) / word);
    char* reply = static_cast<char*>(std::malloc(sizeof header + value.size()));
    std::memcpy(reply, &header, sizeof header);
    value.copy(reply + sizeof header, value.size());
    return reply;
}

void ScriptedDisplay::setSelectionOwner(xcb_window_t owner, xcb_atom_t selection)
{
    requireInvariant(owner == XCB_WINDOW_NONE || isOwn(owner), "a selection is taken for an own window");
    m_owners[selection] = owner;
}

xcb_window_t ScriptedDisplay::selectionOwner(xcb_atom_t selection) const
{
    const auto found = m_owners.find(selection);
    return found == m_owners.end() ? static_cast<xcb_window_t>(XCB_WINDOW_NONE) : found->second;
}

void ScriptedDisplay::convertSelection(const xcb_selection_request_event_t& request)
{
    const xcb_window_t owner = selectionOwner(request.selection);
    if (isOwn(owner)) {
        expectAnswer(request);
        push(request);
    } else if (owner != XCB_WINDOW_NONE) {
        m_conversions.push_back(request);
    } else {
        xcb_selection_notify_event_t refusal{};
        refusal.response_type = XCB_SELECTION_NOTIFY;
        refusal.requestor = request.requestor;
        refusal.selection = request.selection;
        refusal.target = request.target;
        push(refusal);
    }
}

void ScriptedDisplay::expectAnswer(const xcb_selection_request_event_t& request)
{
    m_requests.push_back({request, false});
}

void ScriptedDisplay::sendEvent(xcb_window_t destination, const char* event)
{
    constexpr std::uint8_t sentByClientBit = 0x80;
    const Wire wire(event, event + wireSize);
    if ((wire[0] & ~sentByClientBit) == XCB_SELECTION_NOTIFY) {
        const auto answer = eventIn<xcb_selection_notify_event_t>(wire);
        requireInvariant(answer.requestor == destination, "an answer goes to who asked");
        checkAnswer(answer);
    } else {
        requireInvariant((wire[0] & ~sentByClientBit) == XCB_CLIENT_MESSAGE && destination == root,
                         "nothing but answers and messages to the window manager is sent");
    }
}

void ScriptedDisplay::checkAnswer(const xcb_selection_notify_event_t& answer)
{
    const auto request = std::find_if(m_requests.begin(), m_requests.end(), [&](const Request& each) {
        return !each.isAnswered && each.event.requestor == answer.requestor
            && each.event.selection == answer.selection && each.event.target == answer.target
            && each.event.time == answer.time
            && (answer.property == XCB_ATOM_NONE || answer.property == each.event.property
                || (each.event.property == XCB_ATOM_NONE && answer.property == each.event.target));
    });
    requireInvariant(request != m_requests.end(), "each answer is one to a request, and the only one");
    request->isAnswered = true;
}

xcb_window_t ScriptedDisplay::parentOf(xcb_window_t window) const
{
    const auto found = m_windows.find(window);
    return found == m_windows.end() ? static_cast<xcb_window_t>(XCB_WINDOW_NONE) : found->second.parent;
}

xcb_timestamp_t ScriptedDisplay::serverTime() const
{
    return static_cast<xcb_timestamp_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(m_now.time_since_epoch()).count());
}

template <typename Event> void ScriptedDisplay::push(Event event)
{
    static_assert(sizeof event <= wireSize);
    Wire wire(wireSize);
    std::memcpy(wire.data(), &event, sizeof event);
    m_events.push_back(std::move(wire));
}

void* ScriptedDisplay::nextEvent()
{
    if (m_events.empty()) {
        return nullptr;
    }
    // What xcb hands out has one number more than the wire.
    char* event = static_cast<char*>(std::calloc(1, sizeof(xcb_generic_event_t)));
    std::memcpy(event, m_events.front().data(), wireSize);
    m_events.pop_front();
    return event;
}

void ScriptedDisplay::wait(std::chrono::milliseconds longest)
{
    constexpr std::chrono::milliseconds moment(1);
    if (m_script.isAtEnd()) {
        m_now += longest.count() < 0 ? std::chrono::minutes(1) : std::max(longest, moment);
        return;
    }
    m_now += moment;
    act();
}

void ScriptedDisplay::act()
{
    switch (m_script.choice(12)) {
    case 0:
        answerConversion();
        break;
    case 1:
        sendPiece();
        break;
    case 2:
        ask();
        break;
    case 3:
        takePiece();
        break;
    case 4:
        takeSelection();
        break;
    case 5:
        sendAnything();
        break;
    case 6:
        m_now += std::chrono::milliseconds(m_script.number() % 1024);
        break;
    case 7: {
        const xcb_window_t window = anyWindow();
        const xcb_atom_t name = anyAtom();
        set(window, name, anyProperty());
        break;
    }
    case 8:
        m_owners.erase(anyAtom());
        break;
    case 9:
        focus = m_script.isChosen() ? anyWindow() : m_script.number() % 3;
        break;
    case 10: {
        const xcb_window_t window = anyWindow();
        // The root stays, and so does what is drawn around other windows.
        if (window != root && parentOf(window) != root && exists(window)) {
            xcb_destroy_notify_event_t event{};
            event.response_type = XCB_DESTROY_NOTIFY;
            event.event = event.window = window;
            push(event);
            m_windows.erase(window);
        }
        break;
    }
    default:
        break;
    }
}

/// An owner answers what it was asked, or lies about it.
void ScriptedDisplay::answerConversion()
{
    if (m_conversions.empty()) {
        return;
    }
    const xcb_selection_request_event_t request = m_conversions.front();
    m_conversions.pop_front();
    xcb_selection_notify_event_t answer{};
    answer.response_type = XCB_SELECTION_NOTIFY;
    answer.time = request.time;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    switch (m_script.choice(4)) {
    case 0: {
        Property property = anyProperty();
        set(request.requestor, request.property, std::move(property));
        answer.property = request.property;
        break;
    }
    case 1:
        break;
    case 2:
        // Says so, but has put nothing there.
        answer.property = request.property;
        break;
    default:
        m_conversions.push_back(request);
        answer.property = anyAtom();
        answer.selection = anyAtom();
        break;
    }
    push(answer);
}

/// Another piece for whoever of the tested program waits for one.
void ScriptedDisplay::sendPiece()
{
    const auto waiting = std::find_if(m_windows.rbegin(), m_windows.rend(),
                                      [this](const auto& each) { return isOwn(each.first); });
    if (waiting != m_windows.rend()) {
        const xcb_window_t window = waiting->first;
        set(window, atom("GLIMMERWICK_SELECTION"), anyProperty());
    }
}

void ScriptedDisplay::ask()
{
    xcb_selection_request_event_t request{};
    request.response_type = XCB_SELECTION_REQUEST;
    request.selection = anyAtom();
    request.target = anyAtom();
    request.property = anyAtom();
    request.requestor = m_script.isChosen() ? m_script.number() : anyWindow();
    request.time = m_script.isChosen() ? m_script.number() : serverTime();
    if (request.target == atom("MULTIPLE")) {
        set(request.requestor, request.property, anyProperty());
    }
    // The server sends a request to the owner alone, and forgets a selection that nobody owns.
    request.owner = selectionOwner(request.selection);
    if (isOwn(request.owner) && m_requests.size() < mostRequests) {
        expectAnswer(request);
        push(request);
    }
}

/// Whoever was given something takes it away, and waits for more.
void ScriptedDisplay::takePiece()
{
    if (m_requests.empty()) {
        return;
    }
    const auto& request = m_requests[m_requests.size() - 1 - m_script.choice(m_requests.size())].event;
    deleteProperty(request.requestor, request.property != XCB_ATOM_NONE ? request.property : request.target);
}

void ScriptedDisplay::takeSelection()
{
    const xcb_atom_t selection = anyAtom();
    const xcb_window_t earlier = selectionOwner(selection);
    m_owners[selection] = anyWindow();
    if (isOwn(earlier)) {
        xcb_selection_clear_event_t loss{};
        loss.response_type = XCB_SELECTION_CLEAR;
        loss.time = serverTime();
        loss.owner = earlier;
        loss.selection = selection;
        push(loss);
    }
}

/// Any program may send any event to any other.
void ScriptedDisplay::sendAnything()
{
    constexpr std::array<std::uint8_t, 6> types{XCB_SELECTION_REQUEST, XCB_SELECTION_NOTIFY,
                                                XCB_PROPERTY_NOTIFY,   XCB_SELECTION_CLEAR,
                                                XCB_DESTROY_NOTIFY,    XCB_CLIENT_MESSAGE};
    constexpr std::uint8_t sentByClientBit = 0x80;
    Wire wire(wireSize);
    m_script.text().copy(wire.data(), wire.size());
    wire[0] = static_cast<char>(m_script.oneOf(types) | sentByClientBit);
    if (wire[0] == static_cast<char>(XCB_SELECTION_REQUEST | sentByClientBit)) {
        if (m_requests.size() == mostRequests) {
            return;
        }
        expectAnswer(eventIn<xcb_selection_request_event_t>(wire));
    }
    m_events.push_back(std::move(wire));
}

} // namespace glimmerwick
