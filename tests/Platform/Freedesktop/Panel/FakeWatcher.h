// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "BusClient.h"

#include <QDBusMessage>
#include <QObject>
#include <QStringList>

/// A panel's side of org.kde.StatusNotifierWatcher, under the control of a test.
class FakeWatcher : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)

public:
    static constexpr auto busName = "org.kde.StatusNotifierWatcher";

    explicit FakeWatcher(const QString &connection)
        : client(connection)
    {
        client.bus().registerObject(QStringLiteral("/StatusNotifierWatcher"), this,
                                    QDBusConnection::ExportAllContents);
    }

    bool start() { return client.bus().registerService(QLatin1StringView(busName)); }
    void setHost(bool present)
    {
        m_hasHost = present;
        client.bus().send(
            QDBusMessage::createSignal(QStringLiteral("/StatusNotifierWatcher"), QLatin1StringView(busName),
                                       present ? QStringLiteral("StatusNotifierHostRegistered")
                                               : QStringLiteral("StatusNotifierHostUnregistered")));
    }
    bool hasHost() const { return m_hasHost; }

    BusClient client;
    QStringList items;     ///< registered so far
    int refusals = 0;      ///< how many registrations to answer with an error
    bool isFrozen = false; ///< takes registrations without ever answering

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &message)
    {
        if (isFrozen || refusals > 0)
            message.setDelayedReply(true);
        if (!isFrozen && refusals-- > 0) {
            client.bus().send(message.createErrorReply(QDBusError::UnknownObject, QString()));
            return;
        }
        items += service;
    }

private:
    bool m_hasHost = true;
};
