// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QObject>

class TunnelManager;

/// Tells a view that the manager has changed: once on the next turn of the event loop, however often the
/// manager announced it since the last time.
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
