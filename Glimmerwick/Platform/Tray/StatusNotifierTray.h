#pragma once

#include "Platform/Tray/StatusNotifierItem.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QString>

class QMenu;

namespace glimmerwick {

class SessionBus;

/// Offers an icon and its menu to the trays on the session bus: to those that are there, and to each that
/// comes later. Waits for nobody. Where there is no bus or no tray, nothing happens. Main thread.
class StatusNotifierTray {
public:
    /// The bus and the menu must outlive it. The menu must not have submenus.
    StatusNotifierTray(const SessionBus& bus, QMenu& menu, StatusNotifierContent content);
    ~StatusNotifierTray();
    StatusNotifierTray(const StatusNotifierTray&) = delete;
    StatusNotifierTray& operator=(const StatusNotifierTray&) = delete;

private:
    void send(const QString& service, const QString& object, const QString& interface, const QString& method,
              const QVariantList& arguments);
    void registerWithWatcher();

    QDBusConnection m_bus;
    const QString m_name;
    QObject m_item;
    QObject m_menuObject;
    QDBusServiceWatcher m_watcher;
};

} // namespace glimmerwick
