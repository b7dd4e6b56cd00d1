// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ManagerChanges.h"

#include "TunnelManager.h"

ManagerChanges::ManagerChanges(TunnelManager &manager, QObject *parent)
    : QObject(parent)
{
    connect(&manager, &TunnelManager::objectWillChange, this, &ManagerChanges::schedule);
}

void ManagerChanges::schedule()
{
    if (std::exchange(m_isScheduled, true))
        return;
    QMetaObject::invokeMethod(this, &ManagerChanges::deliver, Qt::QueuedConnection);
}

void ManagerChanges::deliver()
{
    m_isScheduled = false;
    Q_EMIT changed();
}
