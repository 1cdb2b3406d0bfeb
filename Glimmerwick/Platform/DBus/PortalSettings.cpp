#include "Platform/DBus/PortalSettings.h"

#include "Platform/DBus/SessionBus.h"

#include <QDBusArgument>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMap>
#include <QStringList>

#include <optional>
#include <utility>

namespace glimmerwick {

namespace {

const QString portal = QStringLiteral("org.freedesktop.portal.Desktop");
const QString portalObject = QStringLiteral("/org/freedesktop/portal/desktop");
const QString settingsInterface = QStringLiteral("org.freedesktop.portal.Settings");

const QString appearanceNamespace = QStringLiteral("org.freedesktop.appearance");
// Reduced motion joined the common namespace late; until then each desktop had a setting of its own.
const QString gnomeNamespace = QStringLiteral("org.gnome.desktop.interface");
const QString kdeNamespace = QStringLiteral("org.kde.kdeglobals.KDE");

using Settings = QMap<QString, QVariantMap>;

/// The value inside as many variants as a portal may put around it.
QVariant unwrapped(QVariant value)
{
    constexpr int sensibleDepth = 4;
    for (int depth = 0; depth < sensibleDepth && value.canConvert<QDBusVariant>(); ++depth) {
        value = value.value<QDBusVariant>().variant();
    }
    return value;
}

std::optional<unsigned int> wholeNumber(const QVariant& value)
{
    bool isNumber = false;
    const unsigned int number = value.toUInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

std::optional<DesktopAppearance::Color> color(const QVariant& value)
{
    if (value.userType() != qMetaTypeId<QDBusArgument>()) {
        return std::nullopt;
    }
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("(ddd)")) {
        return std::nullopt;
    }
    DesktopAppearance::Color result;
    argument.beginStructure();
    argument >> result.red >> result.green >> result.blue;
    argument.endStructure();
    // Parts beyond their range are the portal's way to say that no colour was chosen.
    const auto isPart = [](double part) { return part >= 0 && part <= 1; };
    if (!isPart(result.red) || !isPart(result.green) || !isPart(result.blue)) {
        return std::nullopt;
    }
    return result;
}

void apply(const QString& group, const QString& key, const QVariant& value, DesktopAppearance& appearance)
{
    using ColorScheme = DesktopAppearance::ColorScheme;
    using Contrast = DesktopAppearance::Contrast;
    using Motion = DesktopAppearance::Motion;
    if (group == gnomeNamespace && key == QStringLiteral("enable-animations")) {
        appearance.motion = value.toBool() ? Motion::full : Motion::reduced;
    } else if (group == kdeNamespace && key == QStringLiteral("AnimationDurationFactor")) {
        bool isNumber = false;
        const double factor = value.toDouble(&isNumber);
        appearance.motion = isNumber && factor == 0 ? Motion::reduced : Motion::full;
    } else if (group != appearanceNamespace) {
        return;
    } else if (key == QStringLiteral("color-scheme")) {
        const auto scheme = wholeNumber(value);
        appearance.colorScheme = scheme == 1U ? ColorScheme::dark
            : scheme == 2U                    ? ColorScheme::light
                                              : ColorScheme::noPreference;
    } else if (key == QStringLiteral("contrast")) {
        appearance.contrast = wholeNumber(value) == 1U ? Contrast::high : Contrast::normal;
    } else if (key == QStringLiteral("reduced-motion")) {
        appearance.motion = wholeNumber(value) == 1U ? Motion::reduced : Motion::full;
    } else if (key == QStringLiteral("accent-color")) {
        appearance.accentColor = color(value);
    }
}

bool isFollowed(const QString& group)
{
    return group == appearanceNamespace || group == gnomeNamespace || group == kdeNamespace;
}

} // namespace

PortalSettings::PortalSettings(const SessionBus& sessionBus,
                               std::function<void(const DesktopAppearance&)> didChange)
    : m_bus(sessionBus.connection()), m_didChange(std::move(didChange)),
      m_portalWatcher(portal, m_bus, QDBusServiceWatcher::WatchForRegistration)
{
    if (!m_bus.isConnected()) {
        return;
    }
    m_bus.connect(portal, portalObject, settingsInterface, QStringLiteral("SettingChanged"), this,
                  SLOT(settingChanged(const QDBusMessage&)));
    // What a portal that has gone said stays in force, so that nothing flickers while it is replaced.
    QObject::connect(&m_portalWatcher, &QDBusServiceWatcher::serviceRegistered, this,
                     &PortalSettings::requestSettings);
    requestSettings();
}

void PortalSettings::requestSettings()
{
    auto request =
        QDBusMessage::createMethodCall(portal, portalObject, settingsInterface, QStringLiteral("ReadAll"));
    request << QStringList{appearanceNamespace, gnomeNamespace, kdeNamespace};
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(request), this);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, this,
                     [this](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         readSettings(finished->reply());
                     });
}

void PortalSettings::readSettings(const QDBusMessage& reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.signature() != QStringLiteral("a{sa{sv}}")) {
        return;
    }
    const auto settings = qdbus_cast<Settings>(reply.arguments().first());
    DesktopAppearance read;
    // The common namespace has the last word.
    for (const QString& group : {kdeNamespace, gnomeNamespace, appearanceNamespace}) {
        const QVariantMap values = settings.value(group);
        for (auto setting = values.begin(); setting != values.end(); ++setting) {
            apply(group, setting.key(), unwrapped(setting.value()), read);
        }
    }
    setAppearance(read);
}

// All of them anew: which setting counts depends on the others.
void PortalSettings::settingChanged(const QDBusMessage& message)
{
    if (isFollowed(message.arguments().value(0).toString())) {
        requestSettings();
    }
}

void PortalSettings::setAppearance(const DesktopAppearance& appearance)
{
    if (appearance != m_appearance) {
        m_appearance = appearance;
        m_didChange(m_appearance);
    }
}

} // namespace glimmerwick
