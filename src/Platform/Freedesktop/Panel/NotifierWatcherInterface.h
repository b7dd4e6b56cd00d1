// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusAbstractInterface>
#include <QDBusConnection>
#include <QString>

/// The signals of org.kde.StatusNotifierWatcher, whoever owns the name at the moment.
class NotifierWatcherInterface : public QDBusAbstractInterface
{
    Q_OBJECT

public:
    explicit NotifierWatcherInterface(const QDBusConnection &bus)
        : QDBusAbstractInterface(serviceName(), QStringLiteral("/StatusNotifierWatcher"), interfaceName, bus,
                                 nullptr)
    {
    }

    static QString serviceName() { return QString::fromLatin1(interfaceName); }

Q_SIGNALS:
    void StatusNotifierHostRegistered();
    void StatusNotifierHostUnregistered();

private:
    static constexpr auto interfaceName = "org.kde.StatusNotifierWatcher";
};
