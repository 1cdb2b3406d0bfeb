#pragma once

#include <QDBusConnection>

#include <string>

namespace glimmerwick {

/// This program's own connection to the session bus, made with the object and closed with it. Needs no
/// QCoreApplication; only what others send is delivered by its event loop. Without a bus everything sent
/// is dropped. Main thread.
class SessionBus {
public:
    SessionBus();
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    /// False when there is no bus, and after it has gone.
    bool isConnected() const { return m_connection.isConnected(); }

    /// Why the bus cannot be reached.
    std::string problem() const;

    const QDBusConnection& connection() const { return m_connection; }

private:
    explicit SessionBus(const QString& name);

    QDBusConnection m_connection;
};

} // namespace glimmerwick
