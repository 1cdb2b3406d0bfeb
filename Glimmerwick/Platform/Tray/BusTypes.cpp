#include "Platform/Tray/BusTypes.h"

#include <QDBusMetaType>

namespace glimmerwick::bus {

namespace {

template <typename... Fields> QDBusArgument& write(QDBusArgument& argument, const Fields&... fields)
{
    argument.beginStructure();
    (argument << ... << fields);
    argument.endStructure();
    return argument;
}

template <typename... Fields> const QDBusArgument& read(const QDBusArgument& argument, Fields&... fields)
{
    argument.beginStructure();
    (argument >> ... >> fields);
    argument.endStructure();
    return argument;
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const Picture& picture)
{
    return write(argument, picture.width, picture.height, picture.pixels);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Picture& picture)
{
    return read(argument, picture.width, picture.height, picture.pixels);
}

QDBusArgument& operator<<(QDBusArgument& argument, const ToolTip& toolTip)
{
    return write(argument, toolTip.iconName, toolTip.icons, toolTip.title, toolTip.text);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, ToolTip& toolTip)
{
    return read(argument, toolTip.iconName, toolTip.icons, toolTip.title, toolTip.text);
}

QDBusArgument& operator<<(QDBusArgument& argument, const MenuLayout& layout)
{
    return write(argument, layout.identifier, layout.properties, layout.children);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MenuLayout& layout)
{
    return read(argument, layout.identifier, layout.properties, layout.children);
}

QDBusArgument& operator<<(QDBusArgument& argument, const MenuProperties& properties)
{
    return write(argument, properties.identifier, properties.properties);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MenuProperties& properties)
{
    return read(argument, properties.identifier, properties.properties);
}

QDBusArgument& operator<<(QDBusArgument& argument, const MenuPropertyNames& names)
{
    return write(argument, names.identifier, names.names);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MenuPropertyNames& names)
{
    return read(argument, names.identifier, names.names);
}

QDBusArgument& operator<<(QDBusArgument& argument, const MenuEvent& event)
{
    return write(argument, event.identifier, event.event, event.data, event.timestamp);
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MenuEvent& event)
{
    return read(argument, event.identifier, event.event, event.data, event.timestamp);
}

void registerTypes()
{
    qDBusRegisterMetaType<Picture>();
    qDBusRegisterMetaType<QList<Picture>>();
    qDBusRegisterMetaType<ToolTip>();
    qDBusRegisterMetaType<MenuLayout>();
    qDBusRegisterMetaType<MenuProperties>();
    qDBusRegisterMetaType<QList<MenuProperties>>();
    qDBusRegisterMetaType<MenuPropertyNames>();
    qDBusRegisterMetaType<QList<MenuPropertyNames>>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<QList<MenuEvent>>();
    qDBusRegisterMetaType<QList<QDBusVariant>>();
    qDBusRegisterMetaType<QList<int>>();
    qDBusRegisterMetaType<Shortcut>();
}

} // namespace glimmerwick::bus
