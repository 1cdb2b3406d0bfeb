#include "Platform/DBus/KGlobalAccelShortcut.h"

#include "Contract/EventLoop.h"
#include "Platform/DBus/SessionBus.h"

#include <gmock/gmock.h>

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVirtualObject>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace glimmerwick::contract {

/// As the daemon takes and gives it.
struct DaemonKeys {
    QList<int> combinations;
};

QDBusArgument& operator<<(QDBusArgument& argument, const DaemonKeys& keys)
{
    argument.beginStructure();
    argument << keys.combinations;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, DaemonKeys& keys)
{
    argument.beginStructure();
    argument >> keys.combinations;
    argument.endStructure();
    return argument;
}

} // namespace glimmerwick::contract

Q_DECLARE_METATYPE(glimmerwick::contract::DaemonKeys)

namespace glimmerwick::contract {

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const QString daemonName = "org.kde.kglobalaccel";
const QString component = "com.glimmerwick.Glimmerwick";
constexpr int controlSuperSpace = 0x10000000 + 0x04000000 + 0x20;
constexpr unsigned int inUse = 2;
constexpr unsigned int byDefault = 8;

/// Plasma's service for shortcuts, a program of its own on the bus.
class Daemon : public QDBusVirtualObject {
public:
    Daemon() : m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, connectionName))
    {
        qDBusRegisterMetaType<DaemonKeys>();
        qDBusRegisterMetaType<QList<DaemonKeys>>();
        EXPECT_TRUE(m_connection.registerVirtualObject("/kglobalaccel", this));
        EXPECT_TRUE(m_connection.registerService(daemonName));
    }
    ~Daemon() override { QDBusConnection::disconnectFromBus(connectionName); }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.interface() != "org.kde.KGlobalAccel") {
            return false;
        }
        calls.push_back(message.member().toStdString());
        if (isSilent) {
            message.setDelayedReply(true);
            return true;
        }
        const QVariantList arguments = message.arguments();
        if (message.member() == "setShortcutKeys") {
            actionId = arguments.value(0).toStringList();
            const auto asked = qdbus_cast<QList<DaemonKeys>>(arguments.value(1));
            if (arguments.value(2).toUInt() == byDefault) {
                defaultKeys = asked.value(0).combinations;
            } else if (arguments.value(2).toUInt() == inUse) {
                askedKeys = asked.value(0).combinations;
            }
            connection.send(message.createReply(QVariant::fromValue(QList<DaemonKeys>{{givenKeys}})));
        } else if (message.member() == "actionList") {
            connection.send(message.createReply(QVariant::fromValue(ownerOfKeys)));
        } else {
            connection.send(message.createReply());
        }
        return true;
    }

    void press(const QString& ofComponent = component, const QString& action = "toggle")
    {
        tell("globalShortcutPressed", ofComponent, action);
    }

    void changeKeys(const QList<int>& keys)
    {
        auto signal =
            QDBusMessage::createSignal("/kglobalaccel", "org.kde.KGlobalAccel", "yourShortcutsChanged");
        signal << actionId << QVariant::fromValue(QList<DaemonKeys>{{keys}});
        m_connection.send(signal);
    }

    /// What it answers to the wish for keys; none when another action has them.
    QList<int> givenKeys{controlSuperSpace, 0, 0, 0};
    QStringList ownerOfKeys;
    bool isSilent = false;

    std::vector<std::string> calls;
    QStringList actionId;
    QList<int> defaultKeys;
    QList<int> askedKeys;

private:
    void tell(const QString& member, const QString& ofComponent, const QString& action)
    {
        auto signal = QDBusMessage::createSignal("/component/com_glimmerwick_Glimmerwick",
                                                 "org.kde.kglobalaccel.Component", member);
        signal << ofComponent << action << qlonglong(0);
        m_connection.send(signal);
    }

    static constexpr const char* connectionName = "kglobalaccel";
    QDBusConnection m_connection;
};

class KGlobalAccelShortcutTests : public ::testing::Test {
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

    static bool isAsked(const Daemon& daemon)
    {
        return handleEventsUntil([&] { return !daemon.askedKeys.empty(); });
    }

    bool pressArrives(Daemon& daemon)
    {
        const std::size_t before = presses.size();
        daemon.press();
        return handleEventsUntil([&] { return presses.size() > before; });
    }

    SessionBus bus;
    std::vector<std::string> problems;
    std::vector<KeyEvent> presses;
    KGlobalAccelShortcut shortcut{bus, [this](const std::string& reason) { problems.push_back(reason); },
                                  std::chrono::milliseconds(200)};
    EventTap::Options options{
        KeyCombination{keyCode::space, eventFlag::control | eventFlag::command, eventFlag::shift}};
    std::unique_ptr<EventTapPort> port;
    std::unique_ptr<RunLoopSource> source;
};

TEST_F(KGlobalAccelShortcutTests, otherTapsAreRefused)
{
    const auto ignore = [](const KeyEvent&) { return TapDecision::pass; };

    EXPECT_EQ(shortcut.create({}, ignore), nullptr);
    EXPECT_EQ(
        shortcut.create({KeyCombination{keyCode::v, eventFlag::control | eventFlag::command, 0}}, ignore),
        nullptr);
    EXPECT_EQ(shortcut.create({KeyCombination{keyCode::space, eventFlag::command, 0}}, ignore), nullptr);
}

TEST_F(KGlobalAccelShortcutTests, theActionIsMadeKnownWithItsDefaultKeysAndPutIntoUse)
{
    Daemon daemon;

    install();

    ASSERT_TRUE(isAsked(daemon));
    EXPECT_EQ(daemon.calls.front(), "doRegister");
    EXPECT_EQ(daemon.defaultKeys, daemon.askedKeys);
    EXPECT_EQ(daemon.askedKeys.value(0), controlSuperSpace);
    EXPECT_EQ(daemon.actionId.value(0), component);
}

TEST_F(KGlobalAccelShortcutTests, everyPressArrivesOnce)
{
    Daemon daemon;
    install();
    ASSERT_TRUE(isAsked(daemon));

    daemon.press("org.example.Other");
    daemon.press(component, "other");
    ASSERT_TRUE(pressArrives(daemon));
    EXPECT_EQ(presses.size(), 1U);
    ASSERT_TRUE(pressArrives(daemon));

    ASSERT_EQ(presses.size(), 2U);
    EXPECT_EQ(presses[0].type, EventType::keyDown);
    EXPECT_EQ(presses[0].keyCode, keyCode::space);
    EXPECT_EQ(presses[0].flags, eventFlag::control | eventFlag::command);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KGlobalAccelShortcutTests, everyRepeatOfKeysThatAreHeldPressesTheShortcut)
{
    Daemon daemon;
    install();
    ASSERT_TRUE(isAsked(daemon));

    daemon.press();
    daemon.press();
    daemon.press();
    // Comes after them.
    daemon.changeKeys({});
    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));

    EXPECT_EQ(presses.size(), 3U);
}

TEST_F(KGlobalAccelShortcutTests, aDisabledTapHearsNothing)
{
    Daemon daemon;
    install();
    ASSERT_TRUE(isAsked(daemon));

    port->setEnabled(false);
    daemon.press();
    // Its answer comes after the press.
    daemon.changeKeys({});
    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));

    EXPECT_THAT(presses, IsEmpty());
}

TEST_F(KGlobalAccelShortcutTests, keysThatTheUserChoseAreNoProblem)
{
    Daemon daemon;
    constexpr int superPeriod = 0x10000000 + 0x2e;
    daemon.givenKeys = {superPeriod, 0, 0, 0};
    install();
    ASSERT_TRUE(isAsked(daemon));

    EXPECT_TRUE(pressArrives(daemon));

    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KGlobalAccelShortcutTests, keysOfAnotherActionAreReportedWithItsName)
{
    Daemon daemon;
    daemon.givenKeys = {0, 0, 0, 0};
    daemon.ownerOfKeys = {"org.example.Other", "act", "Other", "Do Something"};

    install();

    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("Other, Do Something")));
}

TEST_F(KGlobalAccelShortcutTests, keysThatTheUserTakesAwayAreReportedOnceEachTime)
{
    Daemon daemon;
    install();
    ASSERT_TRUE(isAsked(daemon));

    daemon.changeKeys({});
    daemon.changeKeys({0, 0, 0, 0});
    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    daemon.changeKeys({controlSuperSpace, 0, 0, 0});
    ASSERT_TRUE(pressArrives(daemon));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("no keys")));
    daemon.changeKeys({});

    EXPECT_TRUE(handleEventsUntil([&] { return problems.size() == 2; }));
}

TEST_F(KGlobalAccelShortcutTests, aDaemonThatComesLaterIsAskedThen)
{
    install();
    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("does not run")));

    Daemon daemon;

    ASSERT_TRUE(isAsked(daemon));
    EXPECT_TRUE(pressArrives(daemon));
    EXPECT_EQ(problems.size(), 1U);
}

TEST_F(KGlobalAccelShortcutTests, aDaemonThatIsReplacedIsAskedAnew)
{
    auto daemon = std::make_unique<Daemon>();
    install();
    ASSERT_TRUE(isAsked(*daemon));
    ASSERT_TRUE(pressArrives(*daemon));

    daemon.reset();
    daemon = std::make_unique<Daemon>();

    ASSERT_TRUE(isAsked(*daemon));
    EXPECT_TRUE(pressArrives(*daemon));
    EXPECT_EQ(presses.size(), 2U);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KGlobalAccelShortcutTests, aDaemonThatDoesNotAnswerIsReportedAndHoldsUpNothing)
{
    Daemon daemon;
    daemon.isSilent = true;

    install();
    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("does not answer")));
    port.reset();

    EXPECT_TRUE(handleEventsUntil([&] { return daemon.calls.back() == "setInactive"; }));
}

TEST_F(KGlobalAccelShortcutTests, theKeysAreLetGoEvenWhenTheProgramEndsAtOnce)
{
    Daemon daemon;
    auto ending = std::make_unique<SessionBus>();
    KGlobalAccelShortcut last(*ending, nullptr);
    port = last.create(options, [](const KeyEvent&) { return TapDecision::swallow; });
    ASSERT_TRUE(isAsked(daemon));
    EXPECT_THAT(daemon.calls, Not(Contains("setInactive")));

    port.reset();
    ending.reset();

    EXPECT_TRUE(handleEventsUntil([&] { return daemon.calls.back() == "setInactive"; }));
}

TEST_F(KGlobalAccelShortcutTests, theCallbackMayRemoveTheTap)
{
    Daemon daemon;
    int count = 0;
    port = shortcut.create(options, [&](const KeyEvent&) {
        ++count;
        source.reset();
        port.reset();
        return TapDecision::swallow;
    });
    source = port->createRunLoopSource();
    port->setEnabled(true);
    ASSERT_TRUE(isAsked(daemon));

    daemon.press();
    daemon.press();

    EXPECT_TRUE(handleEventsUntil([&] { return daemon.calls.back() == "setInactive"; }));
    EXPECT_EQ(count, 1);
}

} // namespace

} // namespace glimmerwick::contract
