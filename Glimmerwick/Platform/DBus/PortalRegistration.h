#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>

#include <string>

namespace glimmerwick {

class SessionBus;

/// Tells the desktop portal which application this connection is, by which it remembers what the user has
/// allowed. Portals that have no way to be told find out by themselves, or treat the program as one without a
/// name. Main thread.
class PortalRegistration {
public:
    /// The identifier is that of the program's desktop file.
    PortalRegistration(const SessionBus& bus, const std::string& bundleIdentifier);

    /// To be called before whatever else is asked of the portal: it takes the name of a connection only as
    /// its first call. Nothing is sent to a portal that was told already. Starts the portal; waits for
    /// nothing.
    void announce();

private:
    QDBusConnection m_bus;
    const QString m_bundleIdentifier;
    QDBusServiceWatcher m_portalWatcher;
    bool m_isAnnounced = false;
};

} // namespace glimmerwick
