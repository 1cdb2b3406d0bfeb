#include "Platform/DBus/SessionBus.h"

#include "Platform/Qt/Text.h"

#include <QDBusError>

namespace glimmerwick {

namespace {

/// Qt knows its connections by name, and gives the same one for the same name.
QString unusedName()
{
    static int count = 0;
    return QString("com.glimmerwick.Glimmerwick/%1").arg(++count);
}

} // namespace

SessionBus::SessionBus() : SessionBus(unusedName()) { }

// Qt's shared connection is not to be made before the application object, and this one comes long before it.
SessionBus::SessionBus(const QString& name)
    : m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name))
{
}

SessionBus::~SessionBus()
{
    // A connection that never came about has no name to be closed by.
    QDBusConnection::disconnectFromBus(m_connection.name());
}

std::string SessionBus::problem() const
{
    return toUtf8(m_connection.lastError().message());
}

} // namespace glimmerwick
