// SPDX-FileCopyrightText: 2026 The Morvanel authors
// SPDX-License-Identifier: MIT

#pragma once

#include "ProcessTable.h"

#include <QObject>

/// Processes by pidfd and the process file system, proc(5).
///
/// A process that writes into a pipe without a reader dies of it, before it has put its affairs in order. So
/// the output of one that is being ended is read from the event loop until its end, for at most 6 seconds.
class LinuxProcessTable : public ProcessTable
{
public:
    void terminate(qint32 pid, QByteArrayView pathEnd) override;

private:
    QObject m_readers;
};
