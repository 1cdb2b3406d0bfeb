#include "Platform/DBus/RemoteDesktopSession.h"

#include "Platform/DBus/PortalNames.h"
#include "Platform/Qt/Text.h"

#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QTimer>

#include <utility>

namespace glimmerwick {

namespace {

const QString interface = QStringLiteral("org.freedesktop.portal.RemoteDesktop");

constexpr unsigned int keyboard = 1;
constexpr unsigned int untilRevoked = 2;

QDBusMessage callOf(const QString& path, const QString& calledInterface, const QString& method)
{
    auto message = QDBusMessage::createMethodCall(portalName::service, path, calledInterface, method);
    // A portal that has gone took the session with it, and is not to come back for this.
    message.setAutoStartService(false);
    return message;
}

} // namespace

RemoteDesktopSession::RemoteDesktopSession(const QDBusConnection& bus, const std::string& restoreToken,
                                           std::chrono::milliseconds patience, Callbacks callbacks)
    : m_bus(bus), m_restoreToken(toQString(restoreToken)), m_patience(patience),
      m_callbacks(std::move(callbacks))
{
    // Of every session: this one's name is not known before it is there, and then it may be over already.
    m_bus.connect(portalName::service, QString(), portalName::sessionInterface, "Closed", this,
                  SLOT(closed(const QDBusMessage&)));
    create();
}

RemoteDesktopSession::~RemoteDesktopSession()
{
    m_request.reset();
    if (!m_path.isEmpty()) {
        m_bus.call(callOf(m_path, portalName::sessionInterface, "Close"), QDBus::NoBlock);
    }
}

void RemoteDesktopSession::create()
{
    request({interface, "CreateSession", {}, {{"session_handle_token", PortalRequest::unusedToken()}}},
            m_patience, &RemoteDesktopSession::selectDevices);
}

void RemoteDesktopSession::selectDevices(const QVariantMap& results)
{
    // Portals send it as a text, although it names an object.
    const QVariant handle = results.value("session_handle");
    m_path =
        handle.canConvert<QDBusObjectPath>() ? handle.value<QDBusObjectPath>().path() : handle.toString();
    if (m_path.isEmpty()) {
        refuse({PortalRequest::Outcome::ended, {}, "CreateSession: no session"});
        return;
    }
    QVariantMap options{{"types", keyboard}, {"persist_mode", untilRevoked}};
    if (!m_restoreToken.isEmpty()) {
        options["restore_token"] = m_restoreToken;
    }
    request({interface, "SelectDevices", {QVariant::fromValue(QDBusObjectPath(m_path))}, options}, m_patience,
            &RemoteDesktopSession::start);
}

// The user may think about it as long as they like.
void RemoteDesktopSession::start(const QVariantMap& /*results*/)
{
    const QString noParentWindow;
    request({interface, "Start", {QVariant::fromValue(QDBusObjectPath(m_path)), noParentWindow}, {}},
            std::nullopt, &RemoteDesktopSession::accept);
}

void RemoteDesktopSession::accept(const QVariantMap& results)
{
    if ((results.value("devices").toUInt() & keyboard) == 0) {
        refuse({PortalRequest::Outcome::cancelled, {}, "Start: no keyboard among the devices"});
        return;
    }
    m_isGranted = true;
    answer(Grant{toUtf8(results.value("restore_token").toString())});
}

void RemoteDesktopSession::request(PortalRequest::Call call, PortalRequest::Patience patience, Handler next)
{
    m_request = std::make_unique<PortalRequest>(m_bus, std::move(call), patience,
                                                [this, next](const PortalRequest::Answer& answer) {
                                                    if (answer.outcome == PortalRequest::Outcome::success) {
                                                        (this->*next)(answer.results);
                                                    } else {
                                                        refuse(answer);
                                                    }
                                                });
}

void RemoteDesktopSession::refuse(const PortalRequest::Answer& reason)
{
    answer(Failure{reason});
}

void RemoteDesktopSession::answer(const Result<Grant, PortalRequest::Answer>& outcome)
{
    if (!std::exchange(m_isAnswered, true)) {
        // A copy, because it may end this session.
        const auto answered = m_callbacks.answered;
        answered(outcome);
    }
}

bool RemoteDesktopSession::notify(std::uint32_t symbol, KeyState state, std::chrono::milliseconds timeout)
{
    const auto reply = m_bus.call(keyCall(symbol, state), QDBus::Block, static_cast<int>(timeout.count()));
    return reply.type() == QDBusMessage::ReplyMessage;
}

void RemoteDesktopSession::post(std::uint32_t symbol, KeyState state)
{
    m_bus.call(keyCall(symbol, state), QDBus::NoBlock);
}

QDBusMessage RemoteDesktopSession::keyCall(std::uint32_t symbol, KeyState state) const
{
    auto message = callOf(portalName::object, interface, "NotifyKeyboardKeysym");
    message << QVariant::fromValue(QDBusObjectPath(m_path)) << QVariantMap() << static_cast<int>(symbol)
            << static_cast<unsigned int>(state);
    return message;
}

void RemoteDesktopSession::check()
{
    auto message = callOf(m_path, "org.freedesktop.DBus.Properties", "Get");
    message << portalName::sessionInterface << "version";
    auto* pending =
        new QDBusPendingCallWatcher(m_bus.asyncCall(message, static_cast<int>(m_patience.count())), this);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, this,
                     [this](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         if (finished->isError()) {
                             end();
                         }
                     });
}

void RemoteDesktopSession::closed(const QDBusMessage& signal)
{
    if (signal.path() != m_path) {
        return;
    }
    if (m_isGranted) {
        end();
        return;
    }
    // Portals close what was refused, and the answer says why. It may come after this, but not much later.
    QTimer::singleShot(m_patience, this, [this] {
        if (!m_isGranted) {
            refuse({PortalRequest::Outcome::ended, {}, "the session was closed"});
        }
    });
}

void RemoteDesktopSession::end()
{
    if (std::exchange(m_isGranted, false)) {
        const auto ended = m_callbacks.ended;
        ended();
    }
}

} // namespace glimmerwick
