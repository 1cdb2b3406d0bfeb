#include "Platform/DBus/KGlobalAccelShortcut.h"

#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/SessionBus.h"
#include "Platform/Qt/Text.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QStringList>

#include <algorithm>
#include <functional>
#include <utility>

namespace glimmerwick {

namespace {

const QString daemonName = QStringLiteral("org.kde.kglobalaccel");
const QString daemonObject = QStringLiteral("/kglobalaccel");
const QString daemonInterface = QStringLiteral("org.kde.KGlobalAccel");
const QString componentInterface = QStringLiteral("org.kde.kglobalaccel.Component");

const QString componentName = QString::fromLatin1(busName::service);
const QString actionName = QStringLiteral("toggle");

/// What the daemon is to do with keys that it is sent. Without either of these it takes them only if it has
/// none for the action yet, so that what the user chose stays.
constexpr unsigned int isInUse = 0x2;
constexpr unsigned int isDefault = 0x8;

/// Up to four combinations that are pressed one after the other. The daemon fills up with zeros.
struct KeySequence {
    QList<int> combinations;
};

using KeySequences = QList<KeySequence>;

QDBusArgument& operator<<(QDBusArgument& argument, const KeySequence& sequence)
{
    argument.beginStructure();
    argument << sequence.combinations;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, KeySequence& sequence)
{
    argument.beginStructure();
    argument >> sequence.combinations;
    argument.endStructure();
    return argument;
}

KeySequence pickerKeys()
{
    return {
        {static_cast<int>(Qt::META) | static_cast<int>(Qt::CTRL) | static_cast<int>(Qt::Key_Space), 0, 0, 0}};
}

bool isAnyKey(const KeySequences& sequences)
{
    return std::any_of(sequences.begin(), sequences.end(), [](const KeySequence& sequence) {
        return !sequence.combinations.isEmpty() && sequence.combinations.first() != 0;
    });
}

QStringList actionId()
{
    return {componentName, actionName, QStringLiteral("Glimmerwick"),
            QStringLiteral("Show or Hide the Picker")};
}

bool isOurAction(const QStringList& action)
{
    return action.value(0) == componentName && action.value(1) == actionName;
}

bool isAboutOurAction(const QDBusMessage& message)
{
    const QVariantList arguments = message.arguments();
    return isOurAction({arguments.value(0).toString(), arguments.value(1).toString()});
}

std::string reasonOf(const QDBusMessage& error)
{
    // What the bus says of a service that it is not to start; Qt has no number for it.
    if (error.errorName() == QStringLiteral("org.freedesktop.DBus.Error.NameHasNoOwner")) {
        return "the desktop's service for shortcuts does not run";
    }
    switch (QDBusError(error).type()) {
    case QDBusError::ServiceUnknown:
        return "the desktop's service for shortcuts does not run";
    case QDBusError::NoReply:
    case QDBusError::Timeout:
        return "the desktop's service for shortcuts does not answer";
    default:
        return "the desktop's service for shortcuts does not work: " + toUtf8(error.errorName());
    }
}

/// The shortcut at the daemon, for as long as the object lives.
class RegisteredShortcut : public QObject {
    Q_OBJECT

public:
    RegisteredShortcut(const SessionBus& sessionBus, std::shared_ptr<ShortcutTap> tap,
                       std::chrono::milliseconds timeout);
    ~RegisteredShortcut() override;

private slots:
    void pressed(const QDBusMessage& message);
    void keysChanged(const QDBusMessage& message);

private:
    void registerAction();
    void judge(const KeySequences& keys);
    void findOwnerOfKeys();
    void setUnavailable(const std::string& reason);
    void call(const QString& member, const QVariantList& arguments,
              std::function<void(const QDBusMessage&)> answered = nullptr);

    QDBusConnection m_bus;
    const std::shared_ptr<ShortcutTap> m_tap;
    const int m_timeout;
    QDBusServiceWatcher m_daemonWatcher;
};

RegisteredShortcut::RegisteredShortcut(const SessionBus& sessionBus, std::shared_ptr<ShortcutTap> tap,
                                       std::chrono::milliseconds timeout)
    : m_bus(sessionBus.connection()), m_tap(std::move(tap)), m_timeout(static_cast<int>(timeout.count())),
      m_daemonWatcher(daemonName, m_bus, QDBusServiceWatcher::WatchForRegistration)
{
    qDBusRegisterMetaType<KeySequence>();
    qDBusRegisterMetaType<KeySequences>();
    m_bus.connect(daemonName, QString(), componentInterface, QStringLiteral("globalShortcutPressed"), this,
                  SLOT(pressed(const QDBusMessage&)));
    m_bus.connect(daemonName, daemonObject, daemonInterface, QStringLiteral("yourShortcutsChanged"), this,
                  SLOT(keysChanged(const QDBusMessage&)));
    // A daemon that starts anew remembers the keys, but not that somebody is there to use them.
    QObject::connect(&m_daemonWatcher, &QDBusServiceWatcher::serviceRegistered, this,
                     &RegisteredShortcut::registerAction);
    registerAction();
}

RegisteredShortcut::~RegisteredShortcut()
{
    // The keys stay the user's choice, and the daemon lets them through.
    call(QStringLiteral("setInactive"), {actionId()});
}

void RegisteredShortcut::pressed(const QDBusMessage& message)
{
    if (isAboutOurAction(message)) {
        m_tap->setAvailable();
        // Last, because the callback may do away with this object.
        std::shared_ptr(m_tap)->press();
    }
}

void RegisteredShortcut::keysChanged(const QDBusMessage& message)
{
    if (message.signature() == QStringLiteral("asa(ai)")
        && isOurAction(message.arguments().value(0).toStringList())) {
        judge(qdbus_cast<KeySequences>(message.arguments().value(1)));
    }
}

void RegisteredShortcut::registerAction()
{
    const QVariant keys = QVariant::fromValue(KeySequences{pickerKeys()});
    call(QStringLiteral("doRegister"), {actionId()});
    call(QStringLiteral("setShortcutKeys"), {actionId(), keys, isDefault});
    call(QStringLiteral("setShortcutKeys"), {actionId(), keys, isInUse}, [this](const QDBusMessage& reply) {
        if (reply.type() == QDBusMessage::ErrorMessage) {
            setUnavailable(reasonOf(reply));
        } else if (reply.signature() == QStringLiteral("a(ai)")) {
            judge(qdbus_cast<KeySequences>(reply.arguments().first()));
        } else {
            setUnavailable("the desktop's service for shortcuts does not make sense");
        }
    });
}

/// The daemon leaves out keys that somebody else has.
void RegisteredShortcut::judge(const KeySequences& keys)
{
    if (isAnyKey(keys)) {
        m_tap->setAvailable();
    } else {
        findOwnerOfKeys();
    }
}

void RegisteredShortcut::findOwnerOfKeys()
{
    call(QStringLiteral("actionList"), {QVariant::fromValue(pickerKeys())},
         [this](const QDBusMessage& reply) {
             constexpr int componentTitle = 2;
             constexpr int actionTitle = 3;
             const QStringList owner = reply.arguments().value(0).toStringList();
             if (owner.isEmpty() || isOurAction(owner)) {
                 setUnavailable("the desktop's settings give it no keys");
             } else {
                 setUnavailable("the desktop's settings give its keys to something else: "
                                + toUtf8(owner.value(componentTitle) + ", " + owner.value(actionTitle)));
             }
         });
}

/// Last in a function, because whoever is told may do away with this object.
void RegisteredShortcut::setUnavailable(const std::string& reason)
{
    std::shared_ptr(m_tap)->setUnavailable(reason);
}

/// The daemon is not started for this: where it is of use, it is part of the compositor.
void RegisteredShortcut::call(const QString& member, const QVariantList& arguments,
                              std::function<void(const QDBusMessage&)> answered)
{
    auto message = QDBusMessage::createMethodCall(daemonName, daemonObject, daemonInterface, member);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    if (!answered) {
        m_bus.send(message);
        return;
    }
    auto* pending = new QDBusPendingCallWatcher(m_bus.asyncCall(message, m_timeout), this);
    QObject::connect(pending, &QDBusPendingCallWatcher::finished, this,
                     [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         answered(finished->reply());
                     });
}

} // namespace

KGlobalAccelShortcut::KGlobalAccelShortcut(const SessionBus& sessionBus,
                                           ShortcutTap::OnUnavailable onUnavailable,
                                           std::chrono::milliseconds timeout)
    : m_sessionBus(sessionBus), m_onUnavailable(std::move(onUnavailable)), m_timeout(timeout)
{
}

std::unique_ptr<EventTapPort> KGlobalAccelShortcut::create(Options options, Callback callback)
{
    if (!ShortcutTap::isPickerShortcut(options) || !m_sessionBus.isConnected()) {
        return nullptr;
    }
    auto tap = std::make_shared<ShortcutTap>(std::move(callback), m_onUnavailable);
    auto shortcut = std::make_shared<RegisteredShortcut>(m_sessionBus, tap, m_timeout);
    return ShortcutTap::makePort(std::move(tap), Registration([shortcut] {}));
}

} // namespace glimmerwick

#include "KGlobalAccelShortcut.moc"
