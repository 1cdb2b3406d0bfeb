#include "Platform/DBus/PortalSettings.h"

#include "Contract/EventLoop.h"
#include "Platform/DBus/SessionBus.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>

#include <memory>
#include <optional>
#include <vector>

namespace glimmerwick::contract {

/// A colour as the portal sends it.
struct ColorParts {
    double red;
    double green;
    double blue;
};

QDBusArgument& operator<<(QDBusArgument& argument, const ColorParts& color)
{
    argument.beginStructure();
    argument << color.red << color.green << color.blue;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ColorParts& color)
{
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    return argument;
}

} // namespace glimmerwick::contract

Q_DECLARE_METATYPE(glimmerwick::contract::ColorParts)

namespace glimmerwick::contract {

namespace {

using Settings = QMap<QString, QVariantMap>;
using ColorScheme = DesktopAppearance::ColorScheme;
using Contrast = DesktopAppearance::Contrast;
using Motion = DesktopAppearance::Motion;

const QString portalName = "org.freedesktop.portal.Desktop";
const QString portalPath = "/org/freedesktop/portal/desktop";
const QString settingsInterface = "org.freedesktop.portal.Settings";
const QString common = "org.freedesktop.appearance";
const QString gnome = "org.gnome.desktop.interface";
const QString kde = "org.kde.kdeglobals.KDE";

/// A settings portal, a program of its own on the bus.
class Portal : public QDBusVirtualObject {
public:
    explicit Portal(Settings initial)
        : settings(std::move(initial)),
          m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        qDBusRegisterMetaType<Settings>();
        qDBusRegisterMetaType<ColorParts>();
        EXPECT_TRUE(m_connection.registerVirtualObject(portalPath, this));
        EXPECT_TRUE(m_connection.registerService(portalName));
    }
    ~Portal() override { QDBusConnection::disconnectFromBus(connectionName); }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.interface() != settingsInterface || message.member() != "ReadAll") {
            return false;
        }
        ++requests;
        Settings asked;
        for (const QString& group : message.arguments().value(0).toStringList()) {
            if (settings.contains(group)) {
                asked[group] = settings[group];
            }
        }
        connection.send(message.createReply(answer.value_or(QVariant::fromValue(asked))));
        return true;
    }

    void change(const QString& group, const QString& key, const QVariant& value)
    {
        settings[group][key] = value;
        auto signal = QDBusMessage::createSignal(portalPath, settingsInterface, "SettingChanged");
        signal << group << key << QVariant::fromValue(QDBusVariant(value));
        m_connection.send(signal);
    }

    Settings settings;
    /// Given instead of the settings.
    std::optional<QVariant> answer;
    int requests = 0;

private:
    static constexpr const char* connectionName = "portal";
    QDBusConnection m_connection;
};

class PortalSettingsTests : public ::testing::Test {
protected:
    void follow()
    {
        settings = std::make_unique<PortalSettings>(
            bus, [this](const DesktopAppearance& appearance) { told.push_back(appearance); });
    }

    bool becomes(const DesktopAppearance& appearance)
    {
        return handleEventsUntil([&] { return settings->appearance() == appearance; });
    }

    SessionBus bus;
    std::vector<DesktopAppearance> told;
    std::unique_ptr<PortalSettings> settings;
};

DesktopAppearance with(ColorScheme scheme)
{
    DesktopAppearance appearance;
    appearance.colorScheme = scheme;
    return appearance;
}

DesktopAppearance with(Motion motion)
{
    DesktopAppearance appearance;
    appearance.motion = motion;
    return appearance;
}

TEST_F(PortalSettingsTests, everySettingIsRead)
{
    Portal portal({{common,
                    {{"color-scheme", 1U},
                     {"contrast", 1U},
                     {"reduced-motion", 1U},
                     {"accent-color", QVariant::fromValue(ColorParts{0.25, 0.5, 1})}}}});

    follow();

    ASSERT_TRUE(handleEventsUntil([&] { return !told.empty(); }));
    EXPECT_EQ(told.front().colorScheme, ColorScheme::dark);
    EXPECT_EQ(told.front().contrast, Contrast::high);
    EXPECT_EQ(told.front().motion, Motion::reduced);
    EXPECT_EQ(told.front().accentColor, (DesktopAppearance::Color{0.25, 0.5, 1}));
}

TEST_F(PortalSettingsTests, changesAreFollowed)
{
    Portal portal({{common, {{"color-scheme", 1U}}}});
    follow();
    ASSERT_TRUE(becomes(with(ColorScheme::dark)));

    portal.change(common, "color-scheme", 2U);
    EXPECT_TRUE(becomes(with(ColorScheme::light)));
    portal.change(common, "color-scheme", 0U);
    EXPECT_TRUE(becomes({}));

    EXPECT_EQ(told.size(), 3U);
}

TEST_F(PortalSettingsTests, aPortalThatComesLaterIsAsked)
{
    follow();
    EXPECT_EQ(settings->appearance(), DesktopAppearance());

    const Portal portal({{common, {{"color-scheme", 1U}}}});

    EXPECT_TRUE(becomes(with(ColorScheme::dark)));
}

TEST_F(PortalSettingsTests, whatAPortalSaidStaysWhenItIsReplaced)
{
    auto portal = std::make_unique<Portal>(Settings{{common, {{"color-scheme", 1U}}}});
    follow();
    ASSERT_TRUE(becomes(with(ColorScheme::dark)));

    portal.reset();
    portal = std::make_unique<Portal>(Settings{{common, {{"color-scheme", 1U}}}});
    ASSERT_TRUE(handleEventsUntil([&] { return portal->requests > 0; }));
    portal->change(common, "color-scheme", 2U);
    ASSERT_TRUE(becomes(with(ColorScheme::light)));

    EXPECT_EQ(told.size(), 2U) << "never told of a desktop without wishes";
}

TEST_F(PortalSettingsTests, theDesktopsOwnSettingsOfAnimationsCountWhereTheCommonOneIsMissing)
{
    Portal portal({{gnome, {{"enable-animations", false}}}});
    follow();
    EXPECT_TRUE(becomes(with(Motion::reduced)));

    portal.change(common, "reduced-motion", 0U);
    EXPECT_TRUE(becomes(with(Motion::full)));
    portal.settings.clear();
    portal.change(kde, "AnimationDurationFactor", "0");
    EXPECT_TRUE(becomes(with(Motion::reduced)));
    portal.change(kde, "AnimationDurationFactor", 0.5);
    EXPECT_TRUE(becomes(with(Motion::full)));
}

TEST_F(PortalSettingsTests, valuesWithoutSenseCountAsNone)
{
    Portal portal({{common,
                    {{"color-scheme", "dark"},
                     {"contrast", 7U},
                     {"reduced-motion", QVariantList()},
                     {"accent-color", QVariant::fromValue(ColorParts{-1, -1, -1})}}},
                   {gnome, {{"enable-animations", "maybe"}}}});
    follow();
    ASSERT_TRUE(handleEventsUntil([&] { return portal.requests > 0; }));
    portal.change(common, "accent-color", 5);
    ASSERT_TRUE(handleEventsUntil([&] { return portal.requests > 1; }));
    portal.settings.clear();
    portal.change(common, "color-scheme", 1U);

    ASSERT_TRUE(becomes(with(ColorScheme::dark)));
    EXPECT_EQ(told.size(), 1U) << "and nothing was told of before";
}

TEST_F(PortalSettingsTests, anAnswerOfAnotherFormIsIgnored)
{
    Portal portal({{common, {{"color-scheme", 1U}}}});
    portal.answer = "no settings today";
    follow();
    ASSERT_TRUE(handleEventsUntil([&] { return portal.requests > 0; }));

    portal.answer.reset();
    portal.change(common, "color-scheme", 2U);

    EXPECT_TRUE(becomes(with(ColorScheme::light)));
    EXPECT_EQ(told.size(), 1U);
}

TEST_F(PortalSettingsTests, settingsOfOthersAskForNothing)
{
    Portal portal({{common, {{"color-scheme", 1U}}}});
    follow();
    ASSERT_TRUE(becomes(with(ColorScheme::dark)));
    const int before = portal.requests;

    portal.change("org.example.other", "color-scheme", 2U);
    portal.change(common, "color-scheme", 2U);
    ASSERT_TRUE(becomes(with(ColorScheme::light)));

    EXPECT_EQ(portal.requests, before + 1);
}

} // namespace

} // namespace glimmerwick::contract
