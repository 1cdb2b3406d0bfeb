#include "Contract/EventLoop.h"
#include "Contract/WaylandDevices.h"
#include "Platform/DBus/KGlobalAccelShortcut.h"
#include "Platform/DBus/SessionBus.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace glimmerwick::contract {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int super = 0x10000000;
constexpr int control = 0x04000000;
constexpr int space = 0x20;
constexpr int period = 0x2e;

const QString component = "com.glimmerwick.Glimmerwick";
const QStringList pickersAction{component, "toggle", "Glimmerwick", "Show"};
const QStringList othersAction{"org.example.Other", "act", "Other", "Do Something"};

/// What else a user has to do with the desktop's shortcuts.
class SystemSettings {
public:
    ~SystemSettings()
    {
        for (const QStringList& action : {pickersAction, othersAction}) {
            call("unregister", {action[0], action[1]});
        }
    }

    void giveKeysToOther(int keys)
    {
        constexpr unsigned int isInUse = 2;
        call("doRegister", {othersAction});
        call("setShortcut", {othersAction, QVariant::fromValue(QList<int>{keys}), isInUse});
    }

    void choosePickersKeys(int keys)
    {
        call("setForeignShortcut", {pickersAction, QVariant::fromValue(QList<int>{keys})});
    }

    QString componentWithKeys(int keys)
    {
        return call("action", {keys}).arguments().value(0).toStringList().value(0);
    }

    /// Whether any action of the picker's takes keys.
    bool isPickerActive()
    {
        auto message =
            QDBusMessage::createMethodCall("org.kde.kglobalaccel", "/component/com_glimmerwick_Glimmerwick",
                                           "org.kde.kglobalaccel.Component", "isActive");
        return m_bus.connection().call(message).arguments().value(0).toBool();
    }

private:
    QDBusMessage call(const QString& member, const QVariantList& arguments)
    {
        auto message = QDBusMessage::createMethodCall("org.kde.kglobalaccel", "/kglobalaccel",
                                                      "org.kde.KGlobalAccel", member);
        message.setArguments(arguments);
        return m_bus.connection().call(message);
    }

    SessionBus m_bus;
};

class KWinShortcutTest : public ::testing::Test {
protected:
    KWinShortcutTest() { qDBusRegisterMetaType<QList<int>>(); }

    void install()
    {
        port = shortcut.create(
            {KeyCombination{keyCode::space, eventFlag::control | eventFlag::command, eventFlag::shift}},
            [this](const KeyEvent& event) {
                presses.push_back(event);
                return TapDecision::swallow;
            });
        ASSERT_NE(port, nullptr);
        source = port->createRunLoopSource();
        port->setEnabled(true);
    }

    bool gets(int keys)
    {
        return handleEventsUntil([&] { return settings.componentWithKeys(keys) == component; });
    }

    void press(const std::vector<std::string>& keys)
    {
        std::for_each(keys.begin(), keys.end(), [this](const auto& key) { devices.pressKey(key); });
        std::for_each(keys.rbegin(), keys.rend(), [this](const auto& key) { devices.releaseKey(key); });
    }

    bool arrives(std::size_t count)
    {
        return handleEventsUntil([&] { return presses.size() == count; });
    }

    const std::vector<std::string> controlSuperSpace{"Control_L", "Super_L", "space"};
    UserDevices devices{1, 1};
    SessionBus bus;
    std::vector<std::string> problems;
    std::vector<KeyEvent> presses;
    KGlobalAccelShortcut shortcut{bus, [this](const std::string& reason) { problems.push_back(reason); }};
    SystemSettings settings;
    std::unique_ptr<EventTapPort> port;
    std::unique_ptr<RunLoopSource> source;
};

TEST_F(KWinShortcutTest, everyPressArrivesOnce)
{
    install();
    ASSERT_TRUE(gets(control + super + space));

    press(controlSuperSpace);
    ASSERT_TRUE(arrives(1));
    press(controlSuperSpace);
    ASSERT_TRUE(arrives(2));

    EXPECT_EQ(presses[0].keyCode, keyCode::space);
    EXPECT_EQ(presses[0].flags, eventFlag::control | eventFlag::command);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KWinShortcutTest, everyRepeatOfKeysThatAreHeldPressesTheShortcut)
{
    install();
    ASSERT_TRUE(gets(control + super + space));

    std::for_each(controlSuperSpace.begin(), controlSuperSpace.end(),
                  [this](const auto& key) { devices.pressKey(key); });
    const bool isRepeated = handleEventsUntil([&] { return presses.size() > 3; });
    std::for_each(controlSuperSpace.begin(), controlSuperSpace.end(),
                  [this](const auto& key) { devices.releaseKey(key); });

    EXPECT_TRUE(isRepeated);
}

TEST_F(KWinShortcutTest, theKeysAreLetGoWithTheTap)
{
    install();
    ASSERT_TRUE(gets(control + super + space));
    ASSERT_TRUE(settings.isPickerActive());

    port.reset();

    EXPECT_TRUE(eventually([&] { return !settings.isPickerActive(); }));
}

TEST_F(KWinShortcutTest, keysOfAnotherActionStayItsOwnAndAreReported)
{
    settings.giveKeysToOther(control + super + space);

    install();

    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("Other, Do Something")));
    EXPECT_EQ(settings.componentWithKeys(control + super + space), othersAction[0]);
}

TEST_F(KWinShortcutTest, keysThatTheUserChoseCountAtOnceAndLater)
{
    install();
    ASSERT_TRUE(gets(control + super + space));

    settings.choosePickersKeys(super + period);
    press({"Super_L", "period"});
    ASSERT_TRUE(arrives(1));
    source.reset();
    port.reset();
    install();
    ASSERT_TRUE(handleEventsUntil([&] { return settings.isPickerActive(); }));
    press({"Super_L", "period"});

    EXPECT_TRUE(arrives(2));
    EXPECT_NE(settings.componentWithKeys(control + super + space), component);
    EXPECT_THAT(problems, IsEmpty());
}

TEST_F(KWinShortcutTest, keysThatTheUserTakesAwayAreReported)
{
    install();
    ASSERT_TRUE(gets(control + super + space));

    settings.choosePickersKeys(0);

    ASSERT_TRUE(handleEventsUntil([&] { return !problems.empty(); }));
    EXPECT_THAT(problems, ElementsAre(HasSubstr("no keys")));
}

} // namespace

} // namespace glimmerwick::contract

int main(int argc, char** argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    const QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
