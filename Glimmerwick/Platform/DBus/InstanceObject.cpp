#include "Platform/DBus/InstanceObject.h"

#include "Platform/DBus/ApplicationAdaptor.h"
#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/ClipboardManagerAdaptor.h"
#include "Platform/DBus/PickerAdaptor.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/DBus/TypeManagerAdaptor.h"
#include "Platform/Qt/Text.h"

#include <utility>

namespace glimmerwick {

InstanceObject::InstanceObject(SessionBus& bus, const std::string& version) : m_bus(bus)
{
    new ApplicationAdaptor(*this);
    m_picker = new PickerAdaptor(*this, version);
    m_typeManager = new TypeManagerAdaptor(*this);
    m_clipboardManager = new ClipboardManagerAdaptor(*this);
    QDBusConnection(m_bus.connection()).registerObject(busName::object, this);
}

InstanceObject::~InstanceObject()
{
    QDBusConnection(m_bus.connection()).unregisterObject(busName::object);
}

void InstanceObject::setHandler(RemoteRequests* handler)
{
    m_handler = handler;
    if (!m_handler) {
        return;
    }
    for (const Request& request : std::exchange(m_waiting, {})) {
        answer(request);
    }
}

void InstanceObject::setState(PickerState state)
{
    m_picker->setState(state);
}

void InstanceObject::perform(PickerAction action, const QDBusMessage& message)
{
    carryOut(message, [action](RemoteRequests& handler) -> std::optional<std::string> {
        handler.perform(action);
        return std::nullopt;
    });
}

void InstanceObject::handleArguments(std::vector<std::string> arguments, const QDBusMessage& message)
{
    carryOut(message, [arguments = std::move(arguments)](RemoteRequests& handler) {
        return handler.handleArguments(arguments);
    });
}

void InstanceObject::carryOut(const QDBusMessage& message, Work work)
{
    message.setDelayedReply(true);
    const Request request{message, std::move(work)};
    if (m_handler) {
        answer(request);
    } else {
        m_waiting.push_back(request);
    }
}

void InstanceObject::answer(const Request& request)
{
    if (const auto problem = request.work(*m_handler)) {
        refuse(request.message, QDBusError::InvalidArgs, toQString(*problem));
    } else {
        reply(request.message, request.message.createReply());
    }
}

void InstanceObject::refuse(const QDBusMessage& message, QDBusError::ErrorType type, const QString& reason)
{
    message.setDelayedReply(true);
    reply(message, message.createErrorReply(type, reason));
}

void InstanceObject::reply(const QDBusMessage& call, const QDBusMessage& answer)
{
    if (call.isReplyRequired()) {
        send(answer);
    }
}

void InstanceObject::send(const QDBusMessage& message)
{
    m_bus.connection().send(message);
}

} // namespace glimmerwick
