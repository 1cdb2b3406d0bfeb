#include "Platform/DBus/PickerAdaptor.h"

#include "Platform/DBus/BusNames.h"
#include "Platform/DBus/InstanceObject.h"
#include "Platform/Qt/Text.h"

#include <QDBusMessage>
#include <QVariantMap>

#include <utility>
#include <vector>

namespace glimmerwick {

PickerAdaptor::PickerAdaptor(InstanceObject& instance, const std::string& version)
    : QDBusAbstractAdaptor(&instance), m_instance(instance), m_version(toQString(version))
{
}

void PickerAdaptor::setState(PickerState state)
{
    QVariantMap changed;
    if (state.isVisible != m_state.isVisible) {
        changed["Visible"] = state.isVisible;
    }
    if (state.isReady != m_state.isReady) {
        changed["Ready"] = state.isReady;
    }
    m_state = state;
    if (changed.isEmpty()) {
        return;
    }
    auto signal =
        QDBusMessage::createSignal(busName::object, "org.freedesktop.DBus.Properties", "PropertiesChanged");
    signal << QString(busName::pickerInterface) << changed << QStringList();
    m_instance.send(signal);
}

void PickerAdaptor::HandleArguments(const QStringList& arguments, const QDBusMessage& message)
{
    std::vector<std::string> texts;
    for (const QString& argument : arguments) {
        texts.push_back(toUtf8(argument));
    }
    m_instance.handleArguments(std::move(texts), message);
}

} // namespace glimmerwick
