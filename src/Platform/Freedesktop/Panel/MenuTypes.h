// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusArgument>
#include <QList>
#include <QMetaType>
#include <QStringList>
#include <QVariantMap>

/// Properties of one entry: (ia{sv}) of com.canonical.dbusmenu.
struct MenuProperties
{
    int id = 0;
    QVariantMap properties;

    bool operator==(const MenuProperties &) const = default;
};

/// Names of properties of one entry: (ias).
struct MenuPropertyNames
{
    int id = 0;
    QStringList names;

    bool operator==(const MenuPropertyNames &) const = default;
};

/// An entry with what stands below it: (ia{sv}av).
struct MenuLayout
{
    int id = 0;
    QVariantMap properties;
    QList<MenuLayout> children;
};

/// One of the events of `EventGroup`: (isvu).
struct MenuEvent
{
    int id = 0;
    QString eventId;
    QVariant data;
    uint timestamp = 0;
};

using MenuPropertiesList = QList<MenuProperties>;
using MenuPropertyNamesList = QList<MenuPropertyNames>;
using MenuEventList = QList<MenuEvent>;
using MenuShortcut = QList<QStringList>;

QDBusArgument &operator<<(QDBusArgument &argument, const MenuProperties &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuProperties &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuPropertyNames &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuPropertyNames &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuLayout &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuLayout &value);
QDBusArgument &operator<<(QDBusArgument &argument, const MenuEvent &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, MenuEvent &value);

/// Makes the types above known to Qt's D-Bus module. May be called any number of times.
void registerMenuTypes();

Q_DECLARE_METATYPE(MenuProperties)
Q_DECLARE_METATYPE(MenuPropertyNames)
Q_DECLARE_METATYPE(MenuLayout)
Q_DECLARE_METATYPE(MenuEvent)
