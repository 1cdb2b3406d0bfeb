#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>

#include <functional>

namespace glimmerwick {

class SessionBus;

/// Tells that the screen is being locked, or the machine put to sleep, which locks it on most desktops. A
/// locker that cannot get the keyboard may give up, so whoever has it must let go. Main thread.
///
/// Screen savers speak on the session bus, the login manager on the system's, which is connected to here. A
/// bus that is not there stays silent.
class ScreenLockWatcher : public QObject {
    Q_OBJECT

public:
    ScreenLockWatcher(const SessionBus& sessionBus, std::function<void()> screenWillLock);
    ~ScreenLockWatcher() override;

private slots:
    void lock();
    /// The message as it came: asked for a boolean, Qt would end the program where somebody sends a
    /// structure.
    void lockIf(const QDBusMessage& message);

private:
    const std::function<void()> m_screenWillLock;
    QDBusConnection m_systemBus;
};

} // namespace glimmerwick
