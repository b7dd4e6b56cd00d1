// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "BusTypes.h"
#include "Menu.h"

#include <QDBusAbstractInterface>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QImage>
#include <QTest>

using namespace Qt::StringLiterals;

/// Another program on a bus, as a rule the test's session bus. Its end is the end of the connection.
struct BusClient
{
    explicit BusClient(const QString &name,
                       const QString &address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"))
        : bus(QDBusConnection::connectToBus(address, name))
    {
        registerBusTypes(); // before anything listens for them
    }
    ~BusClient() { QDBusConnection::disconnectFromBus(bus.name()); }

    /// Returns the other side of an object of the test's own program.
    template <typename Proxy> Proxy proxy(const QString &path)
    {
        return {QDBusConnection::sessionBus().baseService(), path, bus};
    }

    QDBusConnection bus;
};

/// Waits without blocking, since the same thread answers.
inline QDBusMessage answerTo(const QDBusPendingCall &call)
{
    (void)QTest::qWaitFor([&call] { return call.isFinished(); });
    return call.reply();
}

/// Returns what a panel reads of an object's interface.
inline QVariantMap propertiesOf(const QDBusAbstractInterface &proxy)
{
    QDBusMessage call = QDBusMessage::createMethodCall(proxy.service(), proxy.path(),
                                                       u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s);
    call << proxy.interface();
    return qdbus_cast<QVariantMap>(answerTo(proxy.connection().asyncCall(call)).arguments().value(0));
}

/// Returns a picture's side and what is in its middle.
inline QString pictureText(const QByteArray &png)
{
    const QImage image = QImage::fromData(png, "PNG");
    return QString::number(image.width()) + (qAlpha(image.pixel(16, 16)) > 0 ? u"ink"_s : QString());
}

/// Returns the properties with a value in one line, pictures by their sizes.
inline QString line(const QVariantMap &properties)
{
    QStringList line;
    for (const auto &[name, value] : properties.asKeyValueRange()) {
        QString text = value.toString();
        if (name == u"icon-data")
            text = pictureText(value.toByteArray());
        else if (name == u"shortcut")
            text = qdbus_cast<MenuShortcut>(value).value(0).join(u'+');
        else if (name == u"Menu")
            text = value.value<QDBusObjectPath>().path();
        else if (name == u"ToolTip")
            text = qdbus_cast<ItemToolTip>(value).title + u'+' +
                   QString::number(qdbus_cast<ItemToolTip>(value).pixmaps.size());
        const bool isList = name.endsWith(u"Pixmap");
        for (const IconPixmap &pixmap : isList ? qdbus_cast<IconPixmapList>(value) : IconPixmapList())
            text += u' ' + QString::number(pixmap.width);
        if (!text.isEmpty())
            line += name + u'=' + text;
    }
    return line.join(u' ');
}

inline MenuItem entry(const QString &id, const QString &title, MenuAction action, const QString &key = {})
{
    MenuItem item;
    item.id = id;
    item.title = title;
    item.shortcut = key;
    item.action = action;
    item.isSeparator = title.isEmpty();
    return item;
}

/// A tunnel's entry; the number makes its identifier.
inline MenuItem tunnel(int number, const QString &state, ColorRole color = ColorRole::TertiaryLabel)
{
    MenuItem item = entry(u"tunnel-%1"_s.arg(number), u"a_%1_"_s.arg(number), MenuAction::ToggleTunnel);
    item.detail = state;
    item.toolTip = u"Click to stop"_s;
    item.image = Symbol{u"circle.fill"_s, state, {}, color, false};
    item.data = QUuid(uint(number), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
    return item;
}

inline MenuItem address(const QString &host)
{
    MenuItem item = entry(u"address"_s, host, MenuAction::OpenURL);
    item.indentation = 1;
    item.data = QUrl(u"https://"_s + host);
    return item;
}

/// Two tunnels, the first with an address, between a header and two commands.
inline Menu menu()
{
    Menu menu{entry(u"header"_s, u"Morvanel"_s, MenuAction::None),
              entry(u"end"_s, {}, MenuAction::None),
              tunnel(1, u"Stopped"_s),
              address(u"a.example"_s),
              tunnel(2, u"Stopped"_s),
              entry(u"logs"_s, u"Logs"_s, MenuAction::OpenLogs, u","_s),
              entry(u"quit"_s, u"Quit"_s, MenuAction::Quit, u"q"_s)};
    menu[0].isEnabled = false;
    return menu;
}
