#pragma once

#include "Platform/RemoteRequests.h"

#include <QDBusAbstractAdaptor>
#include <QStringList>

#include <string>

class QDBusMessage;

namespace glimmerwick {

class InstanceObject;

/// The picker's own interface: its state, and the way in for further starts.
class PickerAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.glimmerwick.Picker1")
    Q_PROPERTY(bool Visible READ isVisible)
    Q_PROPERTY(bool Ready READ isReady)
    Q_PROPERTY(QString Version READ version)

public:
    PickerAdaptor(InstanceObject& instance, const std::string& version);

    bool isVisible() const { return m_state.isVisible; }
    bool isReady() const { return m_state.isReady; }
    QString version() const { return m_version; }

    /// Tells listeners what has changed.
    void setState(PickerState state);

public slots:
    /// What a command line asks for.
    void HandleArguments(const QStringList& arguments, const QDBusMessage& message);

private:
    InstanceObject& m_instance;
    QString m_version;
    PickerState m_state;
};

} // namespace glimmerwick
