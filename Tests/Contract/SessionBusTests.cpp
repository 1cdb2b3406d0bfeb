#include "Contract/EventLoop.h"
#include "Models/Emoji.h"
#include "Platform/DBus/DBusUserNotice.h"
#include "Platform/DBus/InstanceObject.h"
#include "Platform/DBus/NotificationMirror.h"
#include "Platform/DBus/ScreenLockWatcher.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/DBus/SingleInstance.h"
#include "Platform/NotificationCenter.h"
#include "Platform/Qt/Text.h"

#include <gmock/gmock.h>

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusVirtualObject>
#include <QObject>
#include <QPoint>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace glimmerwick::contract {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const QString service = "com.glimmerwick.Glimmerwick";
const QString object = "/com/glimmerwick/Glimmerwick";
const QString application = "org.freedesktop.Application";
const QString picker = "com.glimmerwick.Picker1";
const QString properties = "org.freedesktop.DBus.Properties";

/// Another program on the bus.
class Client {
public:
    Client() : m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, unusedName())) { }
    ~Client() { QDBusConnection::disconnectFromBus(m_connection.name()); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    QDBusConnection& connection() { return m_connection; }

    /// The answer, received while this thread goes on serving calls.
    QDBusMessage call(const QString& interface, const QString& member, const QVariantList& arguments)
    {
        auto message = QDBusMessage::createMethodCall(service, object, interface, member);
        message.setArguments(arguments);
        const QDBusPendingCall pending = m_connection.asyncCall(message);
        EXPECT_TRUE(handleEventsUntil([&] { return pending.isFinished(); })) << toUtf8(member);
        return pending.reply();
    }

    QVariant property(const QString& name)
    {
        const auto reply = call(properties, "Get", {picker, name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }

private:
    static QString unusedName()
    {
        static int count = 0;
        return QString("client/%1").arg(++count);
    }

    QDBusConnection m_connection;
};

/// Keeps the signals of the program's object, as "member(argument, ...)".
class SignalRecorder : public QObject {
    Q_OBJECT

public:
    explicit SignalRecorder(Client& client)
    {
        for (const char* interface : {"org.freedesktop.DBus.Properties", "com.glimmerwick.Picker1",
                                      "com.glimmerwick.TypeManager", "com.glimmerwick.ClipboardManager"}) {
            client.connection().connect(service, object, interface, QString(), this,
                                        SLOT(record(const QDBusMessage&)));
        }
    }

    std::vector<std::string> received;
    QVariantMap changes;

private slots:
    void record(const QDBusMessage& message)
    {
        QStringList texts;
        for (const QVariant& argument : message.arguments()) {
            texts << argument.toString();
        }
        received.push_back(
            toUtf8(message.interface() + "." + message.member() + "(" + texts.join(", ") + ")"));
        if (message.member() == "PropertiesChanged") {
            changes = qdbus_cast<QVariantMap>(message.arguments().value(1));
        }
    }
};

/// Takes every call and answers nothing.
class Collector : public QDBusVirtualObject {
public:
    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection&) override
    {
        message.setDelayedReply(true);
        calls.push_back(message);
        return true;
    }

    std::vector<QDBusMessage> calls;
};

class Requests : public RemoteRequests {
public:
    void perform(PickerAction action) override { actions.push_back(action); }
    std::optional<std::string> handleArguments(const std::vector<std::string>& given) override
    {
        arguments.push_back(given);
        return refusal;
    }

    std::vector<PickerAction> actions;
    std::vector<std::vector<std::string>> arguments;
    std::optional<std::string> refusal;
};

/// A start of the program.
struct Start {
    SessionBus bus;
    InstanceObject instance{bus, "1.2.3"};

    Result<Instance, std::string> claim(const std::vector<std::string>& arguments = {},
                                        std::chrono::milliseconds timeout = patience)
    {
        return claimInstance(bus, arguments, timeout);
    }

    /// The same, while this thread serves the instance that is asked.
    std::future<Result<Instance, std::string>> claimMeanwhile(std::vector<std::string> arguments)
    {
        return std::async(std::launch::async, [this, arguments = std::move(arguments)] {
            return claimInstance(bus, arguments, patience);
        });
    }
};

bool isReady(std::future<Result<Instance, std::string>>& claimed)
{
    return claimed.wait_for(0s) == std::future_status::ready;
}

class SessionBusTest : public testing::Test {
protected:
    SessionBusTest() : first(std::make_unique<Start>()) { }

    void claimAndServe()
    {
        ASSERT_TRUE(first->bus.isConnected()) << first->bus.problem();
        const auto claimed = first->claim();
        ASSERT_TRUE(claimed) << claimed.error();
        ASSERT_EQ(claimed.value(), Instance::first);
        first->instance.setHandler(&requests);
    }

    std::string errorOf(const QString& interface, const QString& member, const QVariantList& arguments = {})
    {
        return toUtf8(client.call(interface, member, arguments).errorName());
    }

    Requests requests;
    std::unique_ptr<Start> first;
    Client client;
};

TEST_F(SessionBusTest, firstStartOwnsTheNameUntilItEnds)
{
    claimAndServe();
    EXPECT_TRUE(client.connection().interface()->isServiceRegistered(service));

    first.reset();

    EXPECT_TRUE(eventually([&] { return !client.connection().interface()->isServiceRegistered(service); }));
    first = std::make_unique<Start>();
    EXPECT_EQ(first->claim().value(), Instance::first);
}

TEST_F(SessionBusTest, furtherStartHandsItsArgumentsOver)
{
    claimAndServe();
    Start further;

    auto claimed = further.claimMeanwhile({"--target-app", "", "ü --toggle"});
    ASSERT_TRUE(handleEventsUntil([&] { return isReady(claimed); }));

    EXPECT_EQ(claimed.get().value(), Instance::further);
    EXPECT_THAT(requests.arguments, ElementsAre(ElementsAre("--target-app", "", "ü --toggle")));
}

TEST_F(SessionBusTest, refusedArgumentsAreAnErrorWithTheReason)
{
    claimAndServe();
    requests.refusal = "no <such> option";
    Start further;

    auto claimed = further.claimMeanwhile({"--bogus"});
    ASSERT_TRUE(handleEventsUntil([&] { return isReady(claimed); }));

    EXPECT_THAT(claimed.get().error(), HasSubstr("no <such> option"));
}

TEST_F(SessionBusTest, instanceThatDoesNotAnswerIsAnErrorAndKeepsTheName)
{
    claimAndServe();
    Start further;

    // This thread waits here, so the first instance gets no turn.
    const auto claimed = further.claim({"--toggle"}, 100ms);

    EXPECT_THAT(claimed.error(), HasSubstr("does not answer"));
    const QString owner = client.connection().interface()->serviceOwner(service);
    EXPECT_EQ(owner, first->bus.connection().baseService());
}

TEST_F(SessionBusTest, instanceThatEndsInsteadOfAnsweringMakesRoom)
{
    ASSERT_EQ(first->claim().value(), Instance::first);
    Collector silent;
    {
        // A copy keeps the connection open.
        QDBusConnection connection(first->bus.connection());
        connection.unregisterObject(object);
        ASSERT_TRUE(connection.registerVirtualObject(object, &silent));
    }
    Start further;

    auto claimed = further.claimMeanwhile({"--toggle"});
    ASSERT_TRUE(handleEventsUntil([&] { return !silent.calls.empty(); }));
    silent.calls.clear();
    first.reset();
    ASSERT_TRUE(handleEventsUntil([&] { return isReady(claimed); }));

    EXPECT_EQ(claimed.get().value(), Instance::first);
}

TEST_F(SessionBusTest, everyActionIsCarriedOut)
{
    claimAndServe();
    const QVariantMap noPlatformData;

    client.call(application, "Activate", {noPlatformData});
    for (const char* action : {"toggle", "show", "hide", "check-for-updates", "quit"}) {
        const auto reply =
            client.call(application, "ActivateAction", {action, QVariantList(), noPlatformData});
        EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << toUtf8(reply.errorMessage());
    }

    EXPECT_THAT(requests.actions,
                ElementsAre(PickerAction::show, PickerAction::toggle, PickerAction::show, PickerAction::hide,
                            PickerAction::checkForUpdates, PickerAction::quit));
}

TEST_F(SessionBusTest, wrongCallsAreAnsweredByAnError)
{
    claimAndServe();
    const QVariantMap noPlatformData;
    const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    const std::string unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";

    EXPECT_EQ(errorOf(application, "ActivateAction", {"explode", QVariantList(), noPlatformData}), invalid);
    EXPECT_EQ(errorOf(application, "ActivateAction", {"", QVariantList(), noPlatformData}), invalid);
    EXPECT_EQ(errorOf(application, "ActivateAction", {"show", QVariantList{1}, noPlatformData}), invalid);
    EXPECT_EQ(errorOf(application, "Open", {QStringList("file:///a"), noPlatformData}),
              "org.freedesktop.DBus.Error.NotSupported");
    EXPECT_EQ(errorOf(application, "ActivateAction", {"show"}), unknownMethod);
    EXPECT_EQ(errorOf(application, "ActivateAction", {5, 6, 7}), unknownMethod);
    EXPECT_EQ(errorOf(application, "Activate"), unknownMethod);
    EXPECT_EQ(errorOf(application, "Explode"), unknownMethod);
    EXPECT_EQ(errorOf(picker, "HandleArguments", {"--toggle"}), unknownMethod);
    EXPECT_EQ(errorOf("org.example.Nothing", "Activate"), "org.freedesktop.DBus.Error.UnknownInterface");
    EXPECT_NE(errorOf(properties, "Get", {picker, "Colour"}), "");
    EXPECT_NE(errorOf(properties, "Set", {picker, "Visible", QVariant::fromValue(QDBusVariant(true))}), "");

    EXPECT_THAT(requests.actions, IsEmpty());
    EXPECT_THAT(requests.arguments, IsEmpty());
}

TEST_F(SessionBusTest, callsWaitForSomebodyToCarryThemOut)
{
    claimAndServe();
    first->instance.setHandler(nullptr);
    auto message = QDBusMessage::createMethodCall(service, object, application, "Activate");
    message << QVariantMap();
    const QDBusPendingCall waiting = client.connection().asyncCall(message);
    // Answered after the call was received, because it was sent later.
    EXPECT_NE(errorOf(application, "Explode"), "");
    EXPECT_FALSE(waiting.isFinished());

    first->instance.setHandler(&requests);

    EXPECT_THAT(requests.actions, ElementsAre(PickerAction::show));
    ASSERT_TRUE(handleEventsUntil([&] { return waiting.isFinished(); }));
    EXPECT_FALSE(waiting.isError());
}

TEST_F(SessionBusTest, propertiesTellTheState)
{
    claimAndServe();
    EXPECT_EQ(client.property("Version"), QVariant("1.2.3"));
    EXPECT_EQ(client.property("Visible"), QVariant(false));
    EXPECT_EQ(client.property("Ready"), QVariant(false));

    first->instance.setState({true, true});

    EXPECT_EQ(client.property("Visible"), QVariant(true));
    EXPECT_EQ(client.property("Ready"), QVariant(true));
}

TEST_F(SessionBusTest, changedPropertiesAloneAreAnnounced)
{
    claimAndServe();
    SignalRecorder recorder(client);

    first->instance.setState({false, true});
    ASSERT_TRUE(handleEventsUntil([&] { return recorder.received.size() == 1; }));
    EXPECT_EQ(recorder.changes, (QVariantMap{{"Ready", true}}));

    first->instance.setState({false, true});
    first->instance.setState({true, true});
    ASSERT_TRUE(handleEventsUntil([&] { return recorder.received.size() == 2; }));
    EXPECT_EQ(recorder.changes, (QVariantMap{{"Visible", true}}));
}

TEST_F(SessionBusTest, notificationsForOutsideListenersAreSignals)
{
    claimAndServe();
    NotificationCenter center;
    const NotificationMirror mirror(center, first->instance, {"will", "did", "failed", "copied"},
                                    [](const Notification&) { return "it broke"; });
    SignalRecorder recorder(client);
    const Emoji rocket{"1f680", "🚀", "rocket", {}, "travel", false};

    center.post({"nothing of ours", nullptr, {{{"emoji", rocket}}}});
    center.post({"will", nullptr, std::nullopt});
    center.post({"will", nullptr, {{{"emoji", 5}}}});
    for (const char* name : {"will", "did", "failed", "copied"}) {
        center.post({name, nullptr, {{{"emoji", rocket}}}});
    }

    ASSERT_TRUE(handleEventsUntil([&] { return recorder.received.size() >= 4; }));
    EXPECT_THAT(recorder.received,
                ElementsAre("com.glimmerwick.TypeManager.willTypeEmoji(🚀, 1f680, rocket)",
                            "com.glimmerwick.TypeManager.didTypeEmoji(🚀, 1f680, rocket)",
                            "com.glimmerwick.TypeManager.typingFailed(🚀, 1f680, rocket, it broke)",
                            "com.glimmerwick.ClipboardManager.emojiCopied(🚀, 1f680, rocket)"));
}

TEST_F(SessionBusTest, everythingOfferedCanBeIntrospected)
{
    claimAndServe();

    const auto reply = client.call("org.freedesktop.DBus.Introspectable", "Introspect", {});
    const std::string description = toUtf8(reply.arguments().value(0).toString());

    for (const char* name :
         {"org.freedesktop.Application", "Activate", "Open", "ActivateAction", "com.glimmerwick.Picker1",
          "HandleArguments", "Visible", "Ready", "Version", "com.glimmerwick.TypeManager", "willTypeEmoji",
          "didTypeEmoji", "typingFailed", "com.glimmerwick.ClipboardManager", "emojiCopied"}) {
        EXPECT_THAT(description, HasSubstr("name=\"" + std::string(name) + "\""));
    }
}

TEST_F(SessionBusTest, noticeReachesTheNotificationService)
{
    Collector notifications;
    ASSERT_TRUE(client.connection().registerVirtualObject("/org/freedesktop/Notifications", &notifications));
    ASSERT_TRUE(client.connection().registerService("org.freedesktop.Notifications"));
    DBusUserNotice notice(first->bus, "com.glimmerwick.Glimmerwick");

    notice.post({"Summary", "Body & more"});

    ASSERT_TRUE(handleEventsUntil([&] { return !notifications.calls.empty(); }));
    const QDBusMessage& call = notifications.calls.front();
    EXPECT_EQ(call.member(), "Notify");
    EXPECT_EQ(call.signature(), "susssasa{sv}i");
    EXPECT_EQ(call.arguments().value(3), "Summary");
    EXPECT_EQ(call.arguments().value(4), "Body &amp; more");
    EXPECT_TRUE(client.connection().unregisterService("org.freedesktop.Notifications"));
}

TEST_F(SessionBusTest, noticeWithoutAServiceGoesNowhereAndDisturbsNothing)
{
    claimAndServe();
    DBusUserNotice notice(first->bus, "com.glimmerwick.Glimmerwick");

    notice.post({"Summary", "Body"});

    EXPECT_EQ(client.property("Version"), QVariant("1.2.3"));
}

TEST_F(SessionBusTest, whateverSaysThatTheScreenLocksIsHeard)
{
    int locked = 0;
    const ScreenLockWatcher watcher(first->bus, [&] { ++locked; });
    const auto say = [&](const QString& interface, const QString& member, const QVariantList& arguments) {
        auto signal = QDBusMessage::createSignal("/anywhere", interface, member);
        signal.setArguments(arguments);
        EXPECT_TRUE(client.connection().send(signal));
    };

    int expected = 0;
    for (const char* screenSaver :
         {"org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver", "org.cinnamon.ScreenSaver",
          "org.mate.ScreenSaver", "org.xfce.ScreenSaver"}) {
        say(screenSaver, "ActiveChanged", {true});
        ++expected;
        EXPECT_TRUE(handleEventsUntil([&] { return locked == expected; })) << screenSaver;
    }
    say("org.freedesktop.login1.Session", "Lock", {});
    EXPECT_TRUE(handleEventsUntil([&] { return locked == expected + 1; }));
    say("org.freedesktop.login1.Manager", "PrepareForSleep", {true});
    EXPECT_TRUE(handleEventsUntil([&] { return locked == expected + 2; }));

    // Signals of one sender come in order, so the last shows that those before it counted for nothing.
    say("org.freedesktop.ScreenSaver", "ActiveChanged", {false});
    say("org.freedesktop.ScreenSaver", "ActiveChanged", {QPoint(1, 1)});
    say("org.freedesktop.ScreenSaver", "ActiveChanged", {"true"});
    say("org.freedesktop.ScreenSaver", "ActiveChanged", {});
    say("org.freedesktop.ScreenSaver", "ActiveChanged", {true});
    EXPECT_TRUE(handleEventsUntil([&] { return locked == expected + 3; }));
    say("org.freedesktop.login1.Manager", "PrepareForSleep", {false});
    say("org.freedesktop.login1.Session", "Lock", {});
    EXPECT_TRUE(handleEventsUntil([&] { return locked == expected + 4; }));
}

} // namespace

} // namespace glimmerwick::contract

#include "SessionBusTests.moc"
