#include "Platform/Tray/StatusNotifierTray.h"

#include "Platform/DBus/SessionBus.h"
#include "Platform/Tray/MenuOnBus.h"
#include "Platform/Tray/StatusNotifierNames.h"

#include <QCoreApplication>
#include <QDBusMessage>

#include <utility>

namespace glimmerwick {

namespace {

const QString busName = QStringLiteral("org.freedesktop.DBus");
const QString busObject = QStringLiteral("/org/freedesktop/DBus");

/// By the rule of trays: the process, and the number of the icon in it.
QString itemName()
{
    return QStringLiteral("org.kde.StatusNotifierItem-%1-1").arg(QCoreApplication::applicationPid());
}

} // namespace

StatusNotifierTray::StatusNotifierTray(const SessionBus& bus, QMenu& menu, StatusNotifierContent content)
    : m_bus(bus.connection()), m_name(itemName()),
      m_watcher(statusNotifier::watcher, m_bus, QDBusServiceWatcher::WatchForRegistration)
{
    if (!m_bus.isConnected()) {
        return;
    }
    new StatusNotifierItem(m_item, std::move(content));
    new MenuOnBus(m_menuObject, menu);
    m_bus.registerObject(statusNotifier::itemObject, &m_item);
    m_bus.registerObject(statusNotifier::menuObject, &m_menuObject);
    constexpr uint noFlags = 0;
    send(busName, busObject, busName, QStringLiteral("RequestName"), {m_name, noFlags});
    QObject::connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, &m_item,
                     [this] { registerWithWatcher(); });
    registerWithWatcher();
}

StatusNotifierTray::~StatusNotifierTray()
{
    if (m_bus.isConnected()) {
        send(busName, busObject, busName, QStringLiteral("ReleaseName"), {m_name});
        m_bus.unregisterObject(statusNotifier::menuObject);
        m_bus.unregisterObject(statusNotifier::itemObject);
    }
}

// The bus gives the name before it passes on what was sent afterwards, so no answer needs to be waited for.
void StatusNotifierTray::send(const QString& service, const QString& object, const QString& interface,
                              const QString& method, const QVariantList& arguments)
{
    auto message = QDBusMessage::createMethodCall(service, object, interface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    m_bus.call(message, QDBus::NoBlock);
}

void StatusNotifierTray::registerWithWatcher()
{
    send(statusNotifier::watcher, statusNotifier::watcherObject, statusNotifier::watcher,
         QStringLiteral("RegisterStatusNotifierItem"), {m_name});
}

} // namespace glimmerwick
