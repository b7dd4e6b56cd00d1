// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QSignalSpy>
#include <QString>
#include <QVariantList>

/// Another program on the test's session bus. It asks without blocking, since what answers lives in the same
/// thread.
class BusClient
{
public:
    explicit BusClient(const QString &name)
        : m_name(name)
        , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name))
    {
    }
    ~BusClient() { vanish(); }

    QDBusConnection &bus() { return m_bus; }
    /// Ends the connection, as the end of a program does.
    void vanish()
    {
        QDBusConnection::disconnectFromBus(m_name);
        m_bus = QDBusConnection(QString()); // the last reference to the old one
    }

    static QDBusMessage call(const QString &path, const QString &interface, const QString &method,
                             const QVariantList &arguments = {})
    {
        QDBusMessage call = QDBusMessage::createMethodCall(QDBusConnection::sessionBus().baseService(), path,
                                                           interface, method);
        call.setArguments(arguments);
        return call;
    }

    QDBusMessage ask(const QDBusMessage &call)
    {
        QDBusPendingCallWatcher pending(m_bus.asyncCall(call));
        QSignalSpy answered(&pending, &QDBusPendingCallWatcher::finished);
        if (!pending.isFinished())
            answered.wait();
        return pending.reply();
    }

private:
    QString m_name;
    QDBusConnection m_bus;
};
