// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Notifications.h"
#include "Scheduler.h"
#include "TunnelStatus.h"

#include <QObject>

#include <map>
#include <memory>
#include <optional>

class TunnelManager;
class Windows;

/// Tells the user why tunnels do not work. A click opens the place where something can be done about it: the
/// Settings for a token or a program that is missing, else the log.
///
/// | the tunnel                                    | its notification                              |
/// | --------------------------------------------- | --------------------------------------------- |
/// | failed                                        | shown, in place of an earlier one             |
/// | has tried to connect for 60 s without a break | shown                                         |
/// | its reason has changed                        | changed unless closed, once a second at most  |
/// | connected, is being stopped, was removed      | withdrawn                                     |
///
/// It also tells whose token the keyring has not taken, when that is given up and at the end of the program,
/// and that the preferences cannot be written; it takes that back once they are stored.
///
/// Tunnels that get into the same trouble for the same reason within a second share one. Timers run only
/// while a tunnel starts or reconnects, and up to a second after a reason has changed.
class TunnelNotifications : public QObject
{
    Q_OBJECT

public:
    /// Everything outlives this object.
    TunnelNotifications(TunnelManager &manager, Windows &windows, Notifications &notifications,
                        Scheduler &scheduler);

    /// Withdraws all notifications but those of tokens that are about to be lost: the program is ending.
    void end();
    /// Tells why the preferences are not stored; none: takes that back.
    void tellPreferencesFailure(const std::optional<QString> &reason);

private:
    enum class Trouble { Failed, NotConnected, Unreadable };

    struct Followed
    {
        TunnelStatus status; ///< as it was seen last
        std::unique_ptr<ScheduledWork> patience;
        TunnelStatus told; ///< by the notification
        QUuid tag;         ///< of the notification that names this tunnel; null for none
    };
    /// One notification, for all tunnels that have its tag.
    struct Shared
    {
        Trouble trouble;
        QString explanation; ///< of the first one when it was told
        Scheduler::Duration joinableUntil;
        Scheduler::Duration lastSent;
        bool mustReappear = true; ///< even if the user has closed it
        bool needsSending = true;
        std::unique_ptr<ScheduledWork> wait;
    };

    void tellLostToken(const QUuid &id, const QString &reason);
    void refresh();
    void follow(const QUuid &id, Followed &followed);
    void tell(const QUuid &id, Trouble trouble);
    void retell(Followed &followed);
    void leave(Followed &followed);
    QUuid joinable(Trouble trouble, const QString &explanation) const;
    bool isAlone(const QUuid &tag) const;
    void sendLater();
    void send();
    std::optional<Notification> compose(const QUuid &tag, Trouble trouble) const;

    TunnelManager &m_manager;
    Windows &m_windows;
    Notifications &m_notifications;
    Scheduler &m_scheduler;
    std::map<QUuid, Followed> m_followed;
    std::map<QUuid, Shared> m_shared; ///< by tag
    bool m_isSending = false;         ///< `send` is on its way
};
