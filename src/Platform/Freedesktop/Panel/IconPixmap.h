// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QByteArray>
#include <QDBusArgument>
#include <QImage>
#include <QList>
#include <QMetaType>
#include <QString>

/// A picture as StatusNotifierItem sends it, (iiay): 32 bits a pixel, ARGB in network byte order.
struct IconPixmap
{
    int width = 0;
    int height = 0;
    QByteArray bytes;

    static IconPixmap of(const QImage &image);
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
};

QDBusArgument &operator<<(QDBusArgument &argument, const IconPixmap &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, IconPixmap &value);
QDBusArgument &operator<<(QDBusArgument &argument, const ItemToolTip &value);
const QDBusArgument &operator>>(const QDBusArgument &argument, ItemToolTip &value);

/// Makes the types above known to Qt's D-Bus module. May be called any number of times.
void registerIconTypes();

Q_DECLARE_METATYPE(IconPixmap)
Q_DECLARE_METATYPE(ItemToolTip)
