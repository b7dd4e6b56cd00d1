// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>

class ChildLauncher;
class Preferences;

/// The process ids of all children, in the preferences, for the case that this process and its children's
/// keeper are both killed: the next run then ends what is left.
class ChildLedger
{
public:
    /// Both outlive the ledger.
    ChildLedger(Preferences &preferences, ChildLauncher &launcher);

    /// Writes the ids down, on disk at its return. All those of one request share one write.
    void rememberChild(const QList<qint32> &pids);
    /// Strikes the id out without waiting for the disk: an id too many does no harm, as the next run looks at
    /// what it finds.
    void forgetChild(qint32 pid);
    /// Sends SIGTERM to those processes of an earlier run that still run a `cloudflared`, and forgets all.
    /// To be called once, before anything is started.
    void terminateOrphanedProcesses();

private:
    QList<qint32> pids() const;

    Preferences &m_preferences;
    ChildLauncher &m_launcher;
};
