#pragma once

#include "Platform/RemoteRequests.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QObject>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick {

class ClipboardManagerAdaptor;
class PickerAdaptor;
class SessionBus;
class TypeManagerAdaptor;

/// The one object that this program offers on the session bus, with all its interfaces. Every call gets an
/// answer: when it has been carried out, or why it was not. Calls that come before there is somebody to carry
/// them out wait, and so do their callers. Main thread.
class InstanceObject : public QObject {
public:
    /// Export it before the program's name is taken, so that nobody finds the name without the object. The
    /// bus must outlive it and need not be connected.
    InstanceObject(SessionBus& bus, const std::string& version);
    ~InstanceObject() override;

    /// Who carries out requests from now on; null for nobody, while none can be expected to come. Waiting
    /// ones are carried out before this returns.
    void setHandler(RemoteRequests* handler);

    void setState(PickerState state);
    TypeManagerAdaptor& typeManager() { return *m_typeManager; }
    ClipboardManagerAdaptor& clipboardManager() { return *m_clipboardManager; }

    // For the interfaces.
    void perform(PickerAction action, const QDBusMessage& message);
    void handleArguments(std::vector<std::string> arguments, const QDBusMessage& message);
    void refuse(const QDBusMessage& message, QDBusError::ErrorType type, const QString& reason);
    void send(const QDBusMessage& message);

private:
    /// Nothing, or why the request is refused.
    using Work = std::function<std::optional<std::string>(RemoteRequests&)>;

    struct Request {
        QDBusMessage message;
        Work work;
    };

    void carryOut(const QDBusMessage& message, Work work);
    void answer(const Request& request);
    void reply(const QDBusMessage& call, const QDBusMessage& answer);

    SessionBus& m_bus;
    RemoteRequests* m_handler = nullptr;
    std::vector<Request> m_waiting;
    /// Children of this object.
    PickerAdaptor* m_picker = nullptr;
    TypeManagerAdaptor* m_typeManager = nullptr;
    ClipboardManagerAdaptor* m_clipboardManager = nullptr;
};

} // namespace glimmerwick
