// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "HostQuirks.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QSet>
#include <QString>

/// Announces the item to the panels of the session, through org.kde.StatusNotifierWatcher: to each new owner
/// of that name at once, and without ever waiting for an answer. Also finds out which panel it is.
class NotifierWatcher : public QObject
{
    Q_OBJECT

public:
    enum class Host {
        Unknown, ///< not asked yet, or not answered
        Present,
        Absent,
    };

    explicit NotifierWatcher(const QDBusConnection &bus);

    Host host() const { return m_host; }
    const HostQuirks &quirks() const { return m_quirks; }

Q_SIGNALS:
    void hostChanged();
    void quirksChanged();

private Q_SLOTS:
    void forgetBus();

private:
    void announceAtOnce();
    void watch(const QString &name);
    void setOwner(const QString &name, const QString &owner);
    void setWatcher(const QString &owner);
    void registerItem(int attempt);
    void findHost();
    void findProcess();
    void setHost(Host host);
    void findQuirks();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_names;
    QSet<QString> m_asked;        ///< names with a question for their owner that no signal has answered
    QSet<QString> m_presentNames; ///< those of `HostQuirks::busNames` that have an owner
    QString m_owner;              ///< unique name of the watcher; empty for none
    QString m_process;            ///< its process's name
    QString m_announcedTo;        ///< owner that `announceAtOnce` reached, until `setWatcher` hears of it
    Host m_host = Host::Unknown;
    HostQuirks m_quirks;
};
