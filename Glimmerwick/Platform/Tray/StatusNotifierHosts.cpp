#include "Platform/Tray/StatusNotifierHosts.h"

#include "Platform/DBus/SessionBus.h"
#include "Platform/Tray/StatusNotifierNames.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

#include <utility>

namespace glimmerwick {

StatusNotifierHosts::StatusNotifierHosts(const SessionBus& bus, std::function<void()> found)
    : m_bus(bus.connection()), m_found(std::move(found)),
      m_serviceWatcher(statusNotifier::watcher, m_bus,
                       QDBusServiceWatcher::WatchForRegistration
                           | QDBusServiceWatcher::WatchForUnregistration)
{
    if (!m_bus.isConnected()) {
        m_presence = Presence::none;
        return;
    }
    QObject::connect(&m_serviceWatcher, &QDBusServiceWatcher::serviceRegistered, this,
                     &StatusNotifierHosts::askWatcher);
    QObject::connect(&m_serviceWatcher, &QDBusServiceWatcher::serviceUnregistered, this,
                     [this] { tell(Presence::none); });
    // By any sender: asking costs little.
    for (const char* change : {"StatusNotifierHostRegistered", "StatusNotifierHostUnregistered"}) {
        m_bus.connect(QString(), statusNotifier::watcherObject, statusNotifier::watcher,
                      QString::fromLatin1(change), this, SLOT(askWatcher()));
    }
    askWatcher();
}

void StatusNotifierHosts::askWatcher()
{
    auto request = QDBusMessage::createMethodCall(statusNotifier::watcher, statusNotifier::watcherObject,
                                                  QStringLiteral("org.freedesktop.DBus.Properties"),
                                                  QStringLiteral("Get"));
    request << statusNotifier::watcher << QStringLiteral("IsStatusNotifierHostRegistered");
    request.setAutoStartService(false);
    auto* call = new QDBusPendingCallWatcher(m_bus.asyncCall(request), this);
    QObject::connect(call, &QDBusPendingCallWatcher::finished, this,
                     [this](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         if (finished->error().type() == QDBusError::NoReply) {
                             tell(Presence::unknown);
                             return;
                         }
                         const auto answer = finished->reply().arguments().value(0).value<QDBusVariant>();
                         tell(answer.variant() == QVariant(true) ? Presence::there : Presence::none);
                     });
}

void StatusNotifierHosts::tell(Presence presence)
{
    m_presence = presence;
    m_found();
}

} // namespace glimmerwick
