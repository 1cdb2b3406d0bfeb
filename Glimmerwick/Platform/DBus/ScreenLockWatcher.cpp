#include "Platform/DBus/ScreenLockWatcher.h"

#include "Platform/DBus/SessionBus.h"

#include <QVariant>

#include <utility>

namespace glimmerwick {

namespace {

constexpr auto systemBusName = "com.glimmerwick.Glimmerwick/system";

// The freedesktop name, and those of the desktops that never took it up.
constexpr auto screenSavers = {"org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver",
                               "org.cinnamon.ScreenSaver", "org.mate.ScreenSaver", "org.xfce.ScreenSaver"};

constexpr auto loginManager = "org.freedesktop.login1.Manager";
constexpr auto loginSession = "org.freedesktop.login1.Session";

} // namespace

ScreenLockWatcher::ScreenLockWatcher(const SessionBus& sessionBus, std::function<void()> screenWillLock)
    : m_screenWillLock(std::move(screenWillLock)),
      m_systemBus(QDBusConnection::connectToBus(QDBusConnection::SystemBus, systemBusName))
{
    QDBusConnection session = sessionBus.connection();
    for (const char* screenSaver : screenSavers) {
        session.connect(QString(), QString(), screenSaver, "ActiveChanged", this,
                        SLOT(lockIf(const QDBusMessage&)));
    }
    // Of whichever session: a picker that hides without need does no harm.
    m_systemBus.connect(QString(), QString(), loginSession, "Lock", this, SLOT(lock()));
    m_systemBus.connect(QString(), QString(), loginManager, "PrepareForSleep", this,
                        SLOT(lockIf(const QDBusMessage&)));
}

ScreenLockWatcher::~ScreenLockWatcher()
{
    QDBusConnection::disconnectFromBus(systemBusName);
}

void ScreenLockWatcher::lock()
{
    m_screenWillLock();
}

void ScreenLockWatcher::lockIf(const QDBusMessage& message)
{
    const QVariant isActive = message.arguments().value(0);
    if (isActive.typeId() == QMetaType::Bool && isActive.toBool()) {
        lock();
    }
}

} // namespace glimmerwick
