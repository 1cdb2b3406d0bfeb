#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusVariant>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <QVariantMap>

/// What icons and menus are made of on the session bus.
namespace glimmerwick::bus {

/// Pixels of four bytes, alpha first, line by line.
struct Picture {
    int width = 0;
    int height = 0;
    QByteArray pixels;
};

struct ToolTip {
    QString iconName;
    QList<Picture> icons;
    QString title;
    QString text;
};

struct MenuLayout {
    int identifier = 0;
    QVariantMap properties;
    QList<QDBusVariant> children;
};

struct MenuProperties {
    int identifier = 0;
    QVariantMap properties;
};

struct MenuPropertyNames {
    int identifier = 0;
    QStringList names;
};

struct MenuEvent {
    int identifier = 0;
    QString event;
    QDBusVariant data;
    unsigned timestamp = 0;
};

/// Keys pressed together, in the order of pressing; several such chords.
using Shortcut = QList<QStringList>;

QDBusArgument& operator<<(QDBusArgument& argument, const Picture& picture);
const QDBusArgument& operator>>(const QDBusArgument& argument, Picture& picture);
QDBusArgument& operator<<(QDBusArgument& argument, const ToolTip& toolTip);
const QDBusArgument& operator>>(const QDBusArgument& argument, ToolTip& toolTip);
QDBusArgument& operator<<(QDBusArgument& argument, const MenuLayout& layout);
const QDBusArgument& operator>>(const QDBusArgument& argument, MenuLayout& layout);
QDBusArgument& operator<<(QDBusArgument& argument, const MenuProperties& properties);
const QDBusArgument& operator>>(const QDBusArgument& argument, MenuProperties& properties);
QDBusArgument& operator<<(QDBusArgument& argument, const MenuPropertyNames& names);
const QDBusArgument& operator>>(const QDBusArgument& argument, MenuPropertyNames& names);
QDBusArgument& operator<<(QDBusArgument& argument, const MenuEvent& event);
const QDBusArgument& operator>>(const QDBusArgument& argument, MenuEvent& event);

/// Before any of them is sent.
void registerTypes();

} // namespace glimmerwick::bus

Q_DECLARE_METATYPE(glimmerwick::bus::Picture)
Q_DECLARE_METATYPE(glimmerwick::bus::ToolTip)
Q_DECLARE_METATYPE(glimmerwick::bus::MenuLayout)
Q_DECLARE_METATYPE(glimmerwick::bus::MenuProperties)
Q_DECLARE_METATYPE(glimmerwick::bus::MenuPropertyNames)
Q_DECLARE_METATYPE(glimmerwick::bus::MenuEvent)
