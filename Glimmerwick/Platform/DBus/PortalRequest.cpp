#include "Platform/DBus/PortalRequest.h"

#include "Platform/DBus/PortalNames.h"
#include "Platform/Qt/Text.h"

#include <QDBusArgument>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>

#include <array>
#include <utility>

namespace glimmerwick {

namespace {

constexpr int usualTimeout = -1;

/// Where the portal puts the request of a token, from which older portals deviate.
QString predictedPath(const QDBusConnection& bus, const QString& token)
{
    const QString sender = bus.baseService().mid(1).replace('.', '_');
    return QString("%1/request/%2/%3").arg(portalName::object, sender, token);
}

PortalRequest::Outcome outcomeOf(const QDBusError& error)
{
    using Outcome = PortalRequest::Outcome;
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::UnknownMethod:
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownObject:
    case QDBusError::Disconnected:
        return Outcome::unavailable;
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        return Outcome::unanswered;
    default:
        // What went wrong with starting the portal.
        return error.name().startsWith("org.freedesktop.DBus.Error.Spawn.") ? Outcome::unavailable
                                                                            : Outcome::rejected;
    }
}

} // namespace

PortalRequest::PortalRequest(const QDBusConnection& bus, Call call, Patience patience,
                             std::function<void(const Answer&)> completion)
    : m_bus(bus), m_completion(std::move(completion)), m_name(call.interface + '.' + call.method)
{
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, this, [this] {
        finish(Answer{Outcome::unanswered, {}, toUtf8(m_name + ": no answer")});
    });
    send(std::move(call), patience);
}

PortalRequest::~PortalRequest()
{
    if (m_completion) {
        close();
    }
}

QString PortalRequest::unusedToken()
{
    static int count = 0;
    return QString("glimmerwick%1").arg(++count);
}

void PortalRequest::send(Call call, Patience patience)
{
    const QString token = unusedToken();
    m_path = predictedPath(m_bus, token);
    // Of every request: one that is not where it is expected may be answered before the call is.
    m_bus.connect(portalName::service, QString(), portalName::requestInterface, "Response", this,
                  SLOT(responded(const QDBusMessage&)));
    auto message =
        QDBusMessage::createMethodCall(portalName::service, portalName::object, call.interface, call.method);
    call.options["handle_token"] = token;
    call.arguments.push_back(call.options);
    message.setArguments(call.arguments);
    const int timeout = patience ? static_cast<int>(patience->count()) : usualTimeout;
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(message, timeout), this);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, this,
                     [this](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         callAnswered(finished->reply());
                     });
    if (patience) {
        m_timer.start(*patience);
    }
}

void PortalRequest::callAnswered(const QDBusMessage& reply)
{
    if (!m_completion) {
        return;
    }
    if (reply.type() == QDBusMessage::ErrorMessage) {
        const QDBusError error(reply);
        finish(Answer{
            outcomeOf(error), {}, toUtf8(QString("%1: %2: %3").arg(m_name, error.name(), error.message()))});
        return;
    }
    const QString path = reply.arguments().value(0).value<QDBusObjectPath>().path();
    if (!path.isEmpty()) {
        m_path = path;
    }
    m_isPathKnown = true;
    const auto others = std::exchange(m_others, {});
    if (const auto own = others.find(m_path); own != others.end()) {
        finish(own->second);
    }
}

void PortalRequest::responded(const QDBusMessage& signal)
{
    if (!m_completion || signal.signature() != "ua{sv}") {
        return;
    }
    const Response response{signal.arguments().at(0).toUInt(),
                            qdbus_cast<QVariantMap>(signal.arguments().at(1))};
    if (signal.path() == m_path) {
        finish(response);
    } else if (!m_isPathKnown) {
        m_others[signal.path()] = response;
    }
}

void PortalRequest::finish(const Response& response)
{
    constexpr std::array outcomes{Outcome::success, Outcome::cancelled};
    Answer answer;
    answer.outcome = response.code < outcomes.size() ? outcomes.at(response.code) : Outcome::ended;
    answer.results = response.results;
    if (answer.outcome != Outcome::success) {
        answer.problem = toUtf8(QString("%1: response %2").arg(m_name).arg(response.code));
    }
    finish(answer);
}

void PortalRequest::finish(const Answer& answer)
{
    m_timer.stop();
    if (m_completion && answer.outcome == Outcome::unanswered) {
        close();
    }
    if (const auto completion = std::exchange(m_completion, nullptr)) {
        completion(answer);
    }
}

void PortalRequest::close()
{
    auto message =
        QDBusMessage::createMethodCall(portalName::service, m_path, portalName::requestInterface, "Close");
    // A portal that has gone has forgotten it anyway.
    message.setAutoStartService(false);
    m_bus.call(message, QDBus::NoBlock);
}

} // namespace glimmerwick
