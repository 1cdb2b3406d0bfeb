#pragma once

#include <QDBusAbstractAdaptor>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>

class QDBusMessage;

namespace glimmerwick {

class InstanceObject;

/// The interface by which desktops start applications and their actions.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(InstanceObject& instance);

public slots:
    void Activate(const QVariantMap& platformData, const QDBusMessage& message);
    /// Always an error: there is nothing to open.
    void Open(const QStringList& uris, const QVariantMap& platformData, const QDBusMessage& message);
    void ActivateAction(const QString& actionName, const QVariantList& parameter,
                        const QVariantMap& platformData, const QDBusMessage& message);

private:
    InstanceObject& m_instance;
};

} // namespace glimmerwick
