#include "Platform/DBus/PortalShortcut.h"

#include "Contract/EventLoop.h"

#include <gmock/gmock.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// As portals take and give it.
struct DescribedShortcut {
    QString id;
    QVariantMap properties;
};

QDBusArgument& operator<<(QDBusArgument& argument, const DescribedShortcut& shortcut)
{
    argument.beginStructure();
    argument << shortcut.id << shortcut.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DescribedShortcut& shortcut)
{
    argument.beginStructure();
    argument >> shortcut.id >> shortcut.properties;
    argument.endStructure();
    return argument;
}

} // namespace glimmerwick::contract

Q_DECLARE_METATYPE(glimmerwick::contract::DescribedShortcut)

namespace glimmerwick::contract {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Shortcuts = QList<DescribedShortcut>;

const QString portalName = "org.freedesktop.portal.Desktop";
const QString portalPath = "/org/freedesktop/portal/desktop";
const QString shortcutsInterface = "org.freedesktop.portal.GlobalShortcuts";
const QString registryInterface = "org.freedesktop.host.portal.Registry";
const QString sessionInterface = "org.freedesktop.portal.Session";

/// A portal, a program of its own on the bus.
class Portal : public QDBusVirtualObject {
public:
    /// How it treats the request to bind the shortcut.
    enum class Manner { gives, givesNoKeys, isDeclined, refuses, closesAfterwards };

    explicit Portal(Manner manner = Manner::gives)
        : m_manner(manner),
          m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        qDBusRegisterMetaType<DescribedShortcut>();
        qDBusRegisterMetaType<Shortcuts>();
        EXPECT_TRUE(m_connection.registerVirtualObject(portalPath, this, QDBusConnection::SubPath));
        EXPECT_TRUE(m_connection.registerService(portalName));
    }
    ~Portal() override { QDBusConnection::disconnectFromBus(connectionName); }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        calls.push_back(message.member().toStdString());
        if (isSilent) {
            message.setDelayedReply(true);
            return true;
        }
        if (message.interface() == registryInterface && hasRegistry) {
            registeredName = message.arguments().value(0).toString();
            connection.send(message.createReply());
        } else if (message.interface() == sessionInterface) {
            connection.send(message.createReply());
        } else if (message.interface() == shortcutsInterface && hasShortcuts) {
            answer(message);
        } else {
            return false;
        }
        return true;
    }

    int count(const std::string& member) const
    {
        return static_cast<int>(std::count(calls.begin(), calls.end(), member));
    }

    void press(const QString& id = "toggle", const std::optional<QString>& otherSession = std::nullopt)
    {
        tell("Activated", id, otherSession.value_or(session));
    }

    void changeKeys(const QString& trigger)
    {
        auto signal = QDBusMessage::createSignal(portalPath, shortcutsInterface, "ShortcutsChanged");
        signal << QVariant::fromValue(QDBusObjectPath(session))
               << QVariant::fromValue(Shortcuts{{"toggle", {{"trigger_description", trigger}}}});
        m_connection.send(signal);
    }

    void closeSession()
    {
        auto signal = QDBusMessage::createSignal(session, sessionInterface, "Closed");
        signal << QVariantMap();
        m_connection.send(signal);
    }

    bool isSilent = false;
    bool hasShortcuts = true;
    bool hasRegistry = true;

    std::vector<std::string> calls;
    QString registeredName;
    QString session;
    DescribedShortcut asked;

private:
    void tell(const QString& member, const QString& id, const QString& ofSession)
    {
        auto signal = QDBusMessage::createSignal(portalPath, shortcutsInterface, member);
        signal << QVariant::fromValue(QDBusObjectPath(ofSession)) << id << qulonglong(0) << QVariantMap();
        m_connection.send(signal);
    }

    void answer(const QDBusMessage& message)
    {
        const auto options = qdbus_cast<QVariantMap>(message.arguments().last());
        const QString sender = message.service().mid(1).replace('.', '_');
        const QString request = portalPath + "/request/" + sender + "/" + options["handle_token"].toString();
        m_connection.send(message.createReply(QVariant::fromValue(QDBusObjectPath(request))));
        auto response = QDBusMessage::createTargetedSignal(message.service(), request,
                                                           "org.freedesktop.portal.Request", "Response");
        if (message.member() == "CreateSession") {
            session = portalPath + "/session/" + sender + "/" + options["session_handle_token"].toString();
            response << 0U << QVariantMap{{"session_handle", session}};
        } else {
            asked = qdbus_cast<Shortcuts>(message.arguments().value(1)).value(0);
            EXPECT_EQ(message.arguments().value(0).value<QDBusObjectPath>().path(), session);
            response << outcome() << results();
        }
        m_connection.send(response);
        if (message.member() != "CreateSession" && m_manner == Manner::closesAfterwards) {
            closeSession();
        }
    }

    unsigned int outcome() const
    {
        return m_manner == Manner::isDeclined ? 1U : m_manner == Manner::refuses ? 2U : 0U;
    }

    QVariantMap results() const
    {
        if (outcome() != 0) {
            return {};
        }
        QVariantMap properties{{"description", "Show"}};
        if (m_manner != Manner::givesNoKeys) {
            properties["trigger_description"] = "Ctrl+Super+Space";
        }
        return {{"shortcuts", QVariant::fromValue(Shortcuts{{"toggle", properties}})}};
    }

    static constexpr const char* connectionName = "shortcut portal";
    const Manner m_manner;
    QDBusConnection m_connection;
};

class PortalShortcutTests : public ::testing::Test {
protected:
    void install()
    {
        port = shortcut.create(options, [this](const KeyEvent& event) {
            presses.push_back(event);
            return TapDecision::swallow;
        });
        ASSERT_NE(port, nullptr);
        source = port->createRunLoopSource();
        port->setEnabled(true);
    }

    static bool isBound(const Portal& portal, int times = 1)
    {
        return handleEventsUntil([&] { return portal.count("BindShortcuts") == times; });
    }

    bool isReported(std::size_t count = 1)
    {
        return handleEventsUntil([&] { return problems.size() == count; });
    }

    bool pressArrives(Portal& portal)
    {
        const std::size_t before = presses.size();
        portal.press();
        return handleEventsUntil([&] { return presses.size() > before; });
    }

    std::vector<std::string> problems;
    std::vector<KeyEvent> presses;
    PortalShortcut shortcut{[this](const std::string& reason) { problems.push_back(reason); },
                            std::chrono::milliseconds(500)};
    EventTap::Options options{
        KeyCombination{keyCode::space, eventFlag::control | eventFlag::command, eventFlag::shift}};
    std::unique_ptr<EventTapPort> port;
    std::unique_ptr<RunLoopSource> source;
};

TEST_F(PortalShortcutTests, otherTapsAreRefused)
{
    const auto ignore = [](const KeyEvent&) { return TapDecision::pass; };

    EXPECT_EQ(shortcut.create({}, ignore), nullptr);
    EXPECT_EQ(shortcut.create({KeyCombination{keyCode::v, eventFlag::command, 0}}, ignore), nullptr);
}

TEST_F(PortalShortcutTests, theProgramSaysWhoItIsAndWhichKeysItWants)
{
    Portal portal;

    install();

    ASSERT_TRUE(isBound(portal));
    EXPECT_THAT(portal.calls, ElementsAre("Register", "CreateSession", "BindShortcuts"));
    EXPECT_EQ(portal.registeredName, "com.glimmerwick.Glimmerwick");
    EXPECT_EQ(portal.asked.id, "toggle");
    EXPECT_EQ(portal.asked.properties["preferred_trigger"].toString(), "CTRL+LOGO+space");
    EXPECT_FALSE(portal.asked.properties["description"].toString().isEmpty());
}

TEST_F(PortalShortcutTests, everyPressArrivesOnce)
{
    Portal portal;
    install();
    ASSERT_TRUE(isBound(portal));

    portal.press("other");
    portal.press("toggle", portalPath + "/session/other");
    ASSERT_TRUE(pressArrives(portal));
    EXPECT_EQ(presses.size(), 1U);
    ASSERT_TRUE(pressArrives(portal));

    ASSERT_EQ(presses.size(), 2U);
    EXPECT_EQ(presses[0].type, EventType::keyDown);
    EXPECT_EQ(presses[0].keyCode, keyCode::space);
    EXPECT_EQ(presses[0].flags, eventFlag::control | eventFlag::command);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(PortalShortcutTests, everyRepeatThatAPortalTellsOfPressesTheShortcut)
{
    Portal portal;
    install();
    ASSERT_TRUE(isBound(portal));
    ASSERT_TRUE(pressArrives(portal));

    portal.press();
    portal.press();
    // Comes after them.
    portal.changeKeys("");
    ASSERT_TRUE(isReported());

    EXPECT_EQ(presses.size(), 3U);
}

TEST_F(PortalShortcutTests, aPortalThatCannotBeToldTheNameWorksToo)
{
    Portal portal;
    portal.hasRegistry = false;
    install();
    ASSERT_TRUE(isBound(portal));

    EXPECT_TRUE(pressArrives(portal));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(PortalShortcutTests, aPortalWithoutShortcutsIsReported)
{
    Portal portal;
    portal.hasShortcuts = false;

    install();

    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("no shortcuts")));
}

TEST_F(PortalShortcutTests, aUserWhoDeclinesIsNotAskedAgain)
{
    auto portal = std::make_unique<Portal>(Portal::Manner::isDeclined);
    install();
    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre("it was declined"));

    portal.reset();
    portal = std::make_unique<Portal>();
    // Another tap is asked for after whatever the first one would ask now.
    const auto another = shortcut.create(options, [](const KeyEvent&) { return TapDecision::swallow; });
    ASSERT_TRUE(isBound(*portal));

    EXPECT_EQ(portal->count("CreateSession"), 1) << "the other tap's";
}

TEST_F(PortalShortcutTests, aRefusalIsReported)
{
    Portal portal(Portal::Manner::refuses);

    install();

    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("refuses")));
}

TEST_F(PortalShortcutTests, aShortcutWithoutKeysIsReportedUntilItHasSome)
{
    Portal portal(Portal::Manner::givesNoKeys);
    install();
    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("no keys")));

    portal.changeKeys("Super+E");
    ASSERT_TRUE(pressArrives(portal));
    portal.changeKeys("");

    EXPECT_TRUE(isReported(2));
}

TEST_F(PortalShortcutTests, aSessionThatIsClosedIsReplaced)
{
    Portal portal;
    install();
    ASSERT_TRUE(isBound(portal));
    ASSERT_TRUE(pressArrives(portal));

    portal.closeSession();

    ASSERT_TRUE(isBound(portal, 2));
    EXPECT_TRUE(pressArrives(portal));
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(PortalShortcutTests, aPortalThatClosesEverySessionIsGivenUp)
{
    Portal portal(Portal::Manner::closesAfterwards);

    install();

    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("again and again")));
    EXPECT_EQ(portal.count("CreateSession"), 4);
}

TEST_F(PortalShortcutTests, aPortalThatComesBackIsAskedAnew)
{
    auto portal = std::make_unique<Portal>();
    install();
    constexpr int moreOftenThanItIsTriedInVain = 6;
    for (int time = 0; time < moreOftenThanItIsTriedInVain; ++time) {
        ASSERT_TRUE(isBound(*portal));
        ASSERT_TRUE(pressArrives(*portal));
        portal.reset();
        portal = std::make_unique<Portal>();
    }

    EXPECT_TRUE(isBound(*portal));
    EXPECT_EQ(portal->count("Register"), 1);
    EXPECT_EQ(portal->count("CreateSession"), 1);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(PortalShortcutTests, aPortalThatComesLaterIsAskedThen)
{
    install();
    ASSERT_TRUE(isReported());

    Portal portal;

    ASSERT_TRUE(isBound(portal));
    EXPECT_TRUE(pressArrives(portal));
    EXPECT_EQ(problems.size(), 1U);
}

TEST_F(PortalShortcutTests, aPortalThatDoesNotAnswerIsReported)
{
    Portal portal;
    portal.isSilent = true;

    install();

    ASSERT_TRUE(isReported());
    EXPECT_THAT(problems, ElementsAre(HasSubstr("does not answer")));
}

TEST_F(PortalShortcutTests, theSessionIsClosedWithTheTap)
{
    Portal portal;
    install();
    ASSERT_TRUE(isBound(portal));
    ASSERT_TRUE(pressArrives(portal));

    port.reset();

    EXPECT_TRUE(handleEventsUntil([&] { return portal.calls.back() == "Close"; }));
}

TEST_F(PortalShortcutTests, theCallbackMayRemoveTheTap)
{
    Portal portal;
    int count = 0;
    port = shortcut.create(options, [&](const KeyEvent&) {
        ++count;
        source.reset();
        port.reset();
        return TapDecision::swallow;
    });
    source = port->createRunLoopSource();
    port->setEnabled(true);
    ASSERT_TRUE(isBound(portal));

    // Handled before the session is known, they would be nothing.
    EXPECT_TRUE(handleEventsUntil([&] {
        portal.press();
        return !portal.calls.empty() && portal.calls.back() == "Close";
    }));
    EXPECT_EQ(count, 1);
}

} // namespace

} // namespace glimmerwick::contract
