#include "Platform/DBus/SingleInstance.h"

#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Qt/Text.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QStringList>

#include <algorithm>

namespace glimmerwick {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Of the bus's own interface.
constexpr unsigned doNotQueue = 4;
constexpr unsigned isPrimaryOwner = 1;

QDBusMessage requestName()
{
    auto request = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                  "org.freedesktop.DBus", "RequestName");
    request << QString(busName::service) << doNotQueue;
    return request;
}

QDBusMessage handOver(const std::vector<std::string>& arguments)
{
    auto request = QDBusMessage::createMethodCall(busName::service, busName::object, busName::pickerInterface,
                                                  busName::handleArguments);
    // Who runs already is asked; the bus must not start one more.
    request.setAutoStartService(false);
    QStringList texts;
    for (const std::string& argument : arguments) {
        texts << toQString(argument);
    }
    request << texts;
    return request;
}

milliseconds remaining(Clock::time_point deadline)
{
    return std::max(std::chrono::duration_cast<milliseconds>(deadline - Clock::now()), milliseconds(1));
}

QDBusMessage call(const SessionBus& bus, const QDBusMessage& request, Clock::time_point deadline)
{
    return bus.connection().call(request, QDBus::Block, static_cast<int>(remaining(deadline).count()));
}

/// Whether the instance ended rather than refused: the bus answers in its place, and the name is free again.
bool hasEnded(const QDBusMessage& reply)
{
    const auto type = QDBusError(reply).type();
    return type == QDBusError::NoReply || type == QDBusError::ServiceUnknown
        || reply.errorName() == "org.freedesktop.DBus.Error.NameHasNoOwner";
}

} // namespace

Result<Instance, std::string> claimInstance(const SessionBus& bus, const std::vector<std::string>& arguments,
                                            std::chrono::milliseconds timeout)
{
    const auto deadline = Clock::now() + timeout;
    do {
        const QDBusMessage claimed = call(bus, requestName(), deadline);
        if (claimed.type() != QDBusMessage::ReplyMessage) {
            return Failure{"the session bus refuses the program's name: " + toUtf8(claimed.errorMessage())};
        }
        if (claimed.arguments().value(0).toUInt() == isPrimaryOwner) {
            return Instance::first;
        }
        const QDBusMessage answer = call(bus, handOver(arguments), deadline);
        if (answer.type() == QDBusMessage::ReplyMessage) {
            return Instance::further;
        }
        if (!hasEnded(answer)) {
            return Failure{"the running picker refuses: " + toUtf8(answer.errorMessage())};
        }
        // It was on its way out: the name may be had now. A time-out looks the same, and ends this loop.
    } while (Clock::now() < deadline);
    return Failure{std::string("the picker that runs already does not answer")};
}

} // namespace glimmerwick
