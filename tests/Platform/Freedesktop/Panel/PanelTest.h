// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "BusTypes.h"
#include "StatusItem.h"

#include <QDBusAbstractInterface>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QSignalSpy>
#include <QString>

using namespace Qt::StringLiterals;

/// Another program on a bus, as a rule the test's session bus.
class BusClient
{
public:
    explicit BusClient(const QString &name,
                       const QString &address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS"))
        : m_name(name)
        , m_bus(QDBusConnection::connectToBus(address, name))
    {
        registerBusTypes(); // before anything listens for them
    }
    ~BusClient() { vanish(); }

    QDBusConnection &bus() { return m_bus; }
    /// Ends the connection, as the end of a program does.
    void vanish()
    {
        QDBusConnection::disconnectFromBus(m_name);
        m_bus = QDBusConnection(QString()); // the last reference to the old one
    }
    /// Returns the other side of an object of the test's own program.
    template <typename Proxy> Proxy proxy(const QString &path)
    {
        return {QDBusConnection::sessionBus().baseService(), path, m_bus};
    }

private:
    QString m_name;
    QDBusConnection m_bus;
};

/// Waits without blocking, since the same thread answers.
inline QDBusMessage answerTo(const QDBusPendingCall &call)
{
    QDBusPendingCallWatcher pending(call);
    QSignalSpy answered(&pending, &QDBusPendingCallWatcher::finished);
    if (!pending.isFinished())
        answered.wait();
    return pending.reply();
}

/// Returns what a panel reads of an object's interface.
inline QVariantMap propertiesOf(const QDBusAbstractInterface &proxy)
{
    const QDBusMessage call =
        QDBusMessage::createMethodCall(proxy.service(), proxy.path(), u"org.freedesktop.DBus.Properties"_s,
                                       u"GetAll"_s)
        << proxy.interface();
    return qdbus_cast<QVariantMap>(answerTo(proxy.connection().asyncCall(call)).arguments().value(0));
}

/// A panel's side of org.kde.StatusNotifierWatcher, under the control of a test.
class FakeWatcher : public QObject, public BusClient
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered MEMBER m_hasHost)

public:
    using BusClient::BusClient;

    bool start()
    {
        bus().registerObject(u"/StatusNotifierWatcher"_s, this, QDBusConnection::ExportAllContents);
        return bus().registerService(u"org.kde.StatusNotifierWatcher"_s);
    }
    void setHost(bool present)
    {
        m_hasHost = present;
        present ? Q_EMIT StatusNotifierHostRegistered() : Q_EMIT StatusNotifierHostUnregistered();
    }

    QStringList items;     ///< registered so far
    int refusals = 0;      ///< how many registrations to answer with an error
    bool isFrozen = false; ///< takes registrations without ever answering

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        if (isFrozen || refusals > 0)
            message.setDelayedReply(true);
        if (!isFrozen && refusals-- > 0) {
            bus().send(message.createErrorReply(QDBusError::UnknownObject, QString()));
            return;
        }
        items += service;
    }

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    bool m_hasHost = true;
};

/// Contents and menus as a running program shows them.
namespace Samples {

inline MenuItem command(const QString &id, const QString &title, MenuAction action, const QString &key = {})
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
inline MenuItem tunnel(int number, const QString &name, const QString &detail, ColorRole color)
{
    MenuItem item = command(u"tunnel-%1"_s.arg(number), name, MenuAction::ToggleTunnel);
    item.detail = detail;
    item.toolTip = u"Click to stop the tunnel"_s;
    item.image = Symbol{u"circle.fill"_s, detail, {}, color, false};
    item.data = QUuid(uint(number), 0, 0, 0, 0, 0, 0, 0, 0, 0, 1);
    return item;
}

inline MenuItem connected(int number)
{
    return tunnel(number, u"tunnel_%1"_s.arg(number), u"Connected (4 connections)"_s, ColorRole::Green);
}

inline MenuItem openAddress(int number, const QString &host)
{
    MenuItem item = command(u"open-%1"_s.arg(number), u"Open "_s + host, MenuAction::OpenURL);
    item.indentation = 1;
    item.data = QUrl(u"https://"_s + host);
    return item;
}

/// Header, `tunnels` entries from row 2 on, "Start All" and the rest of the commands.
inline Menu menu(int tunnels)
{
    Menu menu{command(u"header"_s, u"Morvanel · 1/%1 connected"_s.arg(tunnels), MenuAction::None),
              command(u"header-end"_s, {}, MenuAction::None)};
    menu[0].isEnabled = false;
    for (int i = 1; i <= tunnels; ++i)
        menu += tunnel(i, u"tunnel_%1"_s.arg(i), u"Stopped · click to start"_s, ColorRole::TertiaryLabel);
    return menu + Menu{command(u"start-all"_s, u"Start All"_s, MenuAction::StartAll),
                       command(u"settings"_s, u"Settings…"_s, MenuAction::OpenSettings, u","_s),
                       command(u"quit"_s, u"Quit Morvanel"_s, MenuAction::Quit, u"q"_s)};
}

inline Symbol idle()
{
    return {u"bolt.horizontal.icloud"_s, u"No active tunnels"_s, u"morvanel-idle"_s, ColorRole::None, true};
}
inline Symbol online()
{
    return {u"bolt.horizontal.icloud.fill"_s, u"Tunnels connected"_s, u"morvanel-connected"_s,
            ColorRole::Green, false};
}
inline Symbol problem()
{
    return {u"exclamationmark.icloud.fill"_s, u"A tunnel has a problem"_s, u"morvanel-problem"_s,
            ColorRole::Red, false};
}

inline StatusItemContent content(const Symbol &image, int count)
{
    return {image, count >= 2 ? u" %1"_s.arg(count) : QString(), u"Morvanel: "_s + image.description,
            count > 0 ? QString::number(count) : QString()};
}

} // namespace Samples
