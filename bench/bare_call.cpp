// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

// The least that Qt needs to make one call on the session bus, to compare with.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetId"));
    return QDBusConnection::sessionBus().call(call).type() == QDBusMessage::ReplyMessage ? 0 : 1;
}
