#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

#include <functional>

namespace glimmerwick {

class SessionBus;

/// Follows whether there is a tray on the session bus that shows the icons registered there. Main thread.
class StatusNotifierHosts : public QObject {
    Q_OBJECT

public:
    enum class Presence { unknown, there, none };

    /// Asks at once and waits for no answer. `found` runs from the event loop with each answer, also when it
    /// is the same.
    StatusNotifierHosts(const SessionBus& bus, std::function<void()> found);

    /// Unknown until the first answer, and while a tray's part on the bus does not answer.
    Presence presence() const { return m_presence; }

private slots:
    void askWatcher();

private:
    void tell(Presence presence);

    QDBusConnection m_bus;
    const std::function<void()> m_found;
    QDBusServiceWatcher m_serviceWatcher;
    Presence m_presence = Presence::unknown;
};

} // namespace glimmerwick
