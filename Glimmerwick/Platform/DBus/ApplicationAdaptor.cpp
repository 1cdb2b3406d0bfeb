#include "Platform/DBus/ApplicationAdaptor.h"

#include "Platform/DBus/InstanceObject.h"
#include "Platform/RemoteRequests.h"

#include <QDBusError>
#include <QDBusMessage>

#include <map>

namespace glimmerwick {

namespace {

const std::map<QString, PickerAction>& actions()
{
    static const std::map<QString, PickerAction> actions{
        {"toggle", PickerAction::toggle},
        {"show", PickerAction::show},
        {"hide", PickerAction::hide},
        {"about", PickerAction::about},
        {"check-for-updates", PickerAction::checkForUpdates},
        {"quit", PickerAction::quit},
    };
    return actions;
}

} // namespace

ApplicationAdaptor::ApplicationAdaptor(InstanceObject& instance)
    : QDBusAbstractAdaptor(&instance), m_instance(instance)
{
}

void ApplicationAdaptor::Activate(const QVariantMap&, const QDBusMessage& message)
{
    m_instance.perform(PickerAction::show, message);
}

void ApplicationAdaptor::Open(const QStringList&, const QVariantMap&, const QDBusMessage& message)
{
    m_instance.refuse(message, QDBusError::NotSupported, "The picker opens no files.");
}

void ApplicationAdaptor::ActivateAction(const QString& actionName, const QVariantList& parameter,
                                        const QVariantMap&, const QDBusMessage& message)
{
    const auto found = actions().find(actionName);
    if (found == actions().end()) {
        m_instance.refuse(message, QDBusError::InvalidArgs,
                          "There is no such action. The actions are toggle, show, hide, about, "
                          "check-for-updates and quit.");
    } else if (!parameter.isEmpty()) {
        m_instance.refuse(message, QDBusError::InvalidArgs, "This action takes no parameter.");
    } else {
        m_instance.perform(found->second, message);
    }
}

} // namespace glimmerwick
