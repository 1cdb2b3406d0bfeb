#include "Fuzz/ScriptedBus.h"

#include "Fuzz/Invariant.h"
#include "Platform/DBus/BusNames.h"

#include <QCoreApplication>
#include <QEventLoop>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace glimmerwick {
namespace {

constexpr auto busService = "org.freedesktop.DBus";
constexpr auto otherService = ":1.900";
constexpr auto sessionPath = "/org/freedesktop/portal/desktop/session/1";
constexpr auto portalPath = "/org/freedesktop/portal/desktop";
constexpr auto ping = "Ping";

struct Kind {
    const char* path;
    const char* interface;
    const char* member;
    const char* signature;
};

/// Stands for the path of the last request that the portal was asked for.
constexpr auto requestPath = "";

constexpr std::array signals_{
    Kind{requestPath, "org.freedesktop.portal.Request", "Response", "ua{sv}"},
    Kind{portalPath, "org.freedesktop.portal.Settings", "SettingChanged", "ssv"},
    Kind{portalPath, "org.freedesktop.portal.GlobalShortcuts", "Activated", "osta{sv}"},
    Kind{portalPath, "org.freedesktop.portal.GlobalShortcuts", "ShortcutsChanged", "oa(sa{sv})"},
    Kind{sessionPath, "org.freedesktop.portal.Session", "Closed", "a{sv}"},
    Kind{"/component/glimmerwick", "org.kde.kglobalaccel.Component", "globalShortcutPressed", "ssx"},
    Kind{"/kglobalaccel", "org.kde.KGlobalAccel", "yourShortcutsChanged", "asa(ai)"},
    Kind{"/org/freedesktop/ScreenSaver", "org.freedesktop.ScreenSaver", "ActiveChanged", "b"},
    Kind{"/org/freedesktop/login1/session/1", "org.freedesktop.login1.Session", "Lock", ""},
    Kind{"/org/freedesktop/login1", "org.freedesktop.login1.Manager", "PrepareForSleep", "b"},
    Kind{"/StatusNotifierWatcher", "org.kde.StatusNotifierWatcher", "StatusNotifierHostRegistered", ""},
    Kind{"/org/freedesktop/DBus", busService, "NameOwnerChanged", "sss"},
};

constexpr std::array calls{
    Kind{"", "org.freedesktop.Application", "Activate", "a{sv}"},
    Kind{"", "org.freedesktop.Application", "Open", "asa{sv}"},
    Kind{"", "org.freedesktop.Application", "ActivateAction", "sava{sv}"},
    Kind{"", "com.glimmerwick.Picker1", "HandleArguments", "as"},
    Kind{"", "org.freedesktop.DBus.Properties", "Get", "ss"},
    Kind{"", "org.freedesktop.DBus.Properties", "Set", "ssv"},
    Kind{"", "org.freedesktop.DBus.Properties", "GetAll", "s"},
    Kind{"", "org.freedesktop.DBus.Introspectable", "Introspect", ""},
    Kind{"", "com.glimmerwick.Picker1", "Other", "v"},
};

/// What is usually answered; requests of the portal have their own path as the answer.
constexpr std::array<std::pair<std::string_view, const char*>, 10> answers{{{"ReadAll", "a{sa{sv}}"},
                                                                            {"CreateSession", "o"},
                                                                            {"BindShortcuts", "o"},
                                                                            {"SelectDevices", "o"},
                                                                            {"Start", "o"},
                                                                            {"setShortcutKeys", "a(ai)"},
                                                                            {"actionList", "as"},
                                                                            {"Get", "v"},
                                                                            {"RequestName", "u"},
                                                                            {"getLayout", "u"}}};

constexpr std::array errors{
    "org.freedesktop.DBus.Error.ServiceUnknown",   "org.freedesktop.DBus.Error.UnknownMethod",
    "org.freedesktop.DBus.Error.NoReply",          "org.freedesktop.DBus.Error.NameHasNoOwner",
    "org.freedesktop.DBus.Error.Spawn.ExecFailed", "org.freedesktop.portal.Error.Failed",
};

/// The words that the tested program looks for; inputs in the corpus rely on their order.
constexpr std::array texts{
    "toggle",
    "session_handle",
    sessionPath,
    "org.freedesktop.appearance",
    "color-scheme",
    "contrast",
    "reduced-motion",
    "accent-color",
    "org.gnome.desktop.interface",
    "enable-animations",
    "org.kde.kdeglobals.KDE",
    "AnimationDurationFactor",
    "shortcuts",
    "trigger_description",
    "devices",
    "restore_token",
    "com.glimmerwick.Glimmerwick",
    "org.freedesktop.portal.Desktop",
    ":1.900",
    "",
    "show",
    "hide",
    "about",
    "check-for-updates",
    "quit",
    "--toggle",
    "--show-picker",
    "--target-app",
    "--background",
    "--help",
    "-style",
    "com.glimmerwick.Picker1",
    "Visible",
    "Version",
    "org.kde.kglobalaccel",
    "org.freedesktop.Application",
};

constexpr std::array variants{"s", "u",     "b",  "d",         "(ddd)", "o",     "as", "a{sv}", "a(sa{sv})",
                              "v", "a(ai)", "ai", "a{sa{sv}}", "(dd)",  "(ddv)", "ay", "x",     "g"};

std::string nameOf(std::size_t number)
{
    return ":1." + std::to_string(number);
}

/// Of what libdbus hands out to be freed.
std::string taken(char* text)
{
    const std::unique_ptr<char, void (*)(void*)> owned(text, dbus_free);
    return owned.get();
}

void sendBytes(int socket, const char* bytes, std::size_t size)
{
    while (size > 0) {
        const auto sent = ::send(socket, bytes, size, MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        bytes += sent;
        size -= static_cast<std::size_t>(sent);
    }
}

} // namespace

ScriptedBus::ScriptedBus()
{
    // Abstract: no file is left behind.
    const std::string name = "glimmerwick-fuzz-" + std::to_string(::getpid());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, sizeof address.sun_path - 1);
    m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    constexpr int backlog = 16;
    requireInvariant(::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), size) == 0
                         && ::listen(m_listener, backlog) == 0,
                     "the bus can be reached");
    for (const char* variable : {"DBUS_SESSION_BUS_ADDRESS", "DBUS_SYSTEM_BUS_ADDRESS"}) {
        ::setenv(variable, ("unix:abstract=" + name).c_str(), 1);
    }
    m_thread = std::thread([this] { serve(); });
    m_thread.detach();
}

void ScriptedBus::setScript(FuzzScript* script)
{
    const std::lock_guard lock(m_mutex);
    m_script = script;
    m_callCount = m_quietCallCount = m_answerCount = 0;
    m_lockCount = 0;
    m_requestPath.clear();
    m_lastArguments.clear();
}

void ScriptedBus::settle()
{
    constexpr std::chrono::seconds patience(20);
    // What is sent while the first of them is handled has come by the end of the second.
    constexpr int enoughQuietRounds = 2;
    for (int quietRounds = 0; quietRounds < enoughQuietRounds;) {
        std::size_t before = 0;
        {
            std::unique_lock lock(m_mutex);
            before = m_messageCount;
            std::vector<std::pair<std::string, std::size_t>> awaited;
            for (const auto& client : m_clients) {
                const OwnedMessage message(
                    dbus_message_new_method_call(nullptr, "/", "org.freedesktop.DBus.Peer", ping));
                send(*client, message.get());
                awaited.emplace_back(client->name, client->pongs + 1);
            }
            // Each client handles messages in order, so this one is behind all others. One may go meanwhile.
            const bool isAnswered = m_changed.wait_for(lock, patience, [&] {
                return std::all_of(awaited.begin(), awaited.end(), [this](const auto& each) {
                    return std::all_of(m_clients.begin(), m_clients.end(), [&each](const auto& client) {
                        return client->name != each.first || client->pongs >= each.second;
                    });
                });
            });
            requireInvariant(isAnswered, "the program stays on the bus and answers");
        }
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        const std::lock_guard lock(m_mutex);
        quietRounds = m_messageCount == before ? quietRounds + 1 : 0;
    }
}

std::size_t ScriptedBus::answerCount()
{
    const std::lock_guard lock(m_mutex);
    return m_answerCount;
}

void ScriptedBus::sendAnySignal()
{
    const std::lock_guard lock(m_mutex);
    const Kind& kind = m_script->oneOf(signals_);
    std::string path = kind.path;
    if (path == requestPath) {
        path = m_requestPath.empty() ? portalPath : m_requestPath;
    }
    if (m_script->isChosen()) {
        path = anyPath();
    }
    const OwnedMessage message(dbus_message_new_signal(path.c_str(), kind.interface, kind.member));
    // Nobody can speak in the bus's name, and what that says itself makes sense.
    const bool isFromBus = std::string_view(kind.interface) == busService && !m_script->isChosen();
    dbus_message_set_sender(message.get(), isFromBus ? busService : otherService);
    append(message.get(), isFromBus ? kind.signature : signatureOr(kind.signature));
    const std::string_view member = kind.member;
    // Whatever may stand behind it.
    dbus_bool_t isActive = FALSE;
    dbus_message_get_args(message.get(), nullptr, DBUS_TYPE_BOOLEAN, &isActive, DBUS_TYPE_INVALID);
    const bool saysActive = (member == "ActiveChanged" || member == "PrepareForSleep") && isActive != FALSE;
    if (member == "Lock" || saysActive) {
        ++m_lockCount;
    }
    sendToAll(message.get());
}

void ScriptedBus::sendAnyCall(const std::string& path)
{
    const std::lock_guard lock(m_mutex);
    const Kind& kind = m_script->oneOf(calls);
    const OwnedMessage message(
        dbus_message_new_method_call(busName::service, path.c_str(), kind.interface, kind.member));
    dbus_message_set_sender(message.get(), otherService);
    append(message.get(), signatureOr(kind.signature));
    if (std::string_view(kind.member) == busName::handleArguments
        && std::string_view(dbus_message_get_signature(message.get())) == "as") {
        m_lastArguments.clear();
        char** arguments = nullptr;
        int count = 0;
        dbus_message_get_args(message.get(), nullptr, DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &arguments, &count,
                              DBUS_TYPE_INVALID);
        m_lastArguments.assign(arguments, arguments + count);
        dbus_free_string_array(arguments);
    }
    if (m_script->choice(8) == 7) {
        dbus_message_set_no_reply(message.get(), TRUE);
        m_quietCallCount += m_clients.size();
    } else {
        m_callCount += m_clients.size();
    }
    sendToAll(message.get());
}

// From here on down to `send`, on the bus's thread.

void ScriptedBus::serve()
{
    for (;;) {
        std::vector<pollfd> descriptors{{m_listener, POLLIN, 0}};
        {
            const std::lock_guard lock(m_mutex);
            for (const auto& client : m_clients) {
                descriptors.push_back({client->socket, POLLIN, 0});
            }
        }
        ::poll(descriptors.data(), descriptors.size(), -1);
        const std::lock_guard lock(m_mutex);
        for (std::size_t index = descriptors.size() - 1; index > 0; --index) {
            Client& client = *m_clients[index - 1];
            if (descriptors[index].revents != 0 && !receive(client)) {
                ::close(client.socket);
                m_clients.erase(m_clients.begin() + static_cast<std::ptrdiff_t>(index - 1));
            }
        }
        if (descriptors.front().revents != 0) {
            accept();
        }
        m_changed.notify_all();
    }
}

void ScriptedBus::accept()
{
    auto client = std::make_unique<Client>();
    client->socket = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client->socket >= 0) {
        client->name = nameOf(static_cast<std::size_t>(++m_nameCount));
        m_clients.push_back(std::move(client));
    }
}

bool ScriptedBus::receive(Client& client)
{
    std::array<char, 16384> buffer{};
    const auto size = ::recv(client.socket, buffer.data(), buffer.size(), 0);
    if (size <= 0) {
        return false;
    }
    client.received.append(buffer.data(), static_cast<std::size_t>(size));
    if (!client.isAuthenticated) {
        authenticate(client);
    }
    while (client.isAuthenticated) {
        const int needed = dbus_message_demarshal_bytes_needed(client.received.data(),
                                                               static_cast<int>(client.received.size()));
        requireInvariant(needed >= 0, "what is sent are messages");
        if (needed == 0 || static_cast<std::size_t>(needed) > client.received.size()) {
            break;
        }
        const OwnedMessage message(dbus_message_demarshal(client.received.data(), needed, nullptr));
        requireInvariant(message != nullptr, "a message that is sent can be read");
        client.received.erase(0, static_cast<std::size_t>(needed));
        handle(client, message.get());
    }
    return true;
}

void ScriptedBus::authenticate(Client& client)
{
    const auto say = [&](std::string_view line) { sendBytes(client.socket, line.data(), line.size()); };
    for (std::size_t end = client.received.find("\r\n"); end != std::string::npos;
         end = client.received.find("\r\n")) {
        const std::string line = client.received.substr(0, end);
        client.received.erase(0, end + 2);
        if (line.find("AUTH EXTERNAL") != std::string::npos) {
            say("OK 0123456789abcdef0123456789abcdef\r\n");
        } else if (line == "BEGIN") {
            client.isAuthenticated = true;
            return;
        } else {
            say("ERROR\r\n");
        }
    }
}

void ScriptedBus::handle(Client& client, DBusMessage* message)
{
    const int type = dbus_message_get_type(message);
    if (type == DBUS_MESSAGE_TYPE_METHOD_CALL) {
        ++m_messageCount;
        const char* destination = dbus_message_get_destination(message);
        if (destination && std::string_view(destination) == busService
            && !dbus_message_has_member(message, "RequestName")) {
            answerBus(client, message);
        } else {
            answerByScript(client, message);
        }
    } else if (type == DBUS_MESSAGE_TYPE_SIGNAL) {
        ++m_messageCount;
    } else if (dbus_message_get_destination(message)) {
        ++m_messageCount;
        ++m_answerCount;
    } else {
        ++client.pongs;
    }
}

void ScriptedBus::answerBus(Client& client, DBusMessage* message)
{
    const OwnedMessage reply(dbus_message_new_method_return(message));
    if (dbus_message_has_member(message, "Hello")) {
        const char* name = client.name.c_str();
        dbus_message_append_args(reply.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
    } else if (dbus_message_has_member(message, "GetNameOwner")) {
        dbus_message_append_args(reply.get(), DBUS_TYPE_STRING, &otherService, DBUS_TYPE_INVALID);
    }
    dbus_message_set_sender(reply.get(), busService);
    send(client, reply.get());
}

void ScriptedBus::answerByScript(Client& client, DBusMessage* message)
{
    rememberToken(client, message);
    if (dbus_message_get_no_reply(message) != FALSE) {
        return;
    }
    if (!m_script) {
        const OwnedMessage reply(
            dbus_message_new_error(message, "org.freedesktop.DBus.Error.ServiceUnknown", ""));
        dbus_message_set_sender(reply.get(), busService);
        send(client, reply.get());
        return;
    }
    const char* usual = "";
    for (const auto& [member, signature] : answers) {
        usual = dbus_message_has_member(message, member.data()) != FALSE ? signature : usual;
    }
    OwnedMessage reply;
    switch (m_script->choice(4)) {
    case 1: {
        const std::string text = anyText();
        reply.reset(dbus_message_new_error(message, m_script->oneOf(errors), text.c_str()));
        break;
    }
    case 2:
        reply.reset(dbus_message_new_method_return(message));
        append(reply.get(), signatureOr(usual));
        break;
    default:
        reply.reset(dbus_message_new_method_return(message));
        if (std::string_view(usual) == "o") {
            const char* path = m_requestPath.empty() ? portalPath : m_requestPath.c_str();
            dbus_message_append_args(reply.get(), DBUS_TYPE_OBJECT_PATH, &path, DBUS_TYPE_INVALID);
        } else {
            append(reply.get(), usual);
        }
        break;
    }
    dbus_message_set_sender(reply.get(), otherService);
    send(client, reply.get());
}

/// The portal makes a request's path of its caller's name and the token that the caller chose.
void ScriptedBus::rememberToken(const Client& client, DBusMessage* message)
{
    DBusMessageIter argument;
    dbus_message_iter_init(message, &argument);
    for (; dbus_message_iter_get_arg_type(&argument) != DBUS_TYPE_INVALID;
         dbus_message_iter_next(&argument)) {
        if (taken(dbus_message_iter_get_signature(&argument)) != "a{sv}") {
            continue;
        }
        DBusMessageIter entry;
        dbus_message_iter_recurse(&argument, &entry);
        for (; dbus_message_iter_get_arg_type(&entry) == DBUS_TYPE_DICT_ENTRY;
             dbus_message_iter_next(&entry)) {
            DBusMessageIter field;
            const char* key = nullptr;
            dbus_message_iter_recurse(&entry, &field);
            dbus_message_iter_get_basic(&field, &key);
            if (std::string_view(key) != "handle_token") {
                continue;
            }
            DBusMessageIter value;
            const char* token = nullptr;
            dbus_message_iter_next(&field);
            dbus_message_iter_recurse(&field, &value);
            dbus_message_iter_get_basic(&value, &token);
            std::string sender = client.name.substr(1);
            std::replace(sender.begin(), sender.end(), '.', '_');
            m_requestPath = std::string(portalPath) + "/request/" + sender + "/" + token;
        }
    }
}

void ScriptedBus::send(Client& client, DBusMessage* message)
{
    if (!client.isAuthenticated) {
        return;
    }
    dbus_message_set_destination(message,
                                 dbus_message_has_interface(message, "org.freedesktop.DBus.Peer") != FALSE
                                     ? nullptr
                                     : client.name.c_str());
    // A copy, because a message that has a number keeps it.
    const OwnedMessage copy(dbus_message_copy(message));
    dbus_message_set_serial(copy.get(), ++m_serial);
    char* bytes = nullptr;
    int size = 0;
    dbus_message_marshal(copy.get(), &bytes, &size);
    sendBytes(client.socket, bytes, static_cast<std::size_t>(size));
    dbus_free(bytes);
}

void ScriptedBus::sendToAll(DBusMessage* message)
{
    for (const auto& client : m_clients) {
        send(*client, message);
    }
}

std::string ScriptedBus::anySignature(int depth)
{
    constexpr int deepest = 3;
    std::string signature;
    for (std::size_t count = m_script->choice(4); count > 0; --count) {
        const std::size_t index = m_script->choice(variants.size() + 1);
        if (index < variants.size()) {
            signature += variants[index];
        } else if (depth < deepest) {
            signature += "(y" + anySignature(depth + 1) + ")";
        }
    }
    return signature;
}

std::string ScriptedBus::signatureOr(const char* usual)
{
    return m_script->choice(4) == 3 ? anySignature(0) : usual;
}

std::string ScriptedBus::anyText()
{
    const std::size_t index = m_script->choice(texts.size() + 1);
    if (index < texts.size()) {
        return texts[index];
    }
    // What is no text ends the connection before anybody sees it.
    std::string text = m_script->text();
    text.resize(std::strlen(text.c_str()));
    return dbus_validate_utf8(text.c_str(), nullptr) != FALSE ? text : std::string();
}

std::string ScriptedBus::anyPath()
{
    const std::string text = anyText();
    return dbus_validate_path(text.c_str(), nullptr) != FALSE ? text
        : m_requestPath.empty()                               ? sessionPath
                                                              : m_requestPath;
}

void ScriptedBus::append(DBusMessage* message, const std::string& signature)
{
    if (signature.empty()) {
        return;
    }
    DBusMessageIter target;
    DBusSignatureIter types;
    dbus_message_iter_init_append(message, &target);
    dbus_signature_iter_init(&types, signature.c_str());
    do {
        append(&target, &types, 0);
    } while (dbus_signature_iter_next(&types) != FALSE);
}

void ScriptedBus::append(DBusMessageIter* target, DBusSignatureIter* signature, int depth)
{
    constexpr int deepest = 8;
    constexpr std::size_t mostElements = 6;
    constexpr std::array numbers{0.0,
                                 1.0,
                                 0.5,
                                 -1.0,
                                 2.0,
                                 1e308,
                                 std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN()};
    const int type = dbus_signature_iter_get_current_type(signature);
    switch (type) {
    case DBUS_TYPE_STRING:
    case DBUS_TYPE_OBJECT_PATH: {
        const std::string text = type == DBUS_TYPE_STRING ? anyText() : anyPath();
        const char* bytes = text.c_str();
        dbus_message_iter_append_basic(target, type, &bytes);
        break;
    }
    case DBUS_TYPE_SIGNATURE: {
        const char* text = m_script->oneOf(variants);
        dbus_message_iter_append_basic(target, type, &text);
        break;
    }
    case DBUS_TYPE_DOUBLE: {
        const double number = m_script->oneOf(numbers);
        dbus_message_iter_append_basic(target, type, &number);
        break;
    }
    case DBUS_TYPE_BOOLEAN: {
        const dbus_bool_t truth = m_script->isChosen() ? TRUE : FALSE;
        dbus_message_iter_append_basic(target, type, &truth);
        break;
    }
    case DBUS_TYPE_VARIANT: {
        const char* inner = depth < deepest ? m_script->oneOf(variants) : "u";
        DBusMessageIter variant;
        DBusSignatureIter types;
        dbus_message_iter_open_container(target, type, inner, &variant);
        dbus_signature_iter_init(&types, inner);
        append(&variant, &types, depth + 1);
        dbus_message_iter_close_container(target, &variant);
        break;
    }
    case DBUS_TYPE_ARRAY: {
        DBusSignatureIter element;
        DBusMessageIter array;
        dbus_signature_iter_recurse(signature, &element);
        const std::string elementSignature = taken(dbus_signature_iter_get_signature(signature)).substr(1);
        dbus_message_iter_open_container(target, type, elementSignature.c_str(), &array);
        for (std::size_t count = depth < deepest ? m_script->choice(mostElements) : 0; count > 0; --count) {
            append(&array, &element, depth + 1);
        }
        dbus_message_iter_close_container(target, &array);
        break;
    }
    case DBUS_TYPE_STRUCT:
    case DBUS_TYPE_DICT_ENTRY: {
        DBusSignatureIter field;
        DBusMessageIter fields;
        dbus_signature_iter_recurse(signature, &field);
        dbus_message_iter_open_container(target, type, nullptr, &fields);
        do {
            append(&fields, &field, depth + 1);
        } while (dbus_signature_iter_next(&field) != FALSE);
        dbus_message_iter_close_container(target, &fields);
        break;
    }
    default: {
        // Small numbers mean something more often.
        const std::uint64_t number = m_script->isChosen() ? m_script->number() : m_script->choice(4);
        dbus_message_iter_append_basic(target, type, &number);
        break;
    }
    }
}

} // namespace glimmerwick
