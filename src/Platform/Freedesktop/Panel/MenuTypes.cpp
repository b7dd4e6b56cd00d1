// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "MenuTypes.h"

#include <QDBusMetaType>
#include <QDBusVariant>

QDBusArgument &operator<<(QDBusArgument &argument, const MenuProperties &value)
{
    argument.beginStructure();
    argument << value.id << value.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuProperties &value)
{
    argument.beginStructure();
    argument >> value.id >> value.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuPropertyNames &value)
{
    argument.beginStructure();
    argument << value.id << value.names;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuPropertyNames &value)
{
    argument.beginStructure();
    argument >> value.id >> value.names;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuLayout &value)
{
    argument.beginStructure();
    argument << value.id << value.properties;
    argument.beginArray(QMetaType::fromType<QDBusVariant>());
    for (const MenuLayout &child : value.children)
        argument << QDBusVariant(QVariant::fromValue(child));
    argument.endArray();
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuLayout &value)
{
    value.children.clear();
    argument.beginStructure();
    argument >> value.id >> value.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        value.children += qdbus_cast<MenuLayout>(child.variant());
    }
    argument.endArray();
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &value)
{
    argument.beginStructure();
    argument << value.id << value.eventId << QDBusVariant(value.data) << value.timestamp;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &value)
{
    QDBusVariant data;
    argument.beginStructure();
    argument >> value.id >> value.eventId >> data >> value.timestamp;
    argument.endStructure();
    value.data = data.variant();
    return argument;
}

void registerMenuTypes()
{
    qDBusRegisterMetaType<MenuProperties>();
    qDBusRegisterMetaType<MenuPropertyNames>();
    qDBusRegisterMetaType<MenuLayout>();
    qDBusRegisterMetaType<MenuEvent>();
    qDBusRegisterMetaType<MenuPropertiesList>();
    qDBusRegisterMetaType<MenuPropertyNamesList>();
    qDBusRegisterMetaType<MenuEventList>();
    qDBusRegisterMetaType<MenuShortcut>();
    qDBusRegisterMetaType<QList<int>>();
    // Slots of an adaptor are looked up by the names that their declarations spell.
    qRegisterMetaType<MenuPropertiesList>("MenuPropertiesList");
    qRegisterMetaType<MenuPropertyNamesList>("MenuPropertyNamesList");
    qRegisterMetaType<MenuEventList>("MenuEventList");
}
