#include "SessionProbe.h"

#include "CommandLine.h"
#include "Diagnosis.h"
#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/PortalNames.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Linux/FileDescriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace glimmerwick {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The program starts with this, and a service may never answer.
constexpr std::chrono::seconds patience(2);

constexpr auto takenAwayVariable = "GLIMMERWICK_WITHOUT";

std::string environmentValue(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

/// Questions on the session bus that have one deadline.
class BusQuestions {
public:
    explicit BusQuestions(const SessionBus& bus) : m_bus(bus) { }

    bool hasOwner(const char* name) { return askBus("NameHasOwner", name).toBool(); }

    /// The process that has the name; 0 when nobody has it.
    std::uint32_t owner(const char* name) { return askBus("GetConnectionUnixProcessID", name).toUInt(); }

    /// The version of an interface of the desktop's portal; 0 when there is none. Starts the portal. One that
    /// does not answer in time, as at login, counts as the first version: what uses it waits for it.
    std::uint32_t portalVersion(const QString& interface)
    {
        if (!m_bus.isConnected()) {
            return 0;
        }
        // A portal takes the name of an application only as the first call of a connection, so this is no
        // call of the one that is to be named.
        if (!m_portalBus) {
            m_portalBus.emplace();
        }
        auto request = QDBusMessage::createMethodCall(portalName::service, portalName::object,
                                                      "org.freedesktop.DBus.Properties", "Get");
        request << interface << QStringLiteral("version");
        const QVariant version = ask(*m_portalBus, request);
        if (!version.isValid() && isTimeOver()) {
            return 1;
        }
        return version.value<QDBusVariant>().variant().toUInt();
    }

private:
    QVariant askBus(const char* question, const char* name)
    {
        auto request = QDBusMessage::createMethodCall("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                      "org.freedesktop.DBus", question);
        request << QString(name);
        return ask(m_bus, request);
    }

    /// An error gives no arguments that mean anything.
    bool isTimeOver() const { return Clock::now() >= m_deadline; }

    QVariant ask(const SessionBus& bus, const QDBusMessage& request)
    {
        const auto left = std::chrono::duration_cast<milliseconds>(m_deadline - Clock::now());
        if (!bus.isConnected() || left.count() <= 0) {
            return {};
        }
        const QDBusMessage reply =
            bus.connection().call(request, QDBus::Block, static_cast<int>(left.count()));
        // The toolkit's timers go off up to a twentieth early, which would leave time for one more silence.
        if (QDBusError(reply).type() == QDBusError::NoReply) {
            m_deadline = Clock::now();
        }
        return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
    }

    const SessionBus& m_bus;
    std::optional<SessionBus> m_portalBus;
    Clock::time_point m_deadline = Clock::now() + patience;
};

/// Whether somebody listens: the variable outlives its sway where services inherit it.
bool isListening(const std::string& socketPath)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.empty() || socketPath.size() >= sizeof address.sun_path) {
        return false;
    }
    std::memcpy(address.sun_path, socketPath.data(), socketPath.size());
    const FileDescriptor descriptor(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    return connect(descriptor.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Gathers facts, and asks for each only where it makes a difference.
class Gathering {
public:
    Gathering(BusQuestions& questions, ProbeExtent extent, SessionFacts facts)
        : m_questions(questions), m_extent(extent), m_takenAway(environmentValue(takenAwayVariable)),
          m_reduced(reduceFacts(std::move(facts), m_takenAway))
    {
    }

    ReducedFacts gather(const WindowSystemProbes& probes)
    {
        if (probes.wayland && !environmentValue("WAYLAND_DISPLAY").empty()) {
            probes.wayland(facts());
            reduce();
        }
        if (probes.x11 && !environmentValue("DISPLAY").empty() && isX11Needed()) {
            probes.x11(facts());
            reduce();
        }
        if (facts().waylandDisplay) {
            gatherServices();
        }
        return m_reduced;
    }

private:
    void gatherServices()
    {
        facts().swaySocket = isListening(environmentValue("SWAYSOCK"));
        reduce();
        if (isNeeded([](SessionFacts& changing) { changing.kglobalaccel = true; })) {
            facts().kglobalaccel = kwinTakesShortcuts();
            reduce();
        }
        if (isNeeded([](SessionFacts& changing) { changing.remoteDesktopPortal = 1; })) {
            facts().remoteDesktopPortal = m_questions.portalVersion("org.freedesktop.portal.RemoteDesktop");
            reduce();
        }
        if (isNeeded([](SessionFacts& changing) { changing.globalShortcutsPortal = 1; })) {
            facts().globalShortcutsPortal =
                m_questions.portalVersion("org.freedesktop.portal.GlobalShortcuts");
            reduce();
        }
    }

    /// Applications bring the service along to other compositors, where it gets no keys. KWin has it in its
    /// own process.
    bool kwinTakesShortcuts() const
    {
        const std::uint32_t owner = m_questions.owner("org.kde.kglobalaccel");
        return owner != 0 && owner == m_questions.owner("org.kde.KWin");
    }

    bool isX11Needed() const
    {
        return !m_reduced.facts.waylandDisplay
            || isNeeded([](SessionFacts& changing) { changing.x11Display = true; });
    }

    template <typename Change> bool isNeeded(Change change) const
    {
        SessionFacts changed = m_reduced.facts;
        change(changed);
        changed = reduceFacts(std::move(changed), m_takenAway).facts;
        return m_extent == ProbeExtent::everything || chooseRoutes(changed) != chooseRoutes(m_reduced.facts);
    }

    SessionFacts& facts() { return m_reduced.facts; }
    void reduce() { m_reduced = reduceFacts(std::move(m_reduced.facts), m_takenAway); }

    BusQuestions& m_questions;
    const ProbeExtent m_extent;
    const std::string m_takenAway;
    ReducedFacts m_reduced;
};

} // namespace

std::string wantedToolkitPlatform(const CommandLine& commandLine)
{
    std::string wanted = environmentValue("QT_QPA_PLATFORM");
    const auto& options = commandLine.toolkitArguments;
    for (std::size_t index = 0; index + 1 < options.size(); ++index) {
        // The toolkit goes by the last one.
        if (options[index] == "-platform" || options[index] == "--platform") {
            wanted = options[++index];
        }
    }
    return wanted;
}

ReducedFacts probeSession(const SessionBus& bus, const WindowSystemProbes& probes,
                          const std::string& wantedPlatform, ProbeExtent extent)
{
    SessionFacts facts;
    facts.wantedToolkitPlatform = wantedPlatform;
    facts.sessionBus = bus.isConnected();
    facts.desktopName = environmentValue("XDG_CURRENT_DESKTOP");
    BusQuestions questions(bus);
    return Gathering(questions, extent, std::move(facts)).gather(probes);
}

std::string diagnoseSession(const SessionBus& bus, const WindowSystemProbes& probes,
                            const std::string& wantedPlatform, const std::string& version)
{
    const ReducedFacts found = probeSession(bus, probes, wantedPlatform, ProbeExtent::everything);
    Diagnosis diagnosis;
    diagnosis.version = version;
    diagnosis.facts = found.facts;
    diagnosis.routes = chooseRoutes(found.facts);
    diagnosis.takenAway = environmentValue(takenAwayVariable);
    diagnosis.unknownWords = found.unknownWords;
    if (bus.isConnected()) {
        const bool isRunning = BusQuestions(bus).hasOwner(busName::service);
        diagnosis.picker = isRunning ? RunningPicker::one : RunningPicker::none;
    }
    return diagnosisText(diagnosis);
}

} // namespace glimmerwick
