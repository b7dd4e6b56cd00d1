// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "Scheduler.h"
#include "TunnelConfig.h"

#include <QObject>

#include <map>
#include <memory>

class Notifications;
class TunnelManager;
class Windows;

/// Tells the user why a tunnel does not work; a click opens its log.
///
/// | the tunnel                                   | its notification                |
/// | -------------------------------------------- | ------------------------------- |
/// | failed                                       | shown, in place of earlier ones |
/// | has tried to connect for 60 s without a break | shown                          |
/// | connected, is being stopped, was removed     | withdrawn                       |
///
/// No timer runs while no tunnel is starting or reconnecting.
class TunnelNotifications : public QObject
{
    Q_OBJECT

public:
    /// Everything outlives this object.
    TunnelNotifications(TunnelManager &manager, Windows &windows, Notifications &notifications,
                        Scheduler &scheduler);

    /// Withdraws all notifications and shows no more: the program is ending.
    void end();

private:
    struct Followed
    {
        TunnelState state; ///< as it was seen last
        int failureCount = 0;
        std::unique_ptr<ScheduledWork> patience;
    };

    void refresh();
    void follow(const QUuid &id, Followed &followed);
    void show(const QUuid &id);

    TunnelManager &m_manager;
    Windows &m_windows;
    Notifications &m_notifications;
    Scheduler &m_scheduler;
    std::map<QUuid, Followed> m_followed;
};
