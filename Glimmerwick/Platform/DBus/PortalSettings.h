#pragma once

#include "Platform/DesktopAppearance.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

#include <functional>

namespace glimmerwick {

class SessionBus;

/// Follows the appearance that the desktop asks for by org.freedesktop.portal.Settings, the interface that
/// programs of every desktop read it from. Without a portal, or from one that gives no sense, it is what a
/// desktop without wishes has. Main thread.
class PortalSettings : public QObject {
    Q_OBJECT

public:
    /// Asks at once; `didChange` runs later, from the event loop, each time the appearance is another one.
    PortalSettings(const SessionBus& sessionBus, std::function<void(const DesktopAppearance&)> didChange);

    const DesktopAppearance& appearance() const { return m_appearance; }

private slots:
    void settingChanged(const QDBusMessage& message);

private:
    void requestSettings();
    void readSettings(const QDBusMessage& reply);
    void setAppearance(const DesktopAppearance& appearance);

    QDBusConnection m_bus;
    const std::function<void(const DesktopAppearance&)> m_didChange;
    QDBusServiceWatcher m_portalWatcher;
    DesktopAppearance m_appearance;
};

} // namespace glimmerwick
