// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

/// The Morvanel that was started before this one. Every call blocks; none needs an application object.
class RunningInstance
{
public:
    enum class Answer {
        Taken,    ///< it shows itself
        Quitting, ///< it will not, and ends soon
        Gone,     ///< it has ended meanwhile
        None,     ///< none in time, or an error; `error` says which
    };

    /// The instance that owns the program's name at this moment.
    explicit RunningInstance(const QDBusConnection &bus);

    /// Asks it to show itself; `platformData` as the Desktop Entry standard has them.
    Answer activate(const QVariantMap &platformData);
    /// Why the last `activate` came back with `Answer::None`.
    QString error() const { return m_error; }
    /// 0 when it is gone.
    qint64 processId() const;
    /// Waits for the end of its process; false when the time, in milliseconds, is over first.
    bool waitForEnd(int timeout) const;

private:
    QDBusMessage askBus(const QString &method, const QString &name) const;
    bool isOnBus() const;

    QDBusConnection m_bus;
    QString m_owner; ///< its unique name: nothing sent there ever starts another one
    QString m_error;
};
