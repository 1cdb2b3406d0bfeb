#pragma once

#include "Platform/Tray/BusTypes.h"

#include <QDBusAbstractAdaptor>
#include <QHash>
#include <QTimer>

class QAction;
class QMenu;

namespace glimmerwick {

/// A menu without submenus, offered on the session bus to whoever draws it. Follows the menu's changes.
class MenuOnBus : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.canonical.dbusmenu")
    Q_PROPERTY(uint Version READ version)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(QString TextDirection READ textDirection)
    Q_PROPERTY(QStringList IconThemePath READ iconThemePath)

public:
    /// The object is the one to export. The menu must outlive this.
    MenuOnBus(QObject& object, QMenu& menu);

    uint version() const { return 3; }
    QString status() const { return QStringLiteral("normal"); }
    QString textDirection() const;
    QStringList iconThemePath() const { return {}; }

    bool eventFilter(QObject* watched, QEvent* event) override;

public slots:
    uint GetLayout(int parent, int depth, const QStringList& wanted, glimmerwick::bus::MenuLayout& layout);
    QList<glimmerwick::bus::MenuProperties> GetGroupProperties(const QList<int>& identifiers,
                                                               const QStringList& wanted);
    QDBusVariant GetProperty(int identifier, const QString& name);
    void Event(int identifier, const QString& event, const QDBusVariant& data, uint timestamp);
    QList<int> EventGroup(const QList<glimmerwick::bus::MenuEvent>& events);
    bool AboutToShow(int identifier);
    QList<int> AboutToShowGroup(const QList<int>& identifiers, QList<int>& unknown);

signals:
    void ItemsPropertiesUpdated(const QList<glimmerwick::bus::MenuProperties>& changed,
                                const QList<glimmerwick::bus::MenuPropertyNames>& removed);
    void LayoutUpdated(uint revision, int parent);

private:
    void add(QAction* action);
    QAction* action(int identifier) const;
    bool isKnown(int identifier) const;

    QMenu& m_menu;
    QHash<const QAction*, int> m_identifiers;
    int m_lastIdentifier = 0;
    uint m_revision = 1;
    /// Tells once of changes that come together.
    QTimer m_layoutChange;
};

} // namespace glimmerwick
