// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ChildLedger.h"

#include "Preferences.h"
#include "ProcessTable.h"

using namespace Qt::StringLiterals;

namespace {

constexpr auto key = "childPIDs"_L1;

} // namespace

QList<qint32> ChildLedger::listed() const
{
    return m_preferences.integers(key).value_or(QList<qint32>());
}

void ChildLedger::remember(qint32 pid)
{
    m_preferences.setIntegers(key, listed() << pid, Preferences::Durability::OnDisk);
}

void ChildLedger::forget(qint32 pid)
{
    QList<qint32> pids = listed();
    pids.removeAll(pid);
    m_preferences.setIntegers(key, pids, Preferences::Durability::Eventually);
}

void ChildLedger::terminateOrphans()
{
    const QList<qint32> pids = listed();
    for (const qint32 pid : pids) {
        if (pid < 1)
            continue;
        const std::unique_ptr<ProcessHandle> process = m_processes.find(pid);
        if (process && process->executablePath().endsWith("/cloudflared"))
            process->terminate();
    }
    m_preferences.remove(key);
}
