// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#include "ChildLedger.h"

#include "ChildLauncher.h"
#include "Preferences.h"

using namespace Qt::StringLiterals;

namespace {

constexpr auto childPIDsKey = "childPIDs"_L1;

} // namespace

ChildLedger::ChildLedger(Preferences &preferences, ChildLauncher &launcher)
    : m_preferences(preferences)
    , m_launcher(launcher)
{
}

QList<qint32> ChildLedger::pids() const
{
    return m_preferences.integers(childPIDsKey).value_or(QList<qint32>());
}

void ChildLedger::rememberChild(const QList<qint32> &pids)
{
    m_preferences.setIntegers(childPIDsKey, this->pids() + pids, Preferences::Durability::OnDisk);
}

void ChildLedger::forgetChild(qint32 pid)
{
    QList<qint32> left = pids();
    left.removeAll(pid);
    m_preferences.setIntegers(childPIDsKey, left, Preferences::Durability::Eventually);
}

void ChildLedger::terminateOrphanedProcesses()
{
    for (const qint32 pid : pids()) {
        // The file may be damaged, and 0 and negative numbers mean groups of processes.
        if (pid >= 1)
            m_launcher.terminateOrphan(pid, "/cloudflared");
    }
    m_preferences.remove(childPIDsKey);
}
