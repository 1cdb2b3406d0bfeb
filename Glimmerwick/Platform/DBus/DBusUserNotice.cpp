#include "Platform/DBus/DBusUserNotice.h"

#include "Platform/DBus/SessionBus.h"
#include "Platform/Qt/Text.h"

#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

#include <utility>

namespace glimmerwick {

namespace {

constexpr unsigned replacesNothing = 0;
// The service decides how long a notice stays.
constexpr int usualTime = -1;

} // namespace

DBusUserNotice::DBusUserNotice(const SessionBus& bus, std::string bundleIdentifier)
    : m_bus(bus), m_bundleIdentifier(std::move(bundleIdentifier))
{
}

void DBusUserNotice::post(const NoticeContent& content)
{
    const QString identifier = toQString(m_bundleIdentifier);
    auto message =
        QDBusMessage::createMethodCall("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                                       "org.freedesktop.Notifications", "Notify");
    // Services may read the body as markup.
    message << QString("Glimmerwick") << replacesNothing << identifier << toQString(content.summary)
            << toQString(content.body).toHtmlEscaped() << QStringList()
            << QVariantMap{{"desktop-entry", identifier}} << usualTime;
    m_bus.connection().call(message, QDBus::NoBlock);
}

} // namespace glimmerwick
