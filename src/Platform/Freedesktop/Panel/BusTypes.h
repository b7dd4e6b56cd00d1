// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QList>
#include <QStringList>
#include <QVariantMap>

#include <tuple>

/// A picture as StatusNotifierItem sends it, (iiay): 32 bits a pixel, ARGB in network byte order.
struct IconPixmap
{
    int width = 0;
    int height = 0;
    QByteArray bytes;

    static auto members(auto &self) { return std::tie(self.width, self.height, self.bytes); }
    bool operator==(const IconPixmap &) const = default;
};
using IconPixmapList = QList<IconPixmap>;

/// StatusNotifierItem's tooltip, (sa(iiay)ss).
struct ItemToolTip
{
    QString iconName;
    IconPixmapList pixmaps;
    QString title;
    QString text;

    static auto members(auto &self) { return std::tie(self.iconName, self.pixmaps, self.title, self.text); }
    bool operator==(const ItemToolTip &) const = default;
};

/// Properties of one entry: (ia{sv}) of com.canonical.dbusmenu.
struct MenuProperties
{
    int id = 0;
    QVariantMap properties;

    static auto members(auto &self) { return std::tie(self.id, self.properties); }
    bool operator==(const MenuProperties &) const = default;
};
using MenuPropertiesList = QList<MenuProperties>;

/// Names of properties of one entry: (ias).
struct MenuPropertyNames
{
    int id = 0;
    QStringList names;

    static auto members(auto &self) { return std::tie(self.id, self.names); }
    bool operator==(const MenuPropertyNames &) const = default;
};
using MenuPropertyNamesList = QList<MenuPropertyNames>;

/// An entry with the layouts of the entries below it: (ia{sv}av).
struct MenuLayout
{
    int id = 0;
    QVariantMap properties;
    QVariantList children;

    static auto members(auto &self) { return std::tie(self.id, self.properties, self.children); }
};

/// One of the events of `EventGroup`: (isvu).
struct MenuEvent
{
    int id = 0;
    QString eventId;
    QDBusVariant data;
    uint timestamp = 0;

    static auto members(auto &self) { return std::tie(self.id, self.eventId, self.data, self.timestamp); }
};
using MenuEventList = QList<MenuEvent>;

/// Keys of one entry, aas.
using MenuShortcut = QList<QStringList>;

template <typename T>
concept BusStructure = requires(T &value)
{
    T::members(value);
};

template <BusStructure T> QDBusArgument &operator<<(QDBusArgument &argument, const T &value)
{
    argument.beginStructure();
    std::apply([&argument](const auto &...member) { (argument << ... << member); }, T::members(value));
    argument.endStructure();
    return argument;
}

template <BusStructure T> const QDBusArgument &operator>>(const QDBusArgument &argument, T &value)
{
    argument.beginStructure();
    std::apply([&argument](auto &...member) { (argument >> ... >> member); }, T::members(value));
    argument.endStructure();
    return argument;
}

/// Makes the types above known to Qt's D-Bus module. May be called any number of times.
inline void registerBusTypes()
{
    const auto add = []<typename... T>(std::tuple<T...>) { (qDBusRegisterMetaType<T>(), ...); };
    add(std::tuple<IconPixmap, IconPixmapList, ItemToolTip, MenuProperties, MenuPropertiesList,
                   MenuPropertyNames, MenuPropertyNamesList, MenuLayout, MenuEvent, MenuEventList,
                   MenuShortcut, QList<int>>());
    // An adaptor's methods and signals are looked up by the names that their declarations spell.
    qRegisterMetaType<MenuPropertiesList>("MenuPropertiesList");
    qRegisterMetaType<MenuPropertyNamesList>("MenuPropertyNamesList");
    qRegisterMetaType<MenuEventList>("MenuEventList");
}
