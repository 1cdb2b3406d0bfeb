#include "Platform/DBus/PortalRegistration.h"

#include "Platform/DBus/PortalNames.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Qt/Text.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QVariantMap>

namespace glimmerwick {

PortalRegistration::PortalRegistration(const SessionBus& bus, const std::string& bundleIdentifier)
    : m_bus(bus.connection()), m_bundleIdentifier(toQString(bundleIdentifier)),
      m_portalWatcher(portalName::service, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    // A portal that comes afterwards knows nothing of what its predecessor was told.
    QObject::connect(&m_portalWatcher, &QDBusServiceWatcher::serviceOwnerChanged, &m_portalWatcher,
                     [this](const QString&, const QString& predecessor) {
                         m_isAnnounced = m_isAnnounced && predecessor.isEmpty();
                     });
}

void PortalRegistration::announce()
{
    if (m_isAnnounced) {
        return;
    }
    m_isAnnounced = true;
    auto message = QDBusMessage::createMethodCall(portalName::service, portalName::object,
                                                  portalName::registryInterface, "Register");
    message << m_bundleIdentifier << QVariantMap();
    auto* const answer = new QDBusPendingCallWatcher(m_bus.asyncCall(message), &m_portalWatcher);
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, &m_portalWatcher, [this, answer] {
        // One that lacks the interface was told as well as it can be.
        m_isAnnounced = m_isAnnounced && answer->error().type() != QDBusError::ServiceUnknown;
        answer->deleteLater();
    });
}

} // namespace glimmerwick
