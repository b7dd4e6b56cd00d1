// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QList>

class Preferences;
class ProcessTable;

/// The process ids of the children that run, kept in the preferences: what a run that ended abnormally left
/// behind is found there by the next one.
class ChildLedger
{
public:
    /// Both outlive the ledger.
    ChildLedger(Preferences &preferences, ProcessTable &processes)
        : m_preferences(preferences)
        , m_processes(processes)
    {
    }

    /// An id that is listed already is listed once more.
    void remember(qint32 pid);
    void forget(qint32 pid);
    /// SIGTERM to every listed process that still runs a `cloudflared`; the list is empty afterwards.
    void terminateOrphans();

private:
    QList<qint32> listed() const;

    Preferences &m_preferences;
    ProcessTable &m_processes;
};
