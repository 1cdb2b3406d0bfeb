#pragma once

#include "Platform/Tray/BusTypes.h"

#include <QDBusAbstractAdaptor>
#include <QDBusObjectPath>

#include <functional>

namespace glimmerwick {

/// What a tray icon on the session bus shows and does.
struct StatusNotifierContent {
    /// The same at every start.
    QString identifier;
    QString title;
    /// Empty when the icon theme has none; then the pictures are shown.
    std::function<QString()> iconName;
    std::function<QList<bus::Picture>()> pictures;
    std::function<void()> activate;
};

/// The icon as trays on the session bus see it. They draw it and its menu themselves.
class StatusNotifierItem : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category)
    Q_PROPERTY(QString Id READ identifier)
    Q_PROPERTY(QString Title READ title)
    Q_PROPERTY(QString Status READ status)
    Q_PROPERTY(int WindowId READ windowId)
    Q_PROPERTY(QString IconName READ iconName)
    Q_PROPERTY(QList<glimmerwick::bus::Picture> IconPixmap READ pictures)
    Q_PROPERTY(QString OverlayIconName READ none)
    Q_PROPERTY(QString AttentionIconName READ none)
    Q_PROPERTY(glimmerwick::bus::ToolTip ToolTip READ toolTip)
    Q_PROPERTY(bool ItemIsMenu READ itemIsMenu)
    Q_PROPERTY(QDBusObjectPath Menu READ menu)

public:
    /// The object is the one to export.
    StatusNotifierItem(QObject& object, StatusNotifierContent content);

    QString category() const { return QStringLiteral("ApplicationStatus"); }
    QString identifier() const { return m_content.identifier; }
    QString title() const { return m_content.title; }
    QString status() const { return QStringLiteral("Active"); }
    int windowId() const { return 0; }
    QString iconName() const { return m_content.iconName(); }
    QList<bus::Picture> pictures() const { return m_content.pictures(); }
    QString none() const { return {}; }
    bus::ToolTip toolTip() const { return {{}, {}, m_content.title, {}}; }
    bool itemIsMenu() const { return !m_content.activate; }
    QDBusObjectPath menu() const;

public slots:
    /// Left clicks, at a place on the screen.
    void Activate(int x, int y);
    // What follows asks for nothing of this program: trays have the menu, and there is nothing to turn.
    void SecondaryActivate(int, int) { }
    void ContextMenu(int, int) { }
    void Scroll(int, const QString&) { }

private:
    const StatusNotifierContent m_content;
};

} // namespace glimmerwick
