// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "IconPixmap.h"

#include <QDBusMetaType>
#include <QtEndian>

IconPixmap IconPixmap::of(const QImage &image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    IconPixmap pixmap{argb.width(), argb.height(), QByteArray(argb.sizeInBytes(), Qt::Uninitialized)};
    // Rows of four-byte pixels have no padding, so that the picture is one run of them.
    qToBigEndian<quint32>(argb.constBits(), argb.sizeInBytes() / qsizetype(sizeof(quint32)),
                          pixmap.bytes.data());
    return pixmap;
}

QDBusArgument &operator<<(QDBusArgument &argument, const IconPixmap &value)
{
    argument.beginStructure();
    argument << value.width << value.height << value.bytes;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, IconPixmap &value)
{
    argument.beginStructure();
    argument >> value.width >> value.height >> value.bytes;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const ItemToolTip &value)
{
    argument.beginStructure();
    argument << value.iconName << value.pixmaps << value.title << value.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ItemToolTip &value)
{
    argument.beginStructure();
    argument >> value.iconName >> value.pixmaps >> value.title >> value.text;
    argument.endStructure();
    return argument;
}

void registerIconTypes()
{
    qDBusRegisterMetaType<IconPixmap>();
    qDBusRegisterMetaType<IconPixmapList>();
    qDBusRegisterMetaType<ItemToolTip>();
}
