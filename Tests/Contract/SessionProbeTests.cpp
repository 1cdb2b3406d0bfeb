#include "SessionProbe.h"

#include "CommandLine.h"
#include "Contract/EventLoop.h"
#include "Contract/TemporaryFolder.h"
#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Linux/FileDescriptor.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QMap>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <future>
#include <map>
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

/// What the tests change of the environment, as it was before.
class KeptEnvironment {
public:
    KeptEnvironment()
    {
        for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "SWAYSOCK", "XDG_CURRENT_DESKTOP",
                                 "GLIMMERWICK_WITHOUT", "QT_QPA_PLATFORM"}) {
            const char* value = std::getenv(name);
            m_values[name] = value ? std::optional<std::string>(value) : std::nullopt;
            ::unsetenv(name);
        }
    }
    ~KeptEnvironment()
    {
        for (const auto& [name, value] : m_values) {
            if (value) {
                ::setenv(name.c_str(), value->c_str(), 1);
            } else {
                ::unsetenv(name.c_str());
            }
        }
    }
    KeptEnvironment(const KeptEnvironment&) = delete;
    KeptEnvironment& operator=(const KeptEnvironment&) = delete;

private:
    std::map<std::string, std::optional<std::string>> m_values;
};

void set(const char* name, const std::string& value)
{
    ::setenv(name, value.c_str(), 1);
}

/// A program on the bus with names of its choice.
class NamedProgram {
public:
    explicit NamedProgram(QStringList names)
        : m_names(std::move(names)),
          m_connection(QDBusConnection::connectToBus(QDBusConnection::SessionBus, m_names.first()))
    {
        for (const QString& name : m_names) {
            EXPECT_TRUE(m_connection.registerService(name));
        }
    }
    ~NamedProgram()
    {
        // Waits for the bus, so that the next test finds the names free.
        for (const QString& name : m_names) {
            m_connection.unregisterService(name);
        }
        QDBusConnection::disconnectFromBus(m_names.first());
    }
    NamedProgram(const NamedProgram&) = delete;
    NamedProgram& operator=(const NamedProgram&) = delete;

    QDBusConnection& connection() { return m_connection; }

private:
    const QStringList m_names;
    QDBusConnection m_connection;
};

/// A desktop portal that says which versions its interfaces have, or keeps silent.
class Portal : public QDBusVirtualObject {
public:
    explicit Portal(QMap<QString, unsigned> versions) : m_versions(std::move(versions))
    {
        EXPECT_TRUE(m_program.connection().registerVirtualObject("/org/freedesktop/portal/desktop", this));
    }

    QString introspect(const QString&) const override { return {}; }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        const QString interface = message.arguments().value(0).toString();
        if (message.member() != "Get" || message.arguments().value(1).toString() != "version") {
            return false;
        }
        asked.push_back(interface.section('.', -1).toStdString());
        askers << message.service();
        if (isSilent) {
            message.setDelayedReply(true);
        } else if (m_versions.contains(interface)) {
            connection.send(message.createReply(QVariant::fromValue(QDBusVariant(m_versions[interface]))));
        } else {
            connection.send(message.createErrorReply(QDBusError::InvalidArgs, "no such interface"));
        }
        return true;
    }

    bool isSilent = false;
    std::vector<std::string> asked;
    QStringList askers;

private:
    const QMap<QString, unsigned> m_versions;
    NamedProgram m_program{{"org.freedesktop.portal.Desktop"}};
};

/// Where sway would listen.
class ListeningSocket {
public:
    explicit ListeningSocket(const std::string& path) : m_descriptor(socket(AF_UNIX, SOCK_STREAM, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, path.c_str(), path.size());
        EXPECT_EQ(bind(m_descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(m_descriptor.get(), 1), 0);
    }

private:
    FileDescriptor m_descriptor;
};

void findWlroots(SessionFacts& facts)
{
    facts.waylandDisplay = true;
    facts.seat = true;
    facts.layerShell = true;
    facts.dataControl = true;
    facts.virtualKeyboard = true;
    facts.foreignToplevels = true;
}

void findMutter(SessionFacts& facts)
{
    facts.waylandDisplay = true;
    facts.seat = true;
}

class SessionProbeTest : public testing::Test {
protected:
    WindowSystemProbes probes(void (*findWayland)(SessionFacts&))
    {
        return {[this](SessionFacts& facts) {
                    looked.emplace_back("x11");
                    facts.x11Display = true;
                    facts.x11Testing = true;
                },
                [this, findWayland](SessionFacts& facts) {
                    looked.emplace_back("wayland");
                    findWayland(facts);
                }};
    }

    /// The services on the bus are served meanwhile, by this thread.
    ReducedFacts probe(void (*findWayland)(SessionFacts&), ProbeExtent extent = ProbeExtent::whatRoutesNeed,
                       const std::string& wanted = "")
    {
        const auto windowSystems = probes(findWayland);
        auto found = std::async(std::launch::async, [&] {
            const SessionBus bus;
            return probeSession(bus, windowSystems, wanted, extent);
        });
        EXPECT_TRUE(handleEventsUntil([&] { return found.wait_for(0s) == std::future_status::ready; }));
        return found.get();
    }

    KeptEnvironment environment;
    std::vector<std::string> looked;
};

const QString remoteDesktop = "org.freedesktop.portal.RemoteDesktop";
const QString globalShortcuts = "org.freedesktop.portal.GlobalShortcuts";

TEST_F(SessionProbeTest, onAnX11SessionNobodyElseIsAsked)
{
    set("DISPLAY", ":1");
    set("XDG_CURRENT_DESKTOP", "XFCE");
    Portal portal({{remoteDesktop, 2}});

    for (const auto extent : {ProbeExtent::whatRoutesNeed, ProbeExtent::everything}) {
        const SessionFacts facts = probe(findWlroots, extent).facts;

        SessionFacts expected;
        expected.x11Display = true;
        expected.x11Testing = true;
        expected.sessionBus = true;
        expected.desktopName = "XFCE";
        EXPECT_EQ(facts, expected);
    }
    EXPECT_THAT(looked, ElementsAre("x11", "x11"));
    EXPECT_THAT(portal.asked, IsEmpty());
}

TEST_F(SessionProbeTest, withoutADisplayNobodyIsAsked)
{
    const SessionFacts facts = probe(findWlroots, ProbeExtent::everything).facts;

    EXPECT_FALSE(facts.waylandDisplay);
    EXPECT_FALSE(facts.x11Display);
    EXPECT_THAT(looked, IsEmpty());
}

TEST_F(SessionProbeTest, whatRoutesDoNotDependOnIsLeftAlone)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    const TemporaryFolder folder;
    const std::string path = folder.path() / "sway";
    const ListeningSocket sway(path);
    set("SWAYSOCK", path);
    Portal portal({{remoteDesktop, 2}, {globalShortcuts, 1}});

    const SessionFacts facts = probe(findWlroots).facts;

    EXPECT_TRUE(facts.swaySocket);
    EXPECT_EQ(facts.remoteDesktopPortal, 0U);
    EXPECT_THAT(looked, ElementsAre("wayland"));
    EXPECT_THAT(portal.asked, IsEmpty());
}

TEST_F(SessionProbeTest, everythingIsAskedForTheUserToRead)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    Portal portal({{remoteDesktop, 2}, {globalShortcuts, 1}});

    const SessionFacts facts = probe(findWlroots, ProbeExtent::everything).facts;

    EXPECT_TRUE(facts.x11Display);
    EXPECT_EQ(facts.remoteDesktopPortal, 2U);
    EXPECT_EQ(facts.globalShortcutsPortal, 1U);
    EXPECT_THAT(looked, ElementsAre("wayland", "x11"));
}

TEST_F(SessionProbeTest, portalAndXwaylandAreAskedWhereTheyAreNeeded)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    Portal portal({{remoteDesktop, 2}});

    const SessionFacts facts = probe(findMutter).facts;

    EXPECT_TRUE(facts.x11Display);
    EXPECT_EQ(facts.remoteDesktopPortal, 2U);
    EXPECT_EQ(facts.globalShortcutsPortal, 0U);
    EXPECT_THAT(looked, ElementsAre("wayland", "x11"));
    EXPECT_THAT(portal.asked, ElementsAre("RemoteDesktop", "GlobalShortcuts"));
}

TEST_F(SessionProbeTest, portalIsAskedOverAConnectionThatAsksForNothingLater)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    Portal portal({{remoteDesktop, 2}});
    const SessionBus bus;
    const auto windowSystems = probes(findMutter);

    auto found = std::async(std::launch::async, [&] {
        return probeSession(bus, windowSystems, "", ProbeExtent::whatRoutesNeed);
    });
    ASSERT_TRUE(handleEventsUntil([&] { return found.wait_for(0s) == std::future_status::ready; }));

    EXPECT_EQ(found.get().facts.remoteDesktopPortal, 2U);
    EXPECT_FALSE(portal.askers.contains(bus.connection().baseService()));
}

TEST_F(SessionProbeTest, silentPortalIsNotWaitedForLong)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    Portal portal({{remoteDesktop, 2}, {globalShortcuts, 1}});
    portal.isSilent = true;

    const SessionFacts facts = probe(findMutter).facts;

    // There was no time left for the second question.
    EXPECT_THAT(portal.asked, ElementsAre("RemoteDesktop"));
    // It is there, and what uses it waits for it.
    EXPECT_EQ(facts.remoteDesktopPortal, 1U);
    EXPECT_EQ(facts.globalShortcutsPortal, 1U);
}

TEST_F(SessionProbeTest, withoutAPortalThereAreNoVersions)
{
    set("WAYLAND_DISPLAY", "wayland-1");

    const SessionFacts facts = probe(findMutter).facts;

    EXPECT_TRUE(facts.sessionBus);
    EXPECT_EQ(facts.remoteDesktopPortal, 0U);
}

TEST_F(SessionProbeTest, kglobalaccelCountsWhereKWinHasIt)
{
    set("WAYLAND_DISPLAY", "wayland-1");
    {
        const NamedProgram kwin({"org.kde.KWin", "org.kde.kglobalaccel"});
        EXPECT_TRUE(probe(findMutter).facts.kglobalaccel);
    }
    const NamedProgram daemon({"org.kde.kglobalaccel"});
    EXPECT_FALSE(probe(findMutter).facts.kglobalaccel) << "started by an application elsewhere";
}

TEST_F(SessionProbeTest, swayThatHasGoneIsNotThere)
{
    set("WAYLAND_DISPLAY", "wayland-1");
    const TemporaryFolder folder;
    const std::string path = folder.path() / "sway";
    set("SWAYSOCK", path);
    EXPECT_FALSE(probe(findWlroots).facts.swaySocket) << "no such file";
    {
        const ListeningSocket sway(path);
        EXPECT_TRUE(probe(findWlroots).facts.swaySocket);
    }
    EXPECT_FALSE(probe(findWlroots).facts.swaySocket) << "left over";

    set("SWAYSOCK", std::string(300, 'x'));
    EXPECT_FALSE(probe(findWlroots).facts.swaySocket) << "longer than any address";
}

TEST_F(SessionProbeTest, userCanTakeFactsAway)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");
    set("GLIMMERWICK_WITHOUT", "layer-shell,remote-desktop,bogus,virtual-keyboard");
    Portal portal({{remoteDesktop, 2}, {globalShortcuts, 1}});

    const ReducedFacts found = probe(findWlroots);

    EXPECT_FALSE(found.facts.layerShell);
    EXPECT_FALSE(found.facts.virtualKeyboard);
    EXPECT_TRUE(found.facts.dataControl);
    EXPECT_THAT(found.unknownWords, ElementsAre("bogus"));
    // XWayland is needed now, and nobody asks for what does not count.
    EXPECT_THAT(looked, ElementsAre("wayland", "x11"));
    EXPECT_THAT(portal.asked, ElementsAre("GlobalShortcuts"));
}

TEST_F(SessionProbeTest, x11IsLookedForWhereTheUserWantsIt)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");

    const SessionFacts facts = probe(findWlroots, ProbeExtent::whatRoutesNeed, "xcb").facts;

    EXPECT_TRUE(facts.x11Display);
    EXPECT_EQ(chooseRoutes(facts).toolkit, ToolkitRoute::x11);
}

TEST_F(SessionProbeTest, x11IsLookedForWhereTheCompositorDoesNotAnswer)
{
    set("DISPLAY", ":1");
    set("WAYLAND_DISPLAY", "wayland-1");

    const SessionFacts facts = probe([](SessionFacts&) {}).facts;

    EXPECT_FALSE(facts.waylandDisplay);
    EXPECT_TRUE(facts.x11Display);
    EXPECT_THAT(looked, ElementsAre("wayland", "x11"));
}

TEST_F(SessionProbeTest, optionOfTheToolkitComesBeforeItsVariable)
{
    const auto wanted = [](const std::vector<std::string>& words) {
        return wantedToolkitPlatform(CommandLine::parse(words).value());
    };
    EXPECT_EQ(wanted({}), "");

    set("QT_QPA_PLATFORM", "wayland");
    EXPECT_EQ(wanted({}), "wayland");
    EXPECT_EQ(wanted({"-platform", "xcb"}), "xcb");
    EXPECT_EQ(wanted({"-platform", "xcb", "--platform", "offscreen"}), "offscreen");
    EXPECT_EQ(wanted({"-style", "-platform"}), "wayland");
}

TEST_F(SessionProbeTest, diagnosisTellsWhetherAPickerRunsAndDisturbsNone)
{
    set("DISPLAY", ":1");
    const SessionBus bus;
    const auto diagnosed = [&] { return diagnoseSession(bus, probes(findMutter), "", "1.2.3"); };

    const std::string alone = diagnosed();
    EXPECT_THAT(alone, HasSubstr("Glimmerwick 1.2.3\n"));
    EXPECT_THAT(alone, HasSubstr("does not run"));
    EXPECT_THAT(alone, HasSubstr("X11"));
    EXPECT_THAT(diagnosed(), HasSubstr("does not run")) << "the first has not become the picker";

    // It has no object that could answer a call.
    const NamedProgram picker({busName::service});
    EXPECT_THAT(diagnosed(), HasSubstr("Picker       runs\n"));
}

} // namespace

} // namespace glimmerwick::contract
