// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>

class TunnelManager;

/// Tells who shows the manager that it has changed: once on the next turn of the event loop, however often it
/// was announced since the last time. An announcement comes before the change: what is to be shown can be
/// read in that turn.
class ManagerChanges : public QObject
{
    Q_OBJECT

public:
    explicit ManagerChanges(TunnelManager &manager, QObject *parent = nullptr);

Q_SIGNALS:
    void changed();

private:
    void schedule();
    void deliver();

    bool m_isScheduled = false;
};
