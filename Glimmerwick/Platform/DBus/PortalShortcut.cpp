#include "Platform/DBus/PortalShortcut.h"

#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/PortalNames.h"
#include "Platform/DBus/PortalRegistration.h"
#include "Platform/DBus/PortalRequest.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusServiceWatcher>
#include <QObject>

#include <algorithm>
#include <optional>
#include <utility>

namespace glimmerwick {

namespace {

const QString shortcutsInterface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");
const QString shortcutId = QStringLiteral("toggle");

/// How often a session is asked for anew when the last one came to nothing.
constexpr int mostRetries = 3;

/// A shortcut as the portal takes and describes it.
struct ShortcutEntry {
    QString id;
    QVariantMap properties;
};

using ShortcutEntries = QList<ShortcutEntry>;

QDBusArgument& operator<<(QDBusArgument& argument, const ShortcutEntry& entry)
{
    argument.beginStructure();
    argument << entry.id << entry.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ShortcutEntry& entry)
{
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.endStructure();
    return argument;
}

ShortcutEntry pickerShortcut()
{
    return {shortcutId,
            {{QStringLiteral("description"), QStringLiteral("Show or hide the emoji picker")},
             {QStringLiteral("preferred_trigger"), QStringLiteral("CTRL+LOGO+space")}}};
}

/// Empty when it is anything else.
ShortcutEntries entriesIn(const QVariant& value)
{
    if (value.userType() != qMetaTypeId<QDBusArgument>()
        || value.value<QDBusArgument>().currentSignature() != QStringLiteral("a(sa{sv})")) {
        return {};
    }
    return qdbus_cast<ShortcutEntries>(value);
}

/// Whether the entries say which keys the picker's shortcut has.
bool haveTrigger(const ShortcutEntries& entries)
{
    return std::any_of(entries.begin(), entries.end(), [](const ShortcutEntry& entry) {
        return entry.id == shortcutId
            && !entry.properties.value(QStringLiteral("trigger_description")).toString().isEmpty();
    });
}

/// Portals hand out paths as paths and as texts.
QString pathIn(const QVariant& value)
{
    return value.canConvert<QDBusObjectPath>() ? value.value<QDBusObjectPath>().path() : value.toString();
}

std::string reasonOf(PortalRequest::Outcome outcome)
{
    switch (outcome) {
    case PortalRequest::Outcome::cancelled:
        return PortalShortcut::declined;
    case PortalRequest::Outcome::unavailable:
        return "the desktop's portal has no shortcuts";
    case PortalRequest::Outcome::unanswered:
        return "the desktop's portal does not answer";
    default:
        return "the desktop's portal refuses it";
    }
}

/// A session with the portal, replaced when it is lost.
class PortalSession : public QObject {
    Q_OBJECT

public:
    PortalSession(const SessionBus& sessionBus, std::shared_ptr<ShortcutTap> tap,
                  std::chrono::milliseconds timeout);
    ~PortalSession() override;

private slots:
    void activated(const QDBusMessage& message);
    void shortcutsChanged(const QDBusMessage& message);
    void sessionClosed(const QDBusMessage& message);

private:
    void listen();
    bool isAboutShortcut(const QDBusMessage& message) const;
    void portalWent();
    void portalCame();
    void begin();
    void beginAgain();
    void bindShortcut();
    void judge(const ShortcutEntries& entries);
    void fail(PortalRequest::Outcome outcome);
    void fail(const std::string& reason);
    void forgetSession();

    QDBusConnection m_bus;
    const std::shared_ptr<ShortcutTap> m_tap;
    const std::chrono::milliseconds m_timeout;
    PortalRegistration m_registration;
    QDBusServiceWatcher m_portalWatcher;
    int m_retries = 0;
    bool m_isBound = false;
    /// The user is not asked twice.
    bool m_isDeclined = false;
    /// Empty without one.
    QString m_session;
    /// What the portal has not answered yet.
    std::unique_ptr<PortalRequest> m_request;
};

PortalSession::PortalSession(const SessionBus& sessionBus, std::shared_ptr<ShortcutTap> tap,
                             std::chrono::milliseconds timeout)
    : m_bus(sessionBus.connection()), m_tap(std::move(tap)), m_timeout(timeout),
      m_registration(sessionBus, busName::service),
      m_portalWatcher(portalName::service, m_bus, QDBusServiceWatcher::WatchForOwnerChange)
{
    qDBusRegisterMetaType<ShortcutEntry>();
    qDBusRegisterMetaType<ShortcutEntries>();
    listen();
    begin();
}

PortalSession::~PortalSession()
{
    if (!m_session.isEmpty()) {
        auto message = QDBusMessage::createMethodCall(portalName::service, m_session,
                                                      portalName::sessionInterface, "Close");
        message.setAutoStartService(false);
        m_bus.send(message);
    }
}

void PortalSession::listen()
{
    m_bus.connect(portalName::service, portalName::object, shortcutsInterface, "Activated", this,
                  SLOT(activated(const QDBusMessage&)));
    m_bus.connect(portalName::service, portalName::object, shortcutsInterface, "ShortcutsChanged", this,
                  SLOT(shortcutsChanged(const QDBusMessage&)));
    m_bus.connect(portalName::service, QString(), portalName::sessionInterface, "Closed", this,
                  SLOT(sessionClosed(const QDBusMessage&)));
    QObject::connect(&m_portalWatcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
                     [this](const QString&, const QString& predecessor, const QString& successor) {
                         if (!predecessor.isEmpty()) {
                             portalWent();
                         }
                         if (!successor.isEmpty()) {
                             portalCame();
                         }
                     });
}

void PortalSession::portalWent()
{
    // That it could be had is a reason to think that it can again.
    if (m_isBound) {
        m_retries = 0;
    }
    forgetSession();
}

void PortalSession::portalCame()
{
    // It may have been started by what it is being asked.
    if (!m_request) {
        beginAgain();
    }
}

void PortalSession::begin()
{
    forgetSession();
    // Portals remember by the program's name which keys the user chose.
    m_registration.announce();
    m_request = std::make_unique<PortalRequest>(
        m_bus,
        PortalRequest::Call{shortcutsInterface,
                            "CreateSession",
                            {},
                            {{"session_handle_token", PortalRequest::unusedToken()}}},
        m_timeout, [this](const PortalRequest::Answer& answer) {
            m_session = pathIn(answer.results.value("session_handle"));
            if (answer.outcome != PortalRequest::Outcome::success) {
                fail(answer.outcome);
            } else if (!m_session.startsWith('/')) {
                fail("the desktop's portal does not make sense");
            } else {
                bindShortcut();
            }
        });
}

void PortalSession::beginAgain()
{
    if (m_isDeclined) {
        return;
    }
    if (m_retries == mostRetries) {
        fail("the desktop's portal takes it back again and again");
        return;
    }
    ++m_retries;
    begin();
}

void PortalSession::bindShortcut()
{
    const QString noParentWindow;
    m_request = std::make_unique<PortalRequest>(
        m_bus,
        PortalRequest::Call{shortcutsInterface,
                            "BindShortcuts",
                            {QVariant::fromValue(QDBusObjectPath(m_session)),
                             QVariant::fromValue(ShortcutEntries{pickerShortcut()}), noParentWindow},
                            {}},
        std::nullopt, [this](const PortalRequest::Answer& answer) {
            if (answer.outcome != PortalRequest::Outcome::success) {
                m_isDeclined = answer.outcome == PortalRequest::Outcome::cancelled;
                fail(answer.outcome);
                return;
            }
            m_isBound = true;
            const ShortcutEntries entries = entriesIn(answer.results.value("shortcuts"));
            m_request.reset();
            judge(entries);
        });
}

/// A portal may take the shortcut and leave it to the user to find keys for it.
void PortalSession::judge(const ShortcutEntries& entries)
{
    if (haveTrigger(entries)) {
        m_tap->setAvailable();
    } else {
        std::shared_ptr(m_tap)->setUnavailable("the desktop has given it no keys");
    }
}

void PortalSession::fail(PortalRequest::Outcome outcome)
{
    fail(reasonOf(outcome));
}

void PortalSession::fail(const std::string& reason)
{
    forgetSession();
    // Last, because whoever is told may do away with this object.
    std::shared_ptr(m_tap)->setUnavailable(reason);
}

void PortalSession::forgetSession()
{
    m_isBound = false;
    m_session.clear();
    m_request.reset();
}

void PortalSession::activated(const QDBusMessage& message)
{
    if (!isAboutShortcut(message)) {
        return;
    }
    m_retries = 0;
    m_tap->setAvailable();
    // Last, because the callback may do away with this object.
    std::shared_ptr(m_tap)->press();
}

bool PortalSession::isAboutShortcut(const QDBusMessage& message) const
{
    const QVariantList arguments = message.arguments();
    return !m_session.isEmpty() && pathIn(arguments.value(0)) == m_session
        && arguments.value(1).toString() == shortcutId;
}

void PortalSession::shortcutsChanged(const QDBusMessage& message)
{
    if (m_isBound && pathIn(message.arguments().value(0)) == m_session) {
        judge(entriesIn(message.arguments().value(1)));
    }
}

void PortalSession::sessionClosed(const QDBusMessage& message)
{
    if (!m_session.isEmpty() && message.path() == m_session) {
        beginAgain();
    }
}

} // namespace

PortalShortcut::PortalShortcut(ShortcutTap::OnUnavailable onUnavailable, std::chrono::milliseconds timeout)
    : m_onUnavailable(std::move(onUnavailable)), m_timeout(timeout)
{
}

std::unique_ptr<EventTapPort> PortalShortcut::create(Options options, Callback callback)
{
    if (!ShortcutTap::isPickerShortcut(options) || !m_sessionBus.isConnected()) {
        return nullptr;
    }
    auto tap = std::make_shared<ShortcutTap>(std::move(callback), m_onUnavailable);
    auto session = std::make_shared<PortalSession>(m_sessionBus, tap, m_timeout);
    return ShortcutTap::makePort(std::move(tap), Registration([session] {}));
}

} // namespace glimmerwick

#include "PortalShortcut.moc"
