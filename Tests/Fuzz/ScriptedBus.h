#pragma once

#include "Fuzz/FuzzScript.h"

#include <dbus/dbus.h>

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace glimmerwick {

struct MessageUnref {
    void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};

using OwnedMessage = std::unique_ptr<DBusMessage, MessageUnref>;

/// A session bus, and all the programs on it but the one that is tested. What they say to it, and answer when
/// it asks, is up to a script. Serves on a thread of its own and listens where the environment then says that
/// both buses are.
///
/// The script is read by that thread while the tested program is being served, and belongs to whoever calls
/// `settle` when that has returned.
class ScriptedBus {
public:
    ScriptedBus();
    ScriptedBus(const ScriptedBus&) = delete;
    ScriptedBus& operator=(const ScriptedBus&) = delete;

    /// From now on everybody goes by this script; null for nobody saying anything.
    void setScript(FuzzScript* script);

    /// Returns when all that was sent to the tested program is handled there and all that it sent has come
    /// here.
    void settle();

    /// A signal of the kind that the script chooses, or of another.
    void sendAnySignal();
    /// A call of the object at this path, one of its interfaces' or another. It is answered by the time of
    /// the next `settle`.
    void sendAnyCall(const std::string& path);

    std::size_t callCount() const { return m_callCount; }
    /// Of calls that want no answer.
    std::size_t quietCallCount() const { return m_quietCallCount; }
    std::size_t answerCount();

    /// What HandleArguments was last called with.
    const std::vector<std::string>& lastArguments() const { return m_lastArguments; }
    /// How many signals were sent that say that the screen is being locked.
    int lockCount() const { return m_lockCount; }

private:
    struct Client {
        int socket = -1;
        bool isAuthenticated = false;
        std::string name;
        std::string received;
        /// Up to where all was handled.
        std::size_t pongs = 0;
    };

    void serve();
    void accept();
    /// False when the client has gone.
    bool receive(Client& client);
    void authenticate(Client& client);
    void handle(Client& client, DBusMessage* message);
    void answerBus(Client& client, DBusMessage* message);
    void answerByScript(Client& client, DBusMessage* message);
    void rememberToken(const Client& client, DBusMessage* message);
    void send(Client& client, DBusMessage* message);
    void sendToAll(DBusMessage* message);
    std::string anySignature(int depth);
    std::string signatureOr(const char* usual);
    void append(DBusMessage* message, const std::string& signature);
    void append(DBusMessageIter* target, DBusSignatureIter* signature, int depth);
    std::string anyText();
    std::string anyPath();

    int m_listener = -1;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<std::unique_ptr<Client>> m_clients;
    FuzzScript* m_script = nullptr;
    int m_nameCount = 0;
    dbus_uint32_t m_serial = 0;
    std::size_t m_messageCount = 0;
    std::size_t m_callCount = 0;
    std::size_t m_quietCallCount = 0;
    std::size_t m_answerCount = 0;
    int m_lockCount = 0;
    std::string m_requestPath;
    std::vector<std::string> m_lastArguments;
};

} // namespace glimmerwick
